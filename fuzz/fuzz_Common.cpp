#include "fuzz_Common.h"

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <support/sys_Directory.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

extern "C" int LLVMFuzzerInitialize(int*, char***);

namespace {
int s_modules;
} // namespace

int LLVMFuzzerInitialize(int*, char***) {
  DDB_PDM_Core_initialize(s_modules);
  err_InstallSink([](const char*, void*) {}, nullptr);
  return 0;
}

void fuzz_Require(bool good, const char* what) {
  if (good)
    return;
  std::fprintf(stderr, "== EXPECTED: %s (last error: %s)\n", what, ORXSimManager::LastError());
  std::abort();
}

std::string fuzz_Path(const char* name) {
  static const sys_Directory s_directory;
  return s_directory.Path(name);
}

void fuzz_Write(const std::string& path, const std::uint8_t* bytes, std::size_t size) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
  fuzz_Require(file.flush().good(), "room for the files");
}

std::vector<std::uint8_t> fuzz_Bytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  std::vector<std::uint8_t> bytes(file ? static_cast<std::size_t>(file.tellg()) : 0);
  file.seekg(0).read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

void fuzz_Watch() {
  ORXSimManager::OpenContext("mark", 0, -1, false, 0); // a refusal that costs nothing
}

bool fuzz_NothingFailed() {
  return std::strstr(ORXSimManager::LastError(), "version -1 of") != nullptr;
}
