#include <pdmsim/export/gmsh/gmsh_Elements.h>

#include <pdmsim/mesh/mesh_Elements.h>

#include <algorithm>
#include <string_view>

namespace {

constexpr int kTet10[] = {0, 1, 2, 3, 4, 5, 6, 7, 9, 8};
constexpr int kPyramid13[] = {0, 1, 2, 3, 4, 5, 8, 9, 6, 10, 7, 11, 12};
constexpr int kWedge15[] = {0, 1, 2, 3, 4, 5, 6, 8, 9, 7, 10, 11, 12, 14, 13};
constexpr int kHex20[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 11, 12, 9, 13, 10, 14, 15, 16, 19, 17, 18};
constexpr int kHex27[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  11, 12, 9,  13, 10,
                          14, 15, 16, 19, 17, 18, 21, 25, 23, 24, 26, 22, 20};

struct Type {
  std::string_view name;
  int type;
  std::span<const int> order;
};
constexpr Type kTypes[] = {
    {"SPHERE", 15, {}},
    {"BAR2", 1, {}},
    {"BAR3", 8, {}},
    {"TRI3", 2, {}},
    {"TRI6", 9, {}},
    {"QUAD4", 3, {}},
    {"QUAD8", 16, {}},
    {"QUAD9", 10, {}},
    {"SHELL3", 2, {}},
    {"SHELL6", 9, {}},
    {"SHELL4", 3, {}},
    {"SHELL8", 16, {}},
    {"SHELL9", 10, {}},
    {"TET4", 4, {}},
    {"TET10", 11, kTet10},
    {"PYRAMID5", 7, {}},
    {"PYRAMID13", 19, kPyramid13},
    {"WEDGE6", 6, {}},
    {"WEDGE15", 18, kWedge15},
    {"HEX8", 5, {}},
    {"HEX20", 17, kHex20},
    {"HEX27", 12, kHex27},
};

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
  if (ours != nullptr)
    for (const Type& type : kTypes)
      if (type.name == ours->name)
        return {ours, type.type, type.order};
  return {};
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
  if (corners == 1)
    return {15, 0};
  if (corners == 2)
    return {nodes == 3 ? 8 : 1, 1};
  if (corners == 3)
    return {nodes == 6 ? 9 : 2, 2};
  return {nodes == 9 ? 10 : nodes == 8 ? 16 : 3, 2};
}
