#pragma once

#include <pdmsim/mesh/mesh_Format.h>

/// Medit, text (.mesh) and binary (.meshb, versions 1 to 4), as a mesh_Format.
bool mdt_IsOne(const mesh_Head& head);
std::unique_ptr<mesh_Source> mdt_Open(const std::string& path, const mesh_Reading& reading);
