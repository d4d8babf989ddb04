#include <pdmsim/import/vtk/vtk_Dataset.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <utility>

namespace {

struct TypeName {
  std::string_view name;
  byt_Type type;
};
constexpr TypeName kTypes[] = {{"unsigned_char", byt_Type::kUInt8},   {"char", byt_Type::kInt8},
                               {"unsigned_short", byt_Type::kUInt16}, {"short", byt_Type::kInt16},
                               {"unsigned_int", byt_Type::kUInt32},   {"int", byt_Type::kInt32},
                               {"unsigned_long", byt_Type::kUInt64},  {"long", byt_Type::kInt64},
                               {"vtktypeint64", byt_Type::kInt64},    {"vtktypeuint64", byt_Type::kUInt64},
                               {"vtkidtype", byt_Type::kInt32},       {"float", byt_Type::kFloat},
                               {"double", byt_Type::kDouble}};

std::string lower(std::string_view word) {
  std::string text(word);
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

/// A name as it was before it was written: %20 is a blank.
std::string decoded(std::string_view word) {
  const auto digit = [](char c) {
    return std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : (c | 32) - 'a' + 10;
  };
  std::string name;
  for (std::size_t i = 0; i < word.size(); ++i)
    if (word[i] == '%' && i + 2 < word.size() && std::isxdigit(static_cast<unsigned char>(word[i + 1])) &&
        std::isxdigit(static_cast<unsigned char>(word[i + 2]))) {
      name += static_cast<char>(16 * digit(word[i + 1]) + digit(word[i + 2]));
      i += 2;
    } else {
      name += word[i];
    }
  return name;
}

/// Reads a legacy file from its first line to its last; arrays are passed over and read later.
class Legacy {
 public:
  explicit Legacy(const std::string& path) : m_data(path), m_cursor(m_data.file, {0, m_data.file.Size()}) {}

  vtk_Dataset Read() {
    ReadHeader();
    while (true) {
      const std::string keyword = Word();
      if (keyword.empty())
        break;
      ReadPart(keyword);
    }
    if (m_data.points.parts.empty())
      Fail("expected POINTS, found none");
    if (!m_isPoly && m_data.cells.types.size() != m_data.cells.ends.size())
      Fail("expected CELL_TYPES for " + std::to_string(m_data.cells.ends.size()) + " cells, found " +
           std::to_string(m_data.cells.types.size()));
    return std::move(m_data);
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const { m_data.file.Fail(what); }

  std::string Word() { return std::string(m_cursor.Word()); }
  std::string Keyword() { return lower(m_cursor.Word()); }
  std::string Peek() {
    const std::uint64_t at = m_cursor.At();
    std::string word = Keyword();
    m_cursor.SkipTo(at);
    return word;
  }
  /// What comes next, which is bytes unless it is that word; the line before it has ended.
  bool NextIs(std::string_view word) {
    if (!m_isBinary)
      return Peek() == word;
    const std::uint64_t at = m_cursor.At();
    std::string bytes(std::min<std::uint64_t>(word.size(), m_cursor.Left()), '\0');
    m_cursor.Bytes(bytes.data(), bytes.size());
    m_cursor.SkipTo(at);
    return lower(bytes) == word;
  }
  /// A number of things each of which takes at least a byte.
  std::uint64_t Count() {
    const long long count = m_cursor.Integer();
    if (count < 0 || static_cast<std::uint64_t>(count) > m_data.file.Size())
      Fail("expected a count that the file can hold, found " + std::to_string(count));
    return static_cast<std::uint64_t>(count);
  }

  void ReadHeader() {
    if (!m_cursor.Line().starts_with("# vtk DataFile"))
      Fail("expected a VTK file, found another first line");
    m_cursor.Line();
    const std::string encoding = Keyword();
    if (encoding != "ascii" && encoding != "binary")
      Fail("expected ASCII or BINARY, found " + byt_Quoted(encoding));
    m_isBinary = encoding == "binary";
    if (Peek() == "field") { // VisIt writes it here, too
      Keyword();
      ReadFieldData();
    }
    if (const std::string word = Keyword(); word != "dataset")
      Fail("expected DATASET, found " + byt_Quoted(word));
    const std::string kind = Keyword();
    m_isPoly = kind == "polydata";
    if (!m_isPoly && kind != "unstructured_grid")
      Fail("expected UNSTRUCTURED_GRID or POLYDATA, found " + byt_Quoted(kind));
  }

  void ReadPart(const std::string& word) {
    const std::string keyword = lower(word);
    if (keyword == "points") {
      const std::uint64_t points = Count();
      m_data.points.parts = {Numbers(points * 3, Type())};
    } else if (keyword == "cells") {
      ReadCells(0);
    } else if (keyword == "cell_types") {
      ReadTypes();
    } else if (keyword == "point_data" || keyword == "cell_data") {
      m_attributes = keyword == "cell_data" ? &m_data.cellData : &m_data.pointData;
      m_rows = Count();
    } else if (keyword == "field") {
      ReadFieldData();
    } else if (keyword == "metadata") {
      SkipMetadata();
    } else if (!(m_isPoly && ReadPolyCells(keyword)) && !(m_attributes && ReadAttribute(keyword))) {
      Fail("expected a part of a VTK file, found " + byt_Quoted(word) + " at byte " +
           std::to_string(m_cursor.At()));
    }
  }

  bool ReadPolyCells(const std::string& keyword) {
    constexpr std::pair<std::string_view, unsigned char> kinds[] = {
        {"vertices", 2}, {"lines", 4}, {"polygons", 7}, {"triangle_strips", 6}};
    for (int place = 0; place < 4; ++place)
      if (const auto& [name, type] = kinds[place]; keyword == name) {
        if (place < m_polyKind) // the values of cells come in the order of the kinds
          Fail("expected vertices, lines, polygons and triangle strips in this order, found " + keyword +
               " behind others");
        m_polyKind = place;
        ReadCells(type);
        return true;
      }
    return false;
  }

  byt_Type Type() {
    const std::string word = Keyword();
    for (const TypeName& one : kTypes)
      if (word == one.name)
        return one.type;
    Fail("expected a type of numbers, found " + byt_Quoted(word));
  }

  /// Passes over numbers. Bytes begin in the next line, unless a line has just ended.
  byt_Numbers Numbers(std::uint64_t count, byt_Type type, bool lineEnded = false) {
    byt_Numbers numbers{count, type, true, nullptr, {}};
    if (!m_isBinary) {
      numbers.text.begin = m_cursor.At();
      m_cursor.SkipWords(count);
      numbers.text.end = m_cursor.At();
      return numbers;
    }
    if (!lineEnded)
      m_cursor.Line();
    const std::uint64_t at = m_cursor.At();
    if (count > m_cursor.Left() / byt_Size(type))
      Fail("expected " + std::to_string(count) + " numbers of " + std::to_string(byt_Size(type)) +
           " bytes at byte " + std::to_string(at) + ", found " + std::to_string(m_cursor.Left()) + " bytes");
    m_cursor.SkipTo(at + count * byt_Size(type));
    numbers.bytes = [file = m_data.file, at] {
      return [file, next = at](char* to, std::size_t bytes) mutable {
        file.Read(next, to, bytes);
        next += bytes;
      };
    };
    return numbers;
  }

  /// The cells of one list, behind those that are there.
  /// \param type of all of them; 0: CELL_TYPES tells.
  void ReadCells(unsigned char type) {
    const std::uint64_t first = Count(), second = Count();
    m_cursor.Line();
    if (NextIs("offsets"))
      ReadOffsets(first, second);
    else
      ReadInterleaved(first, second);
    if (type != 0)
      m_data.cells.types.resize(m_data.cells.ends.size(), type);
  }

  // Version 5: where each cell begins, and where the last ends; then the points of all.
  void ReadOffsets(std::uint64_t offsets, std::uint64_t points) {
    Keyword();
    const std::vector<long long> starts = Numbers(offsets, Type()).Read<long long>(m_data.file);
    if (const std::string word = Keyword(); word != "connectivity")
      Fail("expected CONNECTIVITY, found " + byt_Quoted(word));
    std::vector<int> nodes = Numbers(points, Type()).Read<int>(m_data.file);
    auto& cells = m_data.cells;
    const auto before = static_cast<long long>(cells.nodes.size());
    if (!starts.empty() && starts.front() != 0)
      Fail("expected OFFSETS from 0 on, found " + std::to_string(starts.front()));
    for (std::size_t i = 1; i < starts.size(); ++i) {
      if (starts[i] < starts[i - 1] || starts[i] > static_cast<long long>(nodes.size()))
        Fail("expected OFFSETS that ascend to " + std::to_string(nodes.size()) + ", found " +
             std::to_string(starts[i]));
      cells.ends.push_back(before + starts[i]);
    }
    if (const long long last = starts.empty() ? 0 : starts.back();
        last != static_cast<long long>(nodes.size()))
      Fail("expected OFFSETS that end at " + std::to_string(nodes.size()) + ", found " +
           std::to_string(last));
    if (before == 0)
      cells.nodes = std::move(nodes);
    else
      cells.nodes.insert(cells.nodes.end(), nodes.begin(), nodes.end());
  }

  // The number of a cell's points stands before them.
  void ReadInterleaved(std::uint64_t count, std::uint64_t numbers) {
    std::vector<int> all = Numbers(numbers, byt_Type::kInt32, true).Read<int>(m_data.file);
    auto& cells = m_data.cells;
    const std::size_t before = cells.nodes.size();
    std::size_t next = 0, to = 0;
    cells.ends.reserve(cells.ends.size() + std::min<std::uint64_t>(count, all.size()));
    for (std::uint64_t cell = 0; cell < count; ++cell) {
      const long long points = next < all.size() ? all[next] : -1;
      if (points < 0 || static_cast<std::uint64_t>(points) > all.size() - next - 1)
        Fail("expected " + std::to_string(count) + " cells in " + std::to_string(all.size()) +
             " numbers, found the end within cell " + std::to_string(cell + 1));
      std::copy_n(all.begin() + static_cast<std::ptrdiff_t>(next) + 1, points,
                  all.begin() + static_cast<std::ptrdiff_t>(to));
      next += static_cast<std::size_t>(points) + 1;
      to += static_cast<std::size_t>(points);
      cells.ends.push_back(static_cast<long long>(before + to));
    }
    if (next != all.size())
      Fail("expected " + std::to_string(count) + " cells in " + std::to_string(all.size()) +
           " numbers, found " + std::to_string(all.size() - next) + " numbers more");
    all.resize(to);
    if (before == 0)
      cells.nodes = std::move(all);
    else
      cells.nodes.insert(cells.nodes.end(), all.begin(), all.end());
  }

  void ReadTypes() {
    for (const int type : Numbers(Count(), byt_Type::kInt32).Read<int>(m_data.file)) {
      if (type < 0 || type > 255)
        Fail("expected types of cells, found " + std::to_string(type));
      m_data.cells.types.push_back(static_cast<unsigned char>(type));
    }
  }

  void SkipMetadata() {
    m_cursor.Line();
    while (m_cursor.Left() > 0 && !m_cursor.Line().empty()) {
    }
  }

  void Add(std::string name, std::size_t components, byt_Type type, bool isIds = false,
           bool lineEnded = false) {
    vtk_Array array{decoded(name), components, isIds, {}};
    array.parts = {Numbers(m_rows * components, type, lineEnded)};
    m_attributes->push_back(std::move(array));
  }

  bool ReadAttribute(const std::string& keyword) {
    constexpr std::pair<std::string_view, std::size_t> fixed[] = {
        {"vectors", 3},    {"normals", 3},      {"tensors", 9},   {"tensors6", 6},
        {"global_ids", 1}, {"pedigree_ids", 1}, {"edge_flags", 1}};
    if (keyword == "lookup_table") { // colours
      Word();
      Numbers(4 * Count(), m_isBinary ? byt_Type::kUInt8 : byt_Type::kFloat);
      return true;
    }
    const auto found = std::find_if(std::begin(fixed), std::end(fixed),
                                    [&](const auto& one) { return keyword == one.first; });
    if (found == std::end(fixed) && keyword != "scalars" && keyword != "texture_coordinates" &&
        keyword != "color_scalars")
      return false;
    std::string name = Word();
    if (found != std::end(fixed)) {
      Add(std::move(name), found->second, Type(), keyword == "global_ids");
    } else if (keyword == "scalars") {
      ReadScalars(std::move(name));
    } else {
      const std::size_t components = Components();
      Add(std::move(name), components,
          keyword == "texture_coordinates" ? Type()
          : m_isBinary                     ? byt_Type::kUInt8
                                           : byt_Type::kFloat);
    }
    return true;
  }

  std::size_t Components() {
    const std::uint64_t components = Count();
    if (components > 1000)
      Fail("expected 0 to 1000 components, found " + std::to_string(components));
    return components;
  }

  void ReadScalars(std::string name) {
    const byt_Type type = Type();
    std::size_t components = 1;
    const std::uint64_t at = m_cursor.At();
    if (const std::string_view rest = m_cursor.Line(); rest.find_first_of("123456789") != rest.npos) {
      m_cursor.SkipTo(at);
      components = Components();
      m_cursor.Line();
    }
    const bool table = NextIs("lookup_table");
    if (table) {
      Word();
      Word();
    }
    Add(std::move(name), components, type, false, !table);
  }

  void ReadFieldData() {
    Word();
    const std::uint64_t arrays = Count();
    for (std::uint64_t i = 0; i < arrays; ++i) {
      if (Peek() == "metadata") {
        Keyword();
        SkipMetadata();
      }
      const std::string name = Word();
      const std::size_t components = Components();
      const std::uint64_t rows = Count();
      if (Peek() == "string")
        Fail("expected numbers in the array " + name + ", found texts");
      const byt_Type type = Type();
      vtk_Array array{decoded(name), components, false, {Numbers(rows * components, type)}};
      if (m_attributes != nullptr && rows == m_rows)
        m_attributes->push_back(std::move(array));
      else if (lower(name) == "time" && rows * components == 1)
        m_data.time = array.Read<double>(m_data.file)[0];
      else
        m_data.notes.push_back("the array " + array.name + ", which belongs to no points or cells");
    }
  }

  vtk_Dataset m_data;
  byt_Cursor m_cursor;
  int m_polyKind = 0;
  bool m_isBinary = false, m_isPoly = false;
  std::vector<vtk_Array>* m_attributes = nullptr; // of points or cells
  std::uint64_t m_rows = 0;
};

} // namespace

vtk_Dataset vtk_ReadLegacy(const std::string& path) {
  return Legacy(path).Read();
}
