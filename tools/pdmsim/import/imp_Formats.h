#pragma once

#include <pdmsim/mesh/mesh_Format.h>

#include <span>

std::span<const mesh_Format> imp_Formats();

/// Opens a mesh, by its content, else by its ending, or as the format that `reading` names. Throws
/// cli_Failure for no mesh and mesh_Error for a bad one.
std::unique_ptr<mesh_Source> imp_OpenMesh(const std::string& path, const mesh_Reading& reading);
