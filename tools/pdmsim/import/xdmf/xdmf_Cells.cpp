#include <pdmsim/import/xdmf/xdmf_Reader.h>

#include <algorithm>
#include <cctype>

// Topologies become cells; the node orders are VTK's.

namespace {

struct Type {
  std::string_view name, other;
  int code; // in a mixed topology
  unsigned char vtk;
  int nodes; // 0: any number, which stands before them in a mixed topology
};
constexpr Type kTypes[] = {{"polyvertex", "", 1, 2, 0},
                           {"polyline", "", 2, 4, 0},
                           {"polygon", "", 3, 7, 0},
                           {"triangle", "", 4, 5, 3},
                           {"quadrilateral", "", 5, 9, 4},
                           {"tetrahedron", "", 6, 10, 4},
                           {"pyramid", "", 7, 14, 5},
                           {"wedge", "", 8, 13, 6},
                           {"hexahedron", "", 9, 12, 8},
                           {"edge_3", "", 34, 21, 3},
                           {"quadrilateral_9", "quad_9", 35, 28, 9},
                           {"triangle_6", "tri_6", 36, 22, 6},
                           {"quadrilateral_8", "quad_8", 37, 23, 8},
                           {"tetrahedron_10", "tet_10", 38, 24, 10},
                           {"pyramid_13", "", 39, 27, 13},
                           {"wedge_15", "", 40, 26, 15},
                           {"hexahedron_20", "hex_20", 48, 25, 20},
                           {"hexahedron_27", "hex_27", 50, 29, 27}};

} // namespace

void xdmf_Reader::ReadTopology() {
  const byt_XmlNode& node = *m_topology;
  const std::string& stated = node["TopologyType"].empty() ? node["Type"] : node["TopologyType"];
  std::string name = stated;
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  const auto* const type = std::find_if(std::begin(kTypes), std::end(kTypes), [&](const Type& one) {
    return name == one.name || (!one.other.empty() && name == one.other);
  });
  const bool mixed = name == "mixed";
  if ((type == std::end(kTypes) && !mixed) || !node["Order"].empty())
    m_document->Fail("expected a Topology of unstructured cells, found the type " +
                     byt_Quoted(stated + (node["Order"].empty() ? "" : " with an Order")));
  const std::vector<xdmf_Item> items = Items(node);
  if (items.size() != 1)
    m_document->Fail("expected the DataItem of a Topology, found " + std::to_string(items.size()));
  mesh_VtkCells cells;
  std::vector<int> numbers = items[0].Read<int>(m_document->File());
  if (mixed) {
    ReadMixed(numbers, cells);
  } else {
    const std::uint64_t fallback = type->vtk == 2 ? 1 : 2;
    const std::size_t width =
        type->nodes ? static_cast<std::size_t>(type->nodes) : Number(node, "NodesPerElement", fallback);
    if (width < 1 || numbers.size() % width != 0)
      m_document->Fail("expected cells of " + std::to_string(width) + " nodes, found " +
                       std::to_string(numbers.size()) + " numbers");
    cells.nodes = std::move(numbers);
    cells.types.assign(cells.nodes.size() / width, type->vtk);
    cells.ends.reserve(cells.types.size());
    for (std::size_t i = 1; i <= cells.types.size(); ++i)
      cells.ends.push_back(static_cast<long long>(i * width));
  }
  if (const std::uint64_t offset = Number(node, "BaseOffset", 0); offset != 0)
    for (int& one : cells.nodes)
      one = static_cast<std::uint64_t>(std::max(one, 0)) < offset
                ? -1
                : static_cast<int>(static_cast<std::uint64_t>(one) - offset);
  m_cells = cells.types.size();
  const char* const count = node["NumberOfElements"].empty() ? "Dimensions" : "NumberOfElements";
  if (const std::uint64_t wanted = Number(node, count, m_cells); wanted != m_cells)
    m_document->Fail("expected " + std::to_string(wanted) + " cells, found " + std::to_string(m_cells));
  m_order = mesh_AddVtkCells(m_raw, std::move(cells));
}

// A number for the type before the nodes of each cell.
void xdmf_Reader::ReadMixed(const std::vector<int>& codes, mesh_VtkCells& cells) const {
  cells.nodes.reserve(codes.size());
  for (std::size_t at = 0; at < codes.size();) {
    const auto* const type = std::find_if(std::begin(kTypes), std::end(kTypes),
                                          [&](const Type& one) { return one.code == codes[at]; });
    if (type == std::end(kTypes))
      m_document->Fail("expected the number of a type of cells, found " + std::to_string(codes[at]));
    ++at;
    long long width = type->nodes;
    if (width == 0)
      width = at < codes.size() ? codes[at++] : -1;
    if (width < 0 || static_cast<std::size_t>(width) > codes.size() - at)
      m_document->Fail("expected the nodes of cell " + std::to_string(cells.types.size() + 1) +
                       ", found the end");
    const auto first = codes.begin() + static_cast<std::ptrdiff_t>(at);
    cells.nodes.insert(cells.nodes.end(), first, first + width);
    at += static_cast<std::size_t>(width);
    cells.types.push_back(type->vtk);
    cells.ends.push_back(static_cast<long long>(cells.nodes.size()));
  }
}
