#pragma once

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace pdm {

/// A type of element: how many nodes it has, in the node order of Exodus II, and what its sides are.
/// Threads: any; nothing of it changes.
struct ElementType {
  const char* name; // as HEX8
  int dimension;    // 0 a point, 1 a line, 2 a surface, 3 a solid
  int nodes, corners;
  int vtk;                     // the number of VTK's cell type
  std::span<const int> to_vtk; // [nodes]: VTK's i-th node is our to_vtk[i]-th; empty: the same order
  std::span<const int>
      sides; // the corners of every side, one side after the other, each behind its number of corners

  /// \return how many sides elements of the type have. Sides of solids are faces, of surfaces edges; shells
  /// have their two faces before their edges.
  std::size_t side_count() const noexcept {
    std::size_t count = 0;
    for (std::size_t at = 0; at < sides.size(); at += static_cast<std::size_t>(sides[at]) + 1)
      ++count;
    return count;
  }
  /// \param side  0-based.
  /// \return the corners of the side, in the side order of Exodus II, seen from outside counterclockwise;
  /// empty where there is no such side.
  std::span<const int> side_corners(std::size_t side) const noexcept {
    for (std::size_t at = 0; at < sides.size(); --side) {
      const auto corner_count = static_cast<std::size_t>(sides[at]);
      if (side == 0)
        return sides.subspan(at + 1, corner_count);
      at += corner_count + 1;
    }
    return {};
  }
};

namespace detail::elements {

inline constexpr int kLine[] = {1, 0, 1, 1};
inline constexpr int kTriangle[] = {2, 0, 1, 2, 1, 2, 2, 2, 0};
inline constexpr int kQuadrilateral[] = {2, 0, 1, 2, 1, 2, 2, 2, 3, 2, 3, 0};
inline constexpr int kTriangleShell[] = {3, 0, 1, 2, 3, 0, 2, 1, 2, 0, 1, 2, 1, 2, 2, 2, 0};
inline constexpr int kQuadrilateralShell[] = {4, 0, 1, 2, 3, 4, 0, 3, 2, 1, 2,
                                              0, 1, 2, 1, 2, 2, 2, 3, 2, 3, 0};
inline constexpr int kTetrahedron[] = {3, 0, 1, 3, 3, 1, 2, 3, 3, 0, 3, 2, 3, 0, 2, 1};
inline constexpr int kPyramid[] = {3, 0, 1, 4, 3, 1, 2, 4, 3, 2, 3, 4, 3, 0, 4, 3, 4, 0, 3, 2, 1};
inline constexpr int kWedge[] = {4, 0, 1, 4, 3, 4, 1, 2, 5, 4, 4, 0, 3, 5, 2, 3, 0, 2, 1, 3, 3, 4, 5};
inline constexpr int kHexahedron[] = {4, 0, 1, 5, 4, 4, 1, 2, 6, 5, 4, 2, 3, 7, 6,
                                      4, 0, 4, 7, 3, 4, 0, 3, 2, 1, 4, 4, 5, 6, 7};

inline constexpr int kWedge6[] = {3, 4, 5, 0, 1, 2};
inline constexpr int kWedge15[] = {3, 4, 5, 0, 1, 2, 12, 13, 14, 6, 7, 8, 9, 10, 11};
inline constexpr int kHex20[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 16, 17, 18, 19, 12, 13, 14, 15};
inline constexpr int kHex27[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 16, 17,
                                 18, 19, 12, 13, 14, 15, 23, 24, 25, 26, 21, 22, 20};

// Of types with one name and number of nodes the first is found.
inline constexpr ElementType kTypes[] = {
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
inline constexpr Prefix kPrefixes[] = {
    {"SPHERE", "SPHERE"}, {"POINT", "SPHERE"}, {"CIRCLE", "SPHERE"}, {"BAR", "BAR"},
    {"BEAM", "BAR"},      {"TRUSS", "BAR"},    {"EDGE", "BAR"},      {"TRISHELL", "SHELL"},
    {"TRI", "TRI"},       {"QUAD", "QUAD"},    {"SHELL", "SHELL"},   {"TET", "TET"},
    {"PYR", "PYRAMID"},   {"WED", "WEDGE"},    {"PRISM", "WEDGE"},   {"HEX", "HEX"},
};

} // namespace detail::elements

/// Finds a type by its name, whatever its case and with or without the number: HEX, hex8 and HEXAHEDRON are
/// one; BEAM, TRUSS and EDGE are BAR; TRIANGLE is TRI; TRISHELL and SHELL3 are one.
/// \param type   as the mesh calls it.
/// \param nodes  that an element has.
/// \return null for what is not known.
inline const ElementType* find_element_type(std::string_view type, std::size_t nodes) {
  std::string wanted(type);
  std::transform(wanted.begin(), wanted.end(), wanted.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  const auto prefix =
      std::find_if(std::begin(detail::elements::kPrefixes), std::end(detail::elements::kPrefixes),
                   [&](const detail::elements::Prefix& one) { return wanted.starts_with(one.begins); });
  if (prefix == std::end(detail::elements::kPrefixes))
    return nullptr;
  const auto found = std::find_if(std::begin(detail::elements::kTypes), std::end(detail::elements::kTypes),
                                  [&](const ElementType& one) {
                                    return static_cast<std::size_t>(one.nodes) == nodes &&
                                           std::string_view(one.name).starts_with(prefix->type);
                                  });
  return found == std::end(detail::elements::kTypes) ? nullptr : found;
}

} // namespace pdm
