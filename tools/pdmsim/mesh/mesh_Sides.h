#pragma once

#include <pdmsim/mesh/mesh_Raw.h>

/// A side of a cell: nothing where `cell` is -1.
struct mesh_SideOf {
  int cell = -1; // place among all cells of the mesh
  int side = 0;  // 0-based, in the side order of Exodus II
};

/// Finds what cells of one dimension are sides of. REQUIRES nodes in range.
/// \param dimension  of the cells; the sides are those of cells one dimension higher.
/// \return for each cell of the dimension, in the order of raw.cells, a side with the same corners: the first
/// that is seen from outside as the cell is, else the first.
///
/// Cost: O(cells of both dimensions); holds some 40 bytes for each cell of the lower one, a byte for a node.
std::vector<mesh_SideOf> mesh_FindSides(const mesh_Raw& raw, int dimension);
