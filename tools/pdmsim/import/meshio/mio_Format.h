#pragma once

#include <pdmsim/mesh/mesh_Format.h>

/// Abaqus and Nastran as mesh_Formats, experimental: Debian's meshio reads them, in a child process, and what
/// it would lose is refused.
bool mio_IsAbaqus(const mesh_Head& head);
bool mio_IsNastran(const mesh_Head& head);
std::unique_ptr<mesh_Source> mio_OpenAbaqus(const std::string& path, const mesh_Reading& reading);
std::unique_ptr<mesh_Source> mio_OpenNastran(const std::string& path, const mesh_Reading& reading);
