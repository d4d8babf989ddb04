#include <pdmsim/mesh/mesh_Elements.h>

#include <algorithm>
#include <cctype>
#include <string>

namespace {

constexpr int kLine[] = {1, 0, 1, 1};
constexpr int kTriangle[] = {2, 0, 1, 2, 1, 2, 2, 2, 0};
constexpr int kQuadrilateral[] = {2, 0, 1, 2, 1, 2, 2, 2, 3, 2, 3, 0};
constexpr int kTriangleShell[] = {3, 0, 1, 2, 3, 0, 2, 1, 2, 0, 1, 2, 1, 2, 2, 2, 0};
constexpr int kQuadrilateralShell[] = {4, 0, 1, 2, 3, 4, 0, 3, 2, 1, 2, 0, 1, 2, 1, 2, 2, 2, 3, 2, 3, 0};
constexpr int kTetrahedron[] = {3, 0, 1, 3, 3, 1, 2, 3, 3, 0, 3, 2, 3, 0, 2, 1};
constexpr int kPyramid[] = {3, 0, 1, 4, 3, 1, 2, 4, 3, 2, 3, 4, 3, 0, 4, 3, 4, 0, 3, 2, 1};
constexpr int kWedge[] = {4, 0, 1, 4, 3, 4, 1, 2, 5, 4, 4, 0, 3, 5, 2, 3, 0, 2, 1, 3, 3, 4, 5};
constexpr int kHexahedron[] = {4, 0, 1, 5, 4, 4, 1, 2, 6, 5, 4, 2, 3, 7, 6,
                               4, 0, 4, 7, 3, 4, 0, 3, 2, 1, 4, 4, 5, 6, 7};

constexpr int kWedge6[] = {3, 4, 5, 0, 1, 2};
constexpr int kWedge15[] = {3, 4, 5, 0, 1, 2, 12, 13, 14, 6, 7, 8, 9, 10, 11};
constexpr int kHex20[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 16, 17, 18, 19, 12, 13, 14, 15};
constexpr int kHex27[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 16, 17,
                          18, 19, 12, 13, 14, 15, 23, 24, 25, 26, 21, 22, 20};

// Of types with one name and number of nodes the first is found.
constexpr mesh_Element kElements[] = {
    {"SPHERE", 0, 1, 1, 1, {}, {}},
    {"BAR2", 1, 2, 2, 3, {}, kLine},
    {"BAR3", 1, 3, 2, 21, {}, kLine},
    {"TRI3", 2, 3, 3, 5, {}, kTriangle},
    {"TRI6", 2, 6, 3, 22, {}, kTriangle},
    {"TRI7", 2, 7, 3, 34, {}, kTriangle},
    {"QUAD4", 2, 4, 4, 9, {}, kQuadrilateral},
    {"QUAD8", 2, 8, 4, 23, {}, kQuadrilateral},
    {"QUAD9", 2, 9, 4, 28, {}, kQuadrilateral},
    {"SHELL3", 2, 3, 3, 5, {}, kTriangleShell},
    {"SHELL6", 2, 6, 3, 22, {}, kTriangleShell},
    {"SHELL7", 2, 7, 3, 34, {}, kTriangleShell},
    {"SHELL4", 2, 4, 4, 9, {}, kQuadrilateralShell},
    {"SHELL8", 2, 8, 4, 23, {}, kQuadrilateralShell},
    {"SHELL9", 2, 9, 4, 28, {}, kQuadrilateralShell},
    {"TET4", 3, 4, 4, 10, {}, kTetrahedron},
    {"TET10", 3, 10, 4, 24, {}, kTetrahedron},
    {"PYRAMID5", 3, 5, 5, 14, {}, kPyramid},
    {"PYRAMID13", 3, 13, 5, 27, {}, kPyramid},
    {"WEDGE6", 3, 6, 6, 13, kWedge6, kWedge},
    {"WEDGE15", 3, 15, 6, 26, kWedge15, kWedge},
    {"HEX8", 3, 8, 8, 12, {}, kHexahedron},
    {"HEX20", 3, 20, 8, 25, kHex20, kHexahedron},
    {"HEX27", 3, 27, 8, 29, kHex27, kHexahedron},
};

// What names begin with, in capitals; the longer ones first where one begins another.
struct Prefix {
  const char *begins, *type;
};
constexpr Prefix kPrefixes[] = {
    {"SPHERE", "SPHERE"}, {"POINT", "SPHERE"}, {"CIRCLE", "SPHERE"}, {"BAR", "BAR"},
    {"BEAM", "BAR"},      {"TRUSS", "BAR"},    {"EDGE", "BAR"},      {"TRISHELL", "SHELL"},
    {"TRI", "TRI"},       {"QUAD", "QUAD"},    {"SHELL", "SHELL"},   {"TET", "TET"},
    {"PYR", "PYRAMID"},   {"WED", "WEDGE"},    {"PRISM", "WEDGE"},   {"HEX", "HEX"},
};

} // namespace

const mesh_Element* mesh_FindElement(std::string_view type, std::size_t nodes) {
  std::string wanted(type);
  std::transform(wanted.begin(), wanted.end(), wanted.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  const auto prefix = std::find_if(std::begin(kPrefixes), std::end(kPrefixes),
                                   [&](const Prefix& one) { return wanted.starts_with(one.begins); });
  if (prefix == std::end(kPrefixes))
    return nullptr;
  const auto found = std::find_if(std::begin(kElements), std::end(kElements), [&](const mesh_Element& one) {
    return static_cast<std::size_t>(one.nodes) == nodes &&
           std::string_view(one.name).starts_with(prefix->type);
  });
  return found == std::end(kElements) ? nullptr : found;
}

std::size_t mesh_SideCount(const mesh_Element& element) {
  std::size_t count = 0;
  for (std::size_t at = 0; at < element.sides.size(); at += static_cast<std::size_t>(element.sides[at]) + 1)
    ++count;
  return count;
}

std::span<const int> mesh_SideCorners(const mesh_Element& element, std::size_t side) {
  for (std::size_t at = 0; at < element.sides.size(); --side) {
    const auto corners = static_cast<std::size_t>(element.sides[at]);
    if (side == 0)
      return element.sides.subspan(at + 1, corners);
    at += corners + 1;
  }
  return {};
}
