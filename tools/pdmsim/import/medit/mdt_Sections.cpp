#include <pdmsim/import/medit/mdt_Sections.h>

#include <algorithm>
#include <iterator>

namespace {

using Kind = mdt_Section::Kind;

// Cells of the second degree have the nodes of edges behind the corners, around each face as Exodus II has
// them. Of solids but tetrahedra programs do not agree on an order.
constexpr mdt_Section kSections[] = {
    {"Vertices", 4, Kind::kVertices, "", 0},
    {"Edges", 5, Kind::kCells, "BAR", 2},
    {"Triangles", 6, Kind::kCells, "TRI", 3},
    {"Quadrilaterals", 7, Kind::kCells, "QUAD", 4},
    {"Tetrahedra", 8, Kind::kCells, "TET", 4},
    {"Prisms", 9, Kind::kCells, "WEDGE", 6},
    {"Hexahedra", 10, Kind::kCells, "HEX", 8},
    {"Pyramids", 49, Kind::kCells, "PYRAMID", 5},
    {"EdgesP2", 25, Kind::kCells, "BAR", 3},
    {"TrianglesP2", 24, Kind::kCells, "TRI", 6},
    {"QuadrilateralsQ2", 27, Kind::kCells, "QUAD", 9},
    {"TetrahedraP2", 30, Kind::kCells, "TET", 10},
    {"HexahedraQ2", 33, Kind::kRefused, "", 0},
    {"PrismsP2", 86, Kind::kRefused, "", 0},
    {"PyramidsP2", 87, Kind::kRefused, "", 0},
    {"Corners", 13, Kind::kNoted, "", 1},
    {"Ridges", 14, Kind::kNoted, "", 1},
    {"RequiredVertices", 15, Kind::kNoted, "", 1},
    {"RequiredEdges", 16, Kind::kNoted, "", 1},
    {"RequiredTriangles", 17, Kind::kNoted, "", 1},
    {"RequiredQuadrilaterals", 18, Kind::kNoted, "", 1},
    {"TangentAtEdgeVertices", 19, Kind::kNoted, "", 3},
    {"NormalAtVertices", 20, Kind::kNoted, "", 2},
    {"NormalAtTriangleVertices", 21, Kind::kNoted, "", 3},
    {"NormalAtQuadrilateralVertices", 22, Kind::kNoted, "", 4},
    {"AngleOfCornerBound", 23, Kind::kNoted, "", 1, false, false},
    {"SubDomainFromGeom", 29, Kind::kNoted, "", 0},
    {"SubDomainFromMesh", -1, Kind::kNoted, "", 0},
    {"Tangents", 59, Kind::kNoted, "", 0, true},
    {"Normals", 60, Kind::kNoted, "", 0, true},
    {"TangentAtVertices", 61, Kind::kNoted, "", 2},
    {"End", 54, Kind::kEnd, "", 0},
};

template <class Is>
const mdt_Section* find(const Is& is) {
  const auto* const found = std::find_if(std::begin(kSections), std::end(kSections), is);
  return found == std::end(kSections) ? nullptr : found;
}

} // namespace

const mdt_Section* mdt_FindSection(std::string_view name) {
  return find([&](const mdt_Section& section) { return section.name == name; });
}

const mdt_Section* mdt_FindSection(long long code) {
  return find([&](const mdt_Section& section) { return section.code == code && code >= 0; });
}
