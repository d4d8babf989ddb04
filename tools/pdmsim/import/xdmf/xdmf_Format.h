#pragma once

#include <pdmsim/mesh/mesh_Format.h>

bool xdmf_IsOne(const mesh_Head& head);
std::unique_ptr<mesh_Source> xdmf_Open(const std::string& path, const mesh_Reading& reading);
