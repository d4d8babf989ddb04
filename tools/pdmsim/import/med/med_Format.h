#pragma once

#include <pdmsim/mesh/mesh_Format.h>

bool med_IsOne(const mesh_Head& head);
std::unique_ptr<mesh_Source> med_Open(const std::string& path, const mesh_Reading& reading);
