#include <pdmsim/import/vtk/vtk_Dataset.h>

#include <pdmsim/import/bytes/byt_Xml.h>
#include <pdmsim/import/vtk/vtk_Streams.h>

#include <algorithm>
#include <charconv>
#include <map>

namespace {

struct XmlType {
  std::string_view name;
  byt_Type type;
};
constexpr XmlType kXmlTypes[] = {{"Int8", byt_Type::kInt8},     {"UInt8", byt_Type::kUInt8},
                                 {"Int16", byt_Type::kInt16},   {"UInt16", byt_Type::kUInt16},
                                 {"Int32", byt_Type::kInt32},   {"UInt32", byt_Type::kUInt32},
                                 {"Int64", byt_Type::kInt64},   {"UInt64", byt_Type::kUInt64},
                                 {"Float32", byt_Type::kFloat}, {"Float64", byt_Type::kDouble}};

/// Reads the tree of a .vtu file; its arrays are read later.
class Xml {
 public:
  explicit Xml(const std::string& path) : m_data(path), m_root(byt_ReadXml(m_data.file, "AppendedData")) {}

  vtk_Dataset Read() {
    ReadHeader();
    const byt_XmlNode* const grid = m_root.Child("UnstructuredGrid");
    if (grid == nullptr)
      Fail("expected an UnstructuredGrid, found none");
    FindAppended();
    for (const byt_XmlNode& child : grid->children)
      if (child.name == "Piece")
        ReadPiece(child);
      else if (child.name == "FieldData")
        ReadFieldData(child);
    if (m_pieces == 0)
      Fail("expected a Piece, found none");
    return std::move(m_data);
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const { m_data.file.Fail(what); }

  void ReadHeader() {
    if (m_root.name != "VTKFile")
      Fail("expected VTKFile, found " + byt_Quoted(m_root.name));
    if (m_root["type"] != "UnstructuredGrid")
      Fail("expected a VTKFile of the type UnstructuredGrid, found " + byt_Quoted(m_root["type"]));
    m_packing.bigEndian = m_root["byte_order"] == "BigEndian";
    const std::string& header = m_root["header_type"];
    if (!header.empty() && header != "UInt32" && header != "UInt64")
      Fail("expected the header_type UInt32 or UInt64, found " + byt_Quoted(header));
    m_packing.headerBytes = header == "UInt64" ? 8 : 4;
    const std::string& compressor = m_root["compressor"];
    if (!compressor.empty() && compressor != "vtkZLibDataCompressor")
      Fail("expected data that is not compressed, or by vtkZLibDataCompressor, found " +
           byt_Quoted(compressor));
    m_packing.compressed = !compressor.empty();
  }

  // Behind the "_" in AppendedData.
  void FindAppended() {
    const byt_XmlNode* const appended = m_root.Child("AppendedData");
    if (appended == nullptr)
      return;
    byt_Cursor cursor(m_data.file, {appended->text.begin, m_data.file.Size()});
    char mark = ' ';
    while (mark != '_' && cursor.Left() > 0)
      cursor.Bytes(&mark, 1);
    m_appended = {cursor.At(), m_data.file.Size()};
    m_appendedIsRaw = (*appended)["encoding"] == "raw";
    if (!m_appendedIsRaw && (*appended)["encoding"] != "base64")
      Fail("expected AppendedData in raw or base64, found " + byt_Quoted((*appended)["encoding"]));
  }

  std::uint64_t Number(const byt_XmlNode& node, const char* attribute, std::uint64_t otherwise) const {
    const std::string& text = node[attribute];
    if (text.empty())
      return otherwise;
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
      Fail("expected a number in the attribute " + std::string(attribute) + " of " + node.name + ", found " +
           byt_Quoted(text));
    return number;
  }

  /// \param count the numbers that there must be, as far as others tell.
  vtk_Array Array(const byt_XmlNode& node, std::uint64_t rows) const {
    vtk_Array array;
    array.name = node["Name"];
    array.components = Number(node, "NumberOfComponents", 1);
    if (array.components < 1 || array.components > 1000)
      Fail("expected 1 to 1000 components of " + array.name + ", found " + std::to_string(array.components));
    const auto type = std::find_if(std::begin(kXmlTypes), std::end(kXmlTypes),
                                   [&](const XmlType& one) { return one.name == node["type"]; });
    if (type == std::end(kXmlTypes))
      Fail("expected numbers in the array " + array.name + ", found the type " + byt_Quoted(node["type"]));
    const std::string& format = node["format"];
    if (format == "ascii" || format.empty())
      array.parts = {{rows * array.components, type->type, false, nullptr, node.text}};
    else if (format == "binary")
      array.parts = {Unpack(type->type, node.text, false)};
    else if (format == "appended")
      array.parts = {Appended(type->type, node)};
    else
      Fail("expected the array " + array.name + " in ascii, binary or appended, found " + byt_Quoted(format));
    if (array.Count() != rows * array.components && rows != UINT64_MAX)
      Fail("expected " + std::to_string(rows * array.components) + " numbers in the array " + array.name +
           ", found " + std::to_string(array.Count()));
    return array;
  }

  byt_Numbers Unpack(byt_Type type, byt_Range range, bool raw) const {
    // The header and, where nothing is compressed, the numbers are one piece of base64; otherwise each is
    // one.
    const auto source = [file = m_data.file, range, raw] {
      return raw ? vtk_Raw(file, range) : vtk_Base64(file, range);
    };
    return vtk_Unpack(m_data.file, m_packing, type, source, range.end - range.begin);
  }

  byt_Numbers Appended(byt_Type type, const byt_XmlNode& node) const {
    const std::uint64_t offset = Number(node, "offset", UINT64_MAX);
    if (m_appended.end == 0 || offset > m_appended.end - m_appended.begin)
      Fail("expected the array " + byt_Quoted(node["Name"]) + " in the appended data, found its offset " +
           byt_Quoted(node["offset"]));
    return Unpack(type, {m_appended.begin + offset, m_appended.end}, m_appendedIsRaw);
  }

  void ReadPiece(const byt_XmlNode& piece) {
    const std::uint64_t points = Number(piece, "NumberOfPoints", 0),
                        cells = Number(piece, "NumberOfCells", 0);
    if (points > m_data.file.Size() * 1032 || cells > m_data.file.Size() * 1032)
      Fail("expected as many points and cells as the file can hold, found " + std::to_string(points) +
           " and " + std::to_string(cells));
    ReadPoints(piece, points);
    ReadCells(piece, cells, points);
    ReadData(piece.Child("PointData"), points, m_data.pointData);
    ReadData(piece.Child("CellData"), cells, m_data.cellData);
    m_points += points;
    ++m_pieces;
  }

  void ReadPoints(const byt_XmlNode& piece, std::uint64_t points) {
    const byt_XmlNode* const node = piece.Child("Points");
    const byt_XmlNode* const array = node == nullptr ? nullptr : node->Child("DataArray");
    if (array == nullptr)
      Fail("expected Points in a Piece, found none");
    const vtk_Array read = Array(*array, points);
    if (read.components != 3)
      Fail("expected points of three coordinates, found " + std::to_string(read.components));
    m_data.points.components = 3;
    m_data.points.parts.push_back(read.parts[0]);
  }

  template <class T>
  std::vector<T> CellArray(const byt_XmlNode* cells, const char* name, std::uint64_t rows) const {
    if (cells != nullptr)
      for (const byt_XmlNode& node : cells->children)
        if (node.name == "DataArray" && node["Name"] == name)
          return Array(node, rows).Read<T>(m_data.file);
    Fail("expected the array " + std::string(name) + " in Cells, found none");
  }

  void ReadCells(const byt_XmlNode& piece, std::uint64_t count, std::uint64_t points) {
    const byt_XmlNode* const node = piece.Child("Cells");
    mesh_VtkCells& cells = m_data.cells;
    const auto before = static_cast<long long>(cells.nodes.size());
    std::vector<long long> ends = CellArray<long long>(node, "offsets", count);
    for (const int type : CellArray<int>(node, "types", count)) {
      if (type < 0 || type > 255)
        Fail("expected types of cells, found " + std::to_string(type));
      cells.types.push_back(static_cast<unsigned char>(type));
    }
    const long long used = ends.empty() ? 0 : ends.back();
    if (used < 0 || static_cast<std::uint64_t>(used) > m_data.file.Size() * 1032)
      Fail("expected offsets of cells, found " + std::to_string(used));
    std::vector<int> nodes = CellArray<int>(node, "connectivity", static_cast<std::uint64_t>(used));
    for (const int one : nodes) // of this piece only
      if (one < 0 || static_cast<std::uint64_t>(one) >= points || m_points + points > INT32_MAX)
        Fail("expected cells of the " + std::to_string(points) + " points of their Piece, found point " +
             std::to_string(one));
    if (m_pieces == 0) {
      cells.ends = std::move(ends);
      cells.nodes = std::move(nodes);
      return;
    }
    for (const long long end : ends)
      cells.ends.push_back(before + end);
    for (const int one : nodes)
      cells.nodes.push_back(one + static_cast<int>(m_points));
  }

  /// Arrays of one name in several pieces become one.
  void ReadData(const byt_XmlNode* node, std::uint64_t rows, std::vector<vtk_Array>& arrays) {
    if (node == nullptr)
      return;
    for (const byt_XmlNode& child : node->children) {
      if (child.name != "DataArray" && child.name != "Array")
        continue;
      if (child.name == "Array" || child["type"] == "String") {
        m_data.notes.push_back("the texts in the array " + child["Name"]);
        continue;
      }
      vtk_Array array = Array(child, rows);
      array.isIds = !array.name.empty() && (*node)["GlobalIds"] == array.name;
      const auto known = std::find_if(arrays.begin(), arrays.end(), [&](const vtk_Array& one) {
        return one.name == array.name && m_pieces > 0;
      });
      if (known == arrays.end())
        arrays.push_back(std::move(array));
      else if (known->components != array.components)
        Fail("expected as many components of " + array.name + " in each Piece, found " +
             std::to_string(array.components));
      else
        known->parts.push_back(array.parts[0]);
    }
  }

  void ReadFieldData(const byt_XmlNode& fields) {
    for (const byt_XmlNode& node : fields.children)
      if (node["Name"] == "TimeValue" && node.name == "DataArray")
        m_data.time = Array(node, 1).Read<double>(m_data.file)[0];
      else
        m_data.notes.push_back("the array " + node["Name"] + ", which belongs to no points or cells");
  }

  vtk_Dataset m_data;
  byt_XmlNode m_root;
  vtk_Packing m_packing;
  byt_Range m_appended;
  bool m_appendedIsRaw = false;
  std::size_t m_pieces = 0;
  std::uint64_t m_points = 0; // of the pieces before
};

} // namespace

vtk_Dataset vtk_ReadXml(const std::string& path) {
  return Xml(path).Read();
}
