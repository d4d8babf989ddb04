#pragma once

#include <pdmsim/mesh/mesh_Format.h>

bool vtk_IsLegacy(const mesh_Head& head);
std::unique_ptr<mesh_Source> vtk_OpenLegacy(const std::string& path, const mesh_Reading& reading);
bool vtk_IsXml(const mesh_Head& head);
std::unique_ptr<mesh_Source> vtk_OpenXml(const std::string& path, const mesh_Reading& reading);
