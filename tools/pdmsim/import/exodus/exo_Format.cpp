#include <pdmsim/import/exodus/exo_Format.h>

#include <pdmsim/import/exodus/exo_File.h>

bool exo_IsOne(const mesh_Head& head) {
  return head.bytes.starts_with("CDF") || head.bytes.starts_with("\x89HDF");
}

std::unique_ptr<mesh_Source> exo_Open(const std::string& path, const mesh_Reading&) {
  return std::make_unique<exo_File>(path);
}
