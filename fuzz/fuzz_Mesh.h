#pragma once

#include <pdmsim/mesh/mesh_Format.h>

#include <cstdint>

/// Writes the input into a file, opens that as a mesh and reads everything that the mesh says it has. A
/// mesh_Error is as good as a mesh.
/// \param open  of the format.
/// Requires numbers in their ranges: nodes, elements, sides.
void fuzz_ReadMesh(const std::uint8_t* data, std::size_t size, decltype(mesh_Format::open) open);
