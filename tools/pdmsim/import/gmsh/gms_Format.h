#pragma once

#include <pdmsim/mesh/mesh_Format.h>

/// Gmsh, versions 2.2 and 4.1, as a mesh_Format.
bool gms_IsOne(const mesh_Head& head);
std::unique_ptr<mesh_Source> gms_Open(const std::string& path, const mesh_Reading& reading);
