#pragma once

#include <pdmsim/mesh/mesh_Elements.h>

#include <span>

/// A type of element of Gmsh.
struct gms_Type {
  const mesh_Element* element;
  std::span<const int> order; // [nodes]: our i-th node is Gmsh's order[i]-th; empty: the same order
};

/// \return null for what has no type of ours.
const gms_Type* gms_FindType(long long number);
