#include <pdmsim/export/gmsh/gmsh_Elements.h>

#include <pdmsim/import/gmsh/gms_Types.h>

#include <algorithm>

namespace {

struct Edge {
  int from, to;
};
// The edges in the order of the nodes on their middles, which follow the corners.
constexpr Edge kLine[] = {{0, 1}};
constexpr Edge kTriangle[] = {{0, 1}, {1, 2}, {2, 0}};
constexpr Edge kQuadrilateral[] = {{0, 1}, {1, 2}, {2, 3}, {3, 0}};
constexpr Edge kTetrahedron[] = {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}};
constexpr Edge kPyramid[] = {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 4}, {2, 4}, {3, 4}};
constexpr Edge kWedge[] = {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 4}, {2, 5}, {3, 4}, {4, 5}, {5, 3}};
constexpr Edge kHexahedron[] = {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 5},
                                {2, 6}, {3, 7}, {4, 5}, {5, 6}, {6, 7}, {7, 4}};
constexpr int kHexahedronFaces[] = {25, 24, 26, 23, 21, 22}; // the nodes on the middles of the sides

std::span<const Edge> edgesOf(const mesh_Element& element) {
  if (element.dimension == 1)
    return kLine;
  if (element.dimension == 2)
    return element.corners == 3 ? std::span<const Edge>(kTriangle) : kQuadrilateral;
  switch (element.corners) {
  case 4:
    return kTetrahedron;
  case 5:
    return kPyramid;
  case 6:
    return kWedge;
  default:
    return kHexahedron;
  }
}

/// The node on the middle of an edge; -1 for elements that have none there.
int middle(const mesh_Element& element, int from, int to) {
  const auto edges = edgesOf(element);
  for (std::size_t i = 0; i < edges.size(); ++i)
    if (std::minmax(edges[i].from, edges[i].to) == std::minmax(from, to)) {
      const int node = element.corners + static_cast<int>(i);
      return node < element.nodes ? node : -1;
    }
  return -1;
}

} // namespace

gmsh_Element gmsh_ElementOf(const mesh_Block& block) {
  const mesh_Element* const ours = block.shape == mesh_Block::Shape::kFixed
                                       ? mesh_FindElement(block.type, block.nodesPerElement)
                                       : nullptr;
  const gms_Type* const type = ours ? gms_FindType(ours->dimension, block.nodesPerElement) : nullptr;
  return type ? gmsh_Element{ours, type->number, type->toOurs} : gmsh_Element();
}

std::vector<int> gmsh_SideNodes(const mesh_Element& element, std::size_t side) {
  const auto corners = mesh_SideCorners(element, side);
  std::vector<int> nodes(corners.begin(), corners.end());
  const std::size_t count = corners.size();
  for (std::size_t i = 0; i < (count == 2 ? 1 : count) && count > 1; ++i)
    if (const int node = middle(element, corners[i], corners[(i + 1) % count]); node >= 0)
      nodes.push_back(node);
  const bool isFace = element.dimension == 2 && count > 2;
  if (element.nodes == 27)
    nodes.push_back(kHexahedronFaces[side]);
  else if (isFace && element.nodes == 9)
    nodes.push_back(8);
  return nodes;
}

gmsh_Side gmsh_SideOf(std::size_t nodes, std::size_t corners) {
  const int dimension = std::min(static_cast<int>(corners) - 1, 2);
  return {gms_FindType(dimension, nodes)->number, dimension};
}
