#pragma once

#include <pdmsim/mesh/mesh_Elements.h>

#include <span>
#include <vector>

/// A type of element of Gmsh, which has one of ours.
struct gms_Type {
  int number = 0;
  const mesh_Element* element = nullptr; // of surfaces not the shell
  std::span<const int> order; // [nodes]: our i-th node is Gmsh's order[i]-th; empty: the same order
  std::vector<int> toOurs;    // [nodes]: Gmsh's i-th node is our toOurs[i]-th; empty: the same order
};

/// \param number  Gmsh's.
/// \return null for what has no type of ours.
const gms_Type* gms_FindType(long long number);
/// The type with as many nodes, which is one in each dimension.
/// \return null where Gmsh has none.
const gms_Type* gms_FindType(int dimension, std::size_t nodes);
