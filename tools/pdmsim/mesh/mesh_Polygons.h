#pragma once

#include <pdmsim/mesh/mesh_Raw.h>

/// True for the type that mesh_SetPolygons gives to cells. Their nodes are -1 behind the last corner.
inline bool mesh_ArePolygons(const mesh_Element& type) {
  return type.vtk == 7;
}

/// Makes cells polygons of any number of corners, at least three.
///
/// Throws mesh_Error for fewer, for nodes below 0, and where one polygon has so many corners that rows of as
/// many take far more memory than the nodes.
/// \param path   of the mesh, for messages.
/// \param ends   [polygons] where the nodes of each end; they ascend.
/// \param nodes  of all, one polygon after the other; 0-based.
void mesh_SetPolygons(mesh_RawCells& cells, const std::string& path, const std::vector<long long>& ends,
                      const std::vector<int>& nodes);
