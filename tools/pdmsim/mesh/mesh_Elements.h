#pragma once

#include <cstddef>
#include <span>
#include <string_view>

/// A type of element: how many nodes it has, in the node order of Exodus II, and what its sides are.
struct mesh_Element {
  const char* name; // as HEX8
  int dimension;    // 0 a point, 1 a line, 2 a surface, 3 a solid
  int nodes, corners;
  int vtk;                    // the number of VTK's cell type
  std::span<const int> toVtk; // [nodes]: VTK's i-th node is our toVtk[i]-th; empty: the same order
  std::span<const int>
      sides; // the corners of every side, one side after the other, each behind its number of corners
};

/// The type of a name and number of nodes, whatever its case and with or without the number: HEX, hex8 and
/// HEXAHEDRON are one; BEAM, TRUSS and EDGE are BAR; TRIANGLE is TRI; TRISHELL and SHELL3 are one.
/// \return null for what is not known.
const mesh_Element* mesh_FindElement(std::string_view type, std::size_t nodes);

/// How many sides elements of the type have. Sides of solids are faces, of surfaces edges; shells have their
/// two faces before their edges.
std::size_t mesh_SideCount(const mesh_Element& element);
/// The corners of one side, in the side order of Exodus II, seen from outside counterclockwise.
/// \param side  0-based.
/// \return an empty span where there is no such side.
std::span<const int> mesh_SideCorners(const mesh_Element& element, std::size_t side);
