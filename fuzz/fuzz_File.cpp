// Whole files: whatever the bytes are, opening, reading everything, changing a member and closing does no
// harm.
//
// Input: the bytes of a simulation file.

#include "fuzz_Common.h"
#include "fuzz_Isolate.h"
#include "fuzz_Model.h"
#include "fuzz_Mutate.h"

extern "C" {
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed);
}

namespace {
void run(const std::string& path, const std::uint8_t* data, std::size_t size) {
  fuzz_Write(path, data, size);
  fuzz_Watch();
  bool opened = false;
  std::uint64_t read = 0;
  {
    msfD_Root root(0);
    if (const msfD_Sim sim = root.openSimReadOnly(path.c_str(), "", 0)) {
      opened = true;
      read = fuzz_ReadAll(sim);
    }
  }
  fuzz_Require(fuzz_Bytes(path) == std::vector<std::uint8_t>(data, data + size),
               "a file that reading has not changed");
  msfD_Root root(0);
  if (const msfD_Sim sim = root.openSim(path.c_str(), "", 0)) {
    const std::uint64_t again = fuzz_ReadAll(sim);
    fuzz_Require(!fuzz_NothingFailed() || (opened && again == read), "the same by a reader and a writer");
    if (const msfD_Mesh mesh = sim.discreteModel().mesh())
      mesh.Faces(mesh.nodes());
  }
}
} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string s_path = fuzz_Path("input.pdm");
  fuzz_Run([&] { run(s_path, data, size); }, data, size);
  return 0;
}

std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                    unsigned seed) {
  return fuzz_MutateHdf5(data, size, maxSize, seed);
}
