// MED files: everything that is read is in its range, or one mesh_Error says why not.
//
// Input: the file.

#include "fuzz_Common.h"
#include "fuzz_Isolate.h"
#include "fuzz_Mesh.h"
#include "fuzz_Mutate.h"

#include <pdmsim/import/med/med_Format.h>

extern "C" {
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed);
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz_Run([&] { fuzz_ReadMesh(data, size, &med_Open); }, data, size);
  return 0;
}

std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                    unsigned seed) {
  return fuzz_MutateHdf5(data, size, maxSize, seed);
}
