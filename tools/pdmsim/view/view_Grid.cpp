#include <pdmsim/view/view_Grid.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/mesh/mesh_Elements.h>

#include <algorithm>
#include <limits>
#include <numeric>

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 17; // elements
constexpr int kPolygon = 7, kPolyVertex = 2, kEmpty = 0;

std::vector<std::int64_t> one(std::size_t n) {
  return {static_cast<std::int64_t>(n)};
}

/// Calls f(first element of the block, count, rows, nodes in a row) for a block in pieces.
template <class F>
void forEachPiece(const sto_Mesh& mesh, const mesh_Block& block, F&& f) {
  const auto connectivity = mesh.Connectivity(block);
  const std::size_t width = connectivity->Width();
  std::vector<int> rows;
  for (std::size_t first = 0; first < block.elements; first += kPiece) {
    const std::size_t count = std::min(kPiece, block.elements - first);
    rows.resize(count * width);
    connectivity->Next(count, rows.data());
    f(first, count, rows.data(), width);
  }
}

} // namespace

view_Grid::Cells view_Grid::CellsOf(const mesh_Block& block) {
  if (block.elements == 0 || block.nodesPerElement == 0)
    return {kEmpty, 0, {}, false};
  if (block.shape == mesh_Block::Shape::kPolygons)
    return {kPolygon, 0, {}, true};
  const std::size_t nodes = block.nodesPerElement;
  if (const mesh_Element* type = mesh_FindElement(block.type, nodes))
    return {type->vtk, nodes, {type->to_vtk.begin(), type->to_vtk.end()}, false};
  for (std::size_t fewer = nodes - 1; fewer > 0; --fewer)
    if (const mesh_Element* type = mesh_FindElement(block.type, fewer)) {
      const auto corners = static_cast<std::size_t>(type->corners);
      type = mesh_FindElement(block.type, corners);
      m_notes.push_back("block " + std::to_string(block.id) + ": elements of type " + block.type + " with " +
                        std::to_string(nodes) + " nodes are shown by their " + std::to_string(corners) +
                        " corners");
      std::vector<int> order(corners);
      std::iota(order.begin(), order.end(), 0);
      if (type != nullptr && !type->to_vtk.empty())
        order.assign(type->to_vtk.begin(), type->to_vtk.end());
      return {type == nullptr ? kPolyVertex : type->vtk, corners, std::move(order), false};
    }
  m_notes.push_back("block " + std::to_string(block.id) + ": elements of the unknown type '" + block.type +
                    "' are shown by their nodes");
  return {kPolyVertex, nodes, {}, false};
}

void view_Grid::Write() {
  if (m_mesh.CoordinateField().IsNull())
    throw cli_Failure(cli_Exit::kUnusable, m_mesh.Path() + ": expected coordinates of the nodes, found none");
  m_corners.resize(m_mesh.Blocks().size());
  for (const mesh_Block& block : m_mesh.Blocks()) {
    m_cells.push_back(CellsOf(block));
    m_output.Copied(m_mesh.ConnectivityField(), block.number - 1); // the types, if nothing else
    ReadBlock(m_cells.size() - 1);
  }
  m_output.Values("NumberOfPoints", {hdf_Datatype::kInt64, 1}, one(m_mesh.Nodes()));
  m_output.Values("NumberOfCells", {hdf_Datatype::kInt64, 1}, one(m_mesh.Elements()));
  m_output.Values("NumberOfConnectivityIds", {hdf_Datatype::kInt64, 1}, one(m_ids));
  WritePoints();
  WriteTypes();
  if (m_ids > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    WriteOffsets<std::int64_t>();
    return WriteConnectivity<std::int64_t>();
  }
  WriteOffsets<int>();
  const auto plain = [&](const Cells& cells) { return cells.order.empty() && !cells.polygons; };
  const bool maps = m_output.Maps() && std::all_of(m_cells.begin(), m_cells.end(), plain);
  const bool narrow = m_mesh.Blocks().empty() || [&] {
    const ORXSimDistributionRef connectivity(m_mesh.ConnectivityField());
    for (int i = 0; i < connectivity.NumDrawers(); ++i)
      if (connectivity.Drawer(i).Type() != ORXSimItemType::kInt32)
        return false;
    return true;
  }();
  if (maps && narrow)
    MapConnectivity();
  else
    WriteConnectivity<int>();
}

void view_Grid::ReadBlock(std::size_t k) {
  const mesh_Block& block = m_mesh.Blocks()[k];
  const Cells& cells = m_cells[k];
  if (cells.vtk == kEmpty)
    return;
  m_ids += cells.polygons ? 0 : block.elements * cells.nodes;
  forEachPiece(m_mesh, block, [&](std::size_t, std::size_t count, const int* rows, std::size_t width) {
    for (std::size_t i = 0; cells.polygons && i < count; ++i) {
      const int* const row = rows + i * width;
      const auto corners = static_cast<int>(std::find(row, row + width, -1) - row);
      m_corners[k].push_back(corners);
      m_ids += static_cast<std::size_t>(corners);
    }
  });
}

void view_Grid::WritePoints() {
  m_output.Rows("Points", {hdf_Datatype::kDouble, m_mesh.Nodes(), 3, true},
                {{{m_mesh.CoordinateField(), 0, 0, m_mesh.Nodes(), {}}, 0}}, true);
}

void view_Grid::WriteTypes() {
  const std::size_t cells = m_mesh.Elements();
  std::vector<std::uint8_t> types(cells);
  std::vector<long long> blocks(cells);
  for (const mesh_Block& block : m_mesh.Blocks()) {
    const auto first = static_cast<std::ptrdiff_t>(block.firstElement);
    const int vtk = m_cells[static_cast<std::size_t>(block.number - 1)].vtk;
    std::fill_n(types.begin() + first, block.elements, static_cast<std::uint8_t>(vtk));
    std::fill_n(blocks.begin() + first, block.elements, block.id);
  }
  m_output.Values("Types", {hdf_Datatype::kUChar, cells}, types);
  const bool wide = std::any_of(m_mesh.Blocks().begin(), m_mesh.Blocks().end(),
                                [](const mesh_Block& block) { return !std::in_range<int>(block.id); });
  if (wide)
    m_output.Values("CellData/block", {hdf_Datatype::kInt64, cells}, blocks);
  else
    m_output.Values("CellData/block", {hdf_Datatype::kInt, cells},
                    std::vector<int>(blocks.begin(), blocks.end()));
  m_output.Shows("block", {});
}

template <class T>
void view_Grid::WriteOffsets() {
  std::vector<T> offsets{0};
  offsets.reserve(m_mesh.Elements() + 1);
  for (const mesh_Block& block : m_mesh.Blocks()) {
    const auto k = static_cast<std::size_t>(block.number - 1);
    for (std::size_t i = 0; i < block.elements; ++i)
      offsets.push_back(offsets.back() + (m_cells[k].polygons ? static_cast<T>(m_corners[k][i])
                                                              : static_cast<T>(m_cells[k].nodes)));
  }
  m_output.Values("Offsets", {sizeof(T) == 4 ? hdf_Datatype::kInt : hdf_Datatype::kInt64, offsets.size()},
                  offsets);
}

void view_Grid::MapConnectivity() {
  std::vector<view_Part> parts;
  std::size_t target = 0;
  for (const mesh_Block& block : m_mesh.Blocks()) {
    if (m_cells[static_cast<std::size_t>(block.number - 1)].vtk == kEmpty)
      continue;
    parts.push_back({{m_mesh.ConnectivityField(), block.number - 1, 0, block.elements, {}}, target});
    target += block.elements * block.nodesPerElement;
  }
  m_output.Rows("Connectivity", {hdf_Datatype::kInt, m_ids}, parts, true);
}

template <class T>
void view_Grid::WriteConnectivity() {
  const hdf_ViewShape shape{sizeof(T) == 4 ? hdf_Datatype::kInt : hdf_Datatype::kInt64, m_ids};
  if (!m_output.Begin("Connectivity", shape, true))
    return;
  std::size_t target = 0;
  std::vector<T> ids;
  for (const mesh_Block& block : m_mesh.Blocks()) {
    const auto k = static_cast<std::size_t>(block.number - 1);
    const Cells& cells = m_cells[k];
    if (cells.vtk == kEmpty)
      continue;
    forEachPiece(m_mesh, block,
                 [&](std::size_t first, std::size_t count, const int* rows, std::size_t width) {
                   ids.clear();
                   for (std::size_t i = 0; i < count; ++i) {
                     const int* const row = rows + i * width;
                     if (cells.polygons)
                       ids.insert(ids.end(), row, row + m_corners[k][first + i]);
                     else if (cells.order.empty())
                       ids.insert(ids.end(), row, row + cells.nodes);
                     else
                       for (const int local : cells.order)
                         ids.push_back(row[local]);
                   }
                   m_output.Write("Connectivity", target, ids.size(), ids.data(), sizeof(T) * ids.size());
                   target += ids.size();
                 });
  }
}
