#include <pdmsim/import/med/med_Format.h>

#include <pdmsim/import/med/med_Reader.h>

bool med_IsOne(const mesh_Head& head) {
  if (!head.bytes.starts_with("\x89HDF"))
    return false;
  const hdf_ForeignFile file(head.path);
  return file.IsOpen() && file.Look("ENS_MAA") == hdf_ForeignKind::kGroup;
}

std::unique_ptr<mesh_Source> med_Open(const std::string& path, const mesh_Reading& reading) {
  mesh_Raw raw = med_Reader(path).Read();
  mesh_SetsFrom(raw, reading.setsFrom);
  return mesh_Assemble(std::move(raw));
}
