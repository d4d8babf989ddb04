#pragma once

#include <pdmsim/mesh/mesh_Source.h>

#include <string>
#include <vector>

/// Faces of one number of corners that are seen under the same condition: while one of their two blocks is
/// shown and the other is not, or while their only block is.
struct rep_Faces {
  int block = 0, other = -1; // 0-based; other: -1 for none
  int corners = 0;           // 1 points, 2 lines
  std::vector<int> nodes;    // [faces][corners], 0-based
  std::vector<int> elements; // [faces] the element in `block`, 0-based in the mesh
  std::vector<int> others;   // [faces] the element in `other`; empty without one

  std::size_t Count() const { return elements.size(); }
};

/// What of a mesh can be seen from outside.
struct rep_Skin {
  std::vector<rep_Faces> faces;   // in ascending order of block, other, corners
  std::vector<std::string> notes; // what is not drawn, one line each
};

/// The faces of solids that one solid alone has, or two of different blocks; surfaces, lines and points
/// whole. Quadratic elements have their corners only; corners that are one node count once, and faces with
/// fewer than three corners left do not count.
///
/// Cost: O(elements); 16 bytes for every face of a solid, and the corners of the solids, meanwhile.
/// \return faces with three owners or more are left out.
rep_Skin rep_FindSkin(const mesh_Source& mesh);

/// The corners of the sides of a side set.
/// \return groups by number of corners, without elements; `block` has no meaning.
std::vector<rep_Faces> rep_FindSides(const mesh_Source& mesh, const mesh_Set& set);
