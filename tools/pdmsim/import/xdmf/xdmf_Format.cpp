#include <pdmsim/import/xdmf/xdmf_Format.h>

#include <pdmsim/import/xdmf/xdmf_Reader.h>

bool xdmf_IsOne(const mesh_Head& head) {
  return head.bytes.find("<Xdmf") != std::string::npos;
}

std::unique_ptr<mesh_Source> xdmf_Open(const std::string& path, const mesh_Reading& reading) {
  mesh_Raw raw = xdmf_Reader(path).Read();
  mesh_SetsFrom(raw, reading.setsFrom);
  return mesh_Assemble(std::move(raw));
}
