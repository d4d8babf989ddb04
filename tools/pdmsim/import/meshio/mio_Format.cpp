#include <pdmsim/import/meshio/mio_Format.h>

#include <pdmsim/import/meshio/mio_Script.h>
#include <pdmsim/mesh/mesh_Error.h>
#include <pdmsim/mesh/mesh_Raw.h>

#include <UTI_BasicUtils/prc_Child.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <sstream>
#include <unistd.h>

namespace {

/// Runs the program and gives out what it writes.
std::string run(const std::string& format, const std::string& path) {
  const char* const wanted = std::getenv("PDMSIM_PYTHON");
  const std::string python = wanted                                  ? wanted
                             : access("/usr/bin/python3", X_OK) == 0 ? "/usr/bin/python3"
                                                                     : "python3";
  std::error_code error;
  const std::uint64_t bytes = std::filesystem::file_size(path, error);
  if (error)
    throw mesh_Error(path, error.message());
  // Python's lists of numbers are large, and its libraries reserve much address space.
  const prc_ChildLimits limits{(std::uint64_t{8} << 30) + 100 * bytes, 3600, 3600};
  const auto quoted = [](const std::string& text) {
    std::string out = "'";
    for (const char c : text)
      out += c == '\'' ? "'\\''" : std::string(1, c);
    return out + "'";
  };
  const std::string command = quoted(python) + " -B -c " + quoted(mio_kScript) + " " + format + " " +
                              quoted(std::filesystem::absolute(path));
  const auto outcome = prc_Child::Run(limits, [&](const prc_Child::Say& say) {
    setenv("OPENBLAS_NUM_THREADS", "1", 1);
    std::FILE* const pipe = popen(command.c_str(), "r");
    std::array<char, 1 << 16> piece;
    for (std::size_t got; pipe && (got = std::fread(piece.data(), 1, piece.size(), pipe)) > 0;)
      say(std::string(piece.data(), got));
    if (!pipe || pclose(pipe) != 0)
      _exit(1);
  });
  if (!outcome.ended && !outcome.output.starts_with("ERROR "))
    throw mesh_Error(path, "expected meshio to read it in " + python + ", found that it " + outcome.cause);
  if (outcome.output.starts_with("ERROR "))
    throw mesh_Error(path, outcome.output.substr(6));
  return outcome.output;
}

/// What the program wrote, from front to back.
class Stream {
 public:
  Stream(const std::string& path, const std::string& bytes) : m_path(path), m_bytes(bytes) {
    if (!bytes.starts_with("MESH"))
      Fail();
    m_at = 4;
  }
  long long Int() { return List<long long>(1)[0]; }
  std::size_t Size() {
    const long long number = Int();
    if (number < 0)
      Fail();
    return static_cast<std::size_t>(number);
  }
  template <class T>
  std::vector<T> List(std::size_t count) {
    if (count > (m_bytes.size() - m_at) / sizeof(T))
      Fail();
    std::vector<T> list(count);
    if (count)
      std::memcpy(list.data(), m_bytes.data() + m_at, count * sizeof(T));
    m_at += count * sizeof(T);
    return list;
  }
  std::string Text() {
    const std::vector<char> text = List<char>(Size());
    return {text.begin(), text.end()};
  }
  [[noreturn]] void Fail(const std::string& found = "something else") const {
    throw mesh_Error(m_path, "expected a mesh of meshio, found " + found);
  }

 private:
  const std::string& m_path;
  const std::string& m_bytes;
  std::size_t m_at = 0;
};

struct Type {
  const char *meshio, *ours;
  std::size_t nodes;
  std::vector<int> order; // our i-th node is meshio's order[i]-th; empty: the same
};

const Type* findType(const std::string& name) {
  static const std::vector<Type> s_types = {
      {"vertex", "SPHERE", 1, {}},
      {"line", "BAR", 2, {}},
      {"line3", "BAR", 3, {}},
      {"triangle", "TRI", 3, {}},
      {"triangle6", "TRI", 6, {}},
      {"quad", "QUAD", 4, {}},
      {"quad8", "QUAD", 8, {}},
      {"quad9", "QUAD", 9, {}},
      {"tetra", "TET", 4, {}},
      {"tetra10", "TET", 10, {}},
      {"pyramid", "PYRAMID", 5, {}},
      {"pyramid13", "PYRAMID", 13, {}},
      {"wedge", "WEDGE", 6, {}},
      {"wedge15", "WEDGE", 15, {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 13, 14, 9, 10, 11}},
      {"hexahedron", "HEX", 8, {}},
      {"hexahedron20", "HEX", 20, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 16, 17, 18, 19, 12, 13, 14, 15}},
  };
  const auto found =
      std::find_if(s_types.begin(), s_types.end(), [&](const Type& type) { return name == type.meshio; });
  return found == s_types.end() ? nullptr : &*found;
}

mesh_RawCells readCells(Stream& in) {
  const std::string name = in.Text();
  const Type* const type = findType(name);
  const std::size_t width = in.Size(), count = in.Size();
  const bool labelled = in.Int() != 0;
  if (!type || width != type->nodes)
    in.Fail("elements " + name + " of " + std::to_string(width) + " nodes");
  mesh_RawCells cells;
  cells.type = mesh_FindElement(type->ours, width);
  const std::vector<long long> nodes = in.List<long long>(count * width);
  cells.nodes.reserve(nodes.size());
  for (std::size_t i = 0; i < nodes.size(); i += width)
    for (std::size_t k = 0; k < width; ++k)
      cells.nodes.push_back(
          static_cast<int>(nodes[i + (type->order.empty() ? k : static_cast<std::size_t>(type->order[k]))]));
  if (labelled)
    cells.labels = in.List<long long>(count);
  cells.families.assign(count, -1);
  return cells;
}

/// Puts the cells into groups.
void readGroups(Stream& in, mesh_Raw& raw, std::size_t groups) {
  std::vector<std::size_t> starts;
  std::size_t total = 0;
  for (const mesh_RawCells& cells : raw.cells) {
    starts.push_back(total);
    total += cells.families.size();
  }
  const auto listOf = [&](std::size_t cell) {
    return static_cast<std::size_t>(std::upper_bound(starts.begin(), starts.end(), cell) - starts.begin() -
                                    1);
  };
  std::vector<std::pair<std::size_t, int>> memberships; // cell, group
  for (; groups > 0; --groups) {
    const std::string name = in.Text();
    const long long id = in.Int();
    const int group = static_cast<int>(raw.groups.size());
    const std::vector<long long> cells = in.List<long long>(in.Size());
    raw.groups.push_back({cells.empty() ? mesh_kAnyDimension : -1, name, id, {}});
    int& dimension = raw.groups.back().dimension;
    for (const long long one : cells) {
      const auto cell = static_cast<std::size_t>(one);
      if (cell >= total)
        in.Fail("element " + std::to_string(one) + " in the set " + name);
      const int of = raw.cells[listOf(cell)].type->dimension;
      dimension = dimension == -1 || dimension == of ? of : mesh_kAnyDimension;
      memberships.emplace_back(cell, group);
    }
  }
  std::sort(memberships.begin(), memberships.end());
  std::map<std::vector<int>, int> families;
  for (std::size_t i = 0; i < memberships.size();) {
    const std::size_t cell = memberships[i].first;
    std::vector<int> of;
    for (; i < memberships.size() && memberships[i].first == cell; ++i)
      of.push_back(memberships[i].second);
    const auto [at, isNew] = families.try_emplace(of, static_cast<int>(raw.families.size()));
    if (isNew)
      raw.families.push_back(of);
    const std::size_t list = listOf(cell);
    raw.cells[list].families[cell - starts[list]] = at->second;
  }
}

std::unique_ptr<mesh_Source> openMesh(const std::string& format, const std::string& path) {
  const std::string bytes = run(format, path);
  Stream in(path, bytes);
  mesh_Raw raw;
  raw.path = path;
  raw.keepSides = true; // in these formats whatever is written is an element
  raw.dimension = in.Size();
  const std::size_t nodes = in.Size();
  const bool labelled = in.Int() != 0;
  std::size_t blocks = in.Size();
  const std::size_t groups = in.Size();
  std::size_t sets = in.Size(), notes = in.Size();
  raw.coordinates = in.List<double>(nodes * raw.dimension);
  if (labelled)
    raw.nodeLabels = in.List<long long>(nodes);
  for (; blocks > 0; --blocks)
    raw.cells.push_back(readCells(in));
  readGroups(in, raw, groups);
  for (; sets > 0; --sets) {
    mesh_RawGroup group{-1, in.Text(), in.Int(), {}};
    for (const long long node : in.List<long long>(in.Size()))
      group.nodes.push_back(static_cast<int>(node));
    raw.groups.push_back(std::move(group));
  }
  for (; notes > 0; --notes)
    raw.notes.push_back(in.Text());
  return mesh_Assemble(std::move(raw));
}

} // namespace

bool mio_IsAbaqus(const mesh_Head& head) {
  std::istringstream lines(head.bytes);
  for (std::string line; std::getline(lines, line);)
    if (!line.starts_with("**") && line.find_first_not_of(" \t\r") != std::string::npos) {
      std::transform(line.begin(), line.end(), line.begin(),
                     [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
      const auto is = [&](const char* keyword) { return line.starts_with(keyword); };
      return is("*HEADING") || is("*NODE") || is("*PART") || is("*PREPRINT") || is("*ELEMENT");
    }
  return false;
}

bool mio_IsNastran(const mesh_Head& head) {
  return head.bytes.starts_with("BEGIN BULK") || head.bytes.find("\nBEGIN BULK") != std::string::npos;
}

std::unique_ptr<mesh_Source> mio_OpenAbaqus(const std::string& path, const mesh_Reading&) {
  return openMesh("abaqus", path);
}

std::unique_ptr<mesh_Source> mio_OpenNastran(const std::string& path, const mesh_Reading&) {
  return openMesh("nastran", path);
}
