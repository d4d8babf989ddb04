#pragma once

#include <pdmsim/mesh/mesh_Elements.h>
#include <pdmsim/mesh/mesh_Model.h>

#include <span>
#include <vector>

/// What Gmsh makes of a block's elements.
struct gmsh_Element {
  const mesh_Element* ours = nullptr; // null: Gmsh has no such element
  int type = 0;                       // Gmsh's number
  std::span<const int> order;         // Gmsh's i-th node is our order[i]-th; empty: the same order
};
gmsh_Element gmsh_ElementOf(const mesh_Block& block);

/// The nodes of a side, corners first, in the order of the Gmsh element that it is.
/// \param side  0-based.
/// \return places in the element's nodes; empty where there is no such side.
std::vector<int> gmsh_SideNodes(const mesh_Element& element, std::size_t side);

/// The Gmsh element of a side.
struct gmsh_Side {
  int type = 0, dimension = 0;
};
/// \param nodes    of the side.
/// \param corners  of the side.
gmsh_Side gmsh_SideOf(std::size_t nodes, std::size_t corners);
