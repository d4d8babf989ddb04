// Meshes of the format: everything that is read is in its range, or one mesh_Error says why not.
//
// Input: the file.

#include "fuzz_Mesh.h"

#include <pdmsim/import/xdmf/xdmf_Format.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz_ReadMesh(data, size, &xdmf_Open);
  return 0;
}
