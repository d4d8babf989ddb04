#pragma once

#include <pdmsim/mesh/mesh_Format.h>

/// Exodus II over netCDF as a mesh_Format.
bool exo_IsOne(const mesh_Head& head);
std::unique_ptr<mesh_Source> exo_Open(const std::string& path, const mesh_Reading& reading);
