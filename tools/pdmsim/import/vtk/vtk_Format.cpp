#include <pdmsim/import/vtk/vtk_Format.h>

#include <pdmsim/import/vtk/vtk_Dataset.h>

bool vtk_IsLegacy(const mesh_Head& head) {
  return head.bytes.starts_with("# vtk DataFile");
}

std::unique_ptr<mesh_Source> vtk_OpenLegacy(const std::string& path, const mesh_Reading& reading) {
  return vtk_Assemble(vtk_ReadLegacy(path), reading);
}

bool vtk_IsXml(const mesh_Head& head) {
  return head.bytes.find("<VTKFile") != std::string::npos;
}

std::unique_ptr<mesh_Source> vtk_OpenXml(const std::string& path, const mesh_Reading& reading) {
  return vtk_Assemble(vtk_ReadXml(path), reading);
}
