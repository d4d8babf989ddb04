#include <pdmsim/import/medit/mdt_Format.h>

#include <pdmsim/import/medit/mdt_Sections.h>
#include <pdmsim/mesh/mesh_Input.h>
#include <pdmsim/mesh/mesh_Raw.h>

#include <algorithm>
#include <climits>
#include <map>

namespace {

constexpr int kTurnedOne = 0x01000000;

/// Reads a file section by section.
class Reader {
 public:
  explicit Reader(const std::string& path) : m_in(path) { m_raw.path = path; }

  mesh_Raw Read(bool binary) {
    m_binary = binary;
    ReadHead();
    while (const mdt_Section* section = NextSection())
      ReadSection(*section);
    if (!m_hasVertices)
      m_in.Fail("Vertices", "none");
    return std::move(m_raw);
  }

 private:
  void ReadHead() {
    if (m_binary) {
      const int one = m_in.Number<int>("the byte order");
      m_in.ReadBytes(one == kTurnedOne);
      m_version = m_in.Number<int>("a version");
      if (m_version < 1 || m_version > 4)
        m_in.Fail("version 1 to 4", m_version);
      if (const int code = m_in.Number<int>("Dimension"); code != 3)
        m_in.Fail("Dimension", code);
      ReadPosition();
      m_raw.dimension = static_cast<std::size_t>(m_in.Number<int>("2 or 3 axes"));
    } else {
      Expect("MeshVersionFormatted");
      m_version = m_in.Int("a version", 1, 4);
      Expect("Dimension");
      m_raw.dimension = static_cast<std::size_t>(m_in.Int("2 or 3 axes"));
    }
    if (m_raw.dimension != 2 && m_raw.dimension != 3)
      m_in.Fail("2 or 3 axes", std::to_string(m_raw.dimension));
  }

  void Expect(const std::string& keyword) {
    std::string word;
    if (NextKeyword(word); word != keyword)
      m_in.Fail(keyword, "'" + word.substr(0, 40) + "'");
  }

  bool NextKeyword(std::string& word) {
    std::string comment;
    while (m_in.NextWord(word)) {
      if (word[0] != '#')
        return true;
      m_in.NextLine(comment);
    }
    return false;
  }

  std::size_t ReadPosition() {
    return m_version < 3 ? m_in.Number<std::uint32_t>("a place in the file")
                         : m_in.Number<std::uint64_t>("a place in the file");
  }

  /// Null at the end.
  const mdt_Section* NextSection() {
    const mdt_Section* section = nullptr;
    std::string word;
    if (!m_binary) {
      if (!NextKeyword(word)) {
        EndWithoutKeyword();
        return nullptr;
      }
      section = mdt_FindSection(word);
      if (!section)
        m_in.Fail("a keyword of the format", "'" + word.substr(0, 40) + "'");
    } else
      while (!section) {
        if (m_next != 0)
          GoTo(m_next);
        const int code = m_in.Number<int>("a keyword");
        section = mdt_FindSection(code);
        if (section && section->kind == mdt_Section::Kind::kEnd)
          return nullptr;
        m_next = ReadPosition();
        if (section)
          break;
        m_raw.notes.push_back("section " + std::to_string(code));
        if (m_next == 0)
          return nullptr;
      }
    return section->kind == mdt_Section::Kind::kEnd ? nullptr : section;
  }

  /// Many texts have no End, but their last line ends; one that was cut ends anywhere.
  void EndWithoutKeyword() {
    char last = 0;
    m_in.Go({m_in.Here().offset - 1, m_in.Here().line});
    m_in.Bytes(&last, 1, "a line");
    if (last != '\n')
      m_in.Fail("End", "the end of the file within a line");
    m_raw.notes.push_back("what may have followed: the text has no End");
  }

  void GoTo(std::size_t place) {
    const std::size_t here = m_in.Here().offset;
    if (place < here)
      m_in.Fail("a section behind this place", "one at byte " + std::to_string(place));
    m_in.Skip(place - here, "a section");
  }

  long long Int(const char* what) {
    if (!m_binary)
      return m_in.Int(what);
    return m_version == 4 ? m_in.Number<std::int64_t>(what) : m_in.Number<std::int32_t>(what);
  }
  double Real(const char* what) {
    if (!m_binary)
      return m_in.Real(what);
    return m_version == 1 ? static_cast<double>(m_in.Number<float>(what)) : m_in.Number<double>(what);
  }
  std::size_t Count(std::size_t ints, std::size_t reals, const char* what) {
    const long long count = Int("a number of rows");
    if (count < 0 || count > INT_MAX)
      m_in.Fail("a number of rows", count);
    m_in.Require(static_cast<std::size_t>(count),
                 m_binary ? (m_version == 4 ? 8 : 4) * ints + (m_version == 1 ? 4 : 8) * reals
                          : 2 * (ints + reals),
                 what);
    return static_cast<std::size_t>(count);
  }

  void ReadSection(const mdt_Section& section) {
    switch (section.kind) {
    case mdt_Section::Kind::kVertices:
      return ReadVertices();
    case mdt_Section::Kind::kCells:
      return ReadCells(section);
    case mdt_Section::Kind::kNoted:
      return SkipRows(section);
    default:
      m_in.Fail("elements whose order of nodes is settled", section.name);
    }
  }

  void ReadVertices() {
    if (m_hasVertices)
      m_in.Fail("one section Vertices", "another");
    m_hasVertices = true;
    const std::size_t count = Count(1, m_raw.dimension, "nodes");
    m_raw.coordinates.reserve(count * m_raw.dimension);
    std::map<long long, std::size_t> groups; // [ref]
    for (std::size_t i = 0; i < count; ++i) {
      for (std::size_t axis = 0; axis < m_raw.dimension; ++axis)
        m_raw.coordinates.push_back(Real("a coordinate"));
      const long long ref = Int("a ref");
      if (ref == 0)
        continue;
      const auto [at, isNew] = groups.try_emplace(ref, m_raw.groups.size());
      if (isNew)
        m_raw.groups.push_back({-1, "ref_" + std::to_string(ref), ref, {}});
      m_raw.groups[at->second].nodes.push_back(static_cast<int>(i));
    }
  }

  void ReadCells(const mdt_Section& section) {
    const std::size_t count = Count(section.nodes + 1, 0, section.name);
    mesh_RawCells cells;
    cells.type = mesh_FindElement(section.type, section.nodes);
    cells.nodes.reserve(count * section.nodes);
    cells.families.reserve(count);
    const long long most =
        m_hasVertices ? static_cast<long long>(m_raw.coordinates.size() / m_raw.dimension) : INT_MAX;
    long long last = 0;
    int family = -1;
    for (std::size_t i = 0; i < count; ++i) {
      for (std::size_t k = 0; k < section.nodes; ++k) {
        const long long node = Int("a node");
        if (node < 1 || node > most)
          m_in.Fail("a node in 1.." + std::to_string(most), node);
        cells.nodes.push_back(static_cast<int>(node - 1));
      }
      const long long ref = Int("a ref");
      if (ref != last) {
        last = ref;
        family = ref ? Family(cells.type->dimension, ref) : -1;
      }
      cells.families.push_back(family);
    }
    m_raw.cells.push_back(std::move(cells));
  }

  int Family(int dimension, long long ref) {
    const auto [at, isNew] =
        m_families.try_emplace({dimension, ref}, static_cast<int>(m_raw.families.size()));
    if (isNew) {
      m_raw.families.push_back({static_cast<int>(m_raw.groups.size())});
      m_raw.groups.push_back({dimension, "ref_" + std::to_string(ref), ref, {}});
    }
    return at->second;
  }

  void SkipRows(const mdt_Section& section) {
    const std::size_t words = section.onAxes ? m_raw.dimension : section.nodes;
    const bool areReals = section.onAxes || !section.isCounted;
    const std::size_t count =
        section.isCounted ? Count(areReals ? 0 : words, areReals ? words : 0, section.name) : 1;
    if (words == 0 && !m_binary)
      m_in.SkipLines(count, section.name);
    for (std::size_t i = 0; i < count * words; ++i)
      if (areReals)
        Real("a real");
      else
        Int("an integer");
    if (count)
      m_raw.notes.push_back(std::string(section.name) + " (" + std::to_string(count) + ")");
  }

  mesh_Input m_in;
  mesh_Raw m_raw;
  std::map<std::pair<int, long long>, int> m_families; // [dimension, ref]
  int m_version = 0;
  std::size_t m_next = 0; // where the next section begins, of binary files
  bool m_binary = false, m_hasVertices = false;
};

bool isBinary(const std::string& bytes) {
  int numbers[2] = {}; // the byte order, the version
  if (bytes.size() < 12)
    return false;
  std::memcpy(numbers, bytes.data(), sizeof numbers);
  const auto among = [&](int unit) {
    return numbers[0] == unit && numbers[1] % unit == 0 && numbers[1] / unit >= 1;
  };
  return (among(1) && numbers[1] <= 4) || (among(kTurnedOne) && numbers[1] / kTurnedOne <= 4);
}

} // namespace

bool mdt_IsOne(const mesh_Head& head) {
  // A text may begin with comments.
  std::string_view rest(head.bytes);
  for (;;) {
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r\n"), rest.size()));
    if (!rest.starts_with('#'))
      break;
    rest.remove_prefix(std::min(rest.find('\n'), rest.size()));
  }
  return rest.starts_with("MeshVersionFormatted") || isBinary(head.bytes);
}

std::unique_ptr<mesh_Source> mdt_Open(const std::string& path, const mesh_Reading&) {
  char head[12] = {};
  mesh_Input input(path);
  const bool binary = input.Left() >= sizeof head && (input.Bytes(head, sizeof head, "a mesh"), true) &&
                      isBinary(std::string(head, sizeof head));
  return mesh_Assemble(Reader(path).Read(binary));
}
