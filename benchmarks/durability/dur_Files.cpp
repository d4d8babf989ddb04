#include "dur_Files.h"

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <support/sys_Directory.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {
const sys_Directory& directory() {
  static const sys_Directory s_directory(std::filesystem::read_symlink("/proc/self/exe").parent_path());
  return s_directory;
}
} // namespace

std::string dur_Path(const std::string& name) {
  return directory().Path(name);
}

std::string dur_FileSystem() {
  struct stat status {};
  dur_Must(::stat(directory().Name().c_str(), &status) == 0, "the directory's status");
  const std::string device =
      std::to_string(major(status.st_dev)) + ":" + std::to_string(minor(status.st_dev));
  std::ifstream mounts("/proc/self/mountinfo");
  std::string line;
  while (std::getline(mounts, line)) { // ID PARENT MAJOR:MINOR ROOT POINT OPTIONS ... - TYPE SOURCE OPTIONS
    std::istringstream fields(line);
    std::string id, parent, number;
    fields >> id >> parent >> number;
    const std::size_t mark = line.find(" - ");
    if (number == device && mark != std::string::npos)
      return line.substr(mark + 3, line.find(' ', mark + 3) - mark - 3);
  }
  return "unknown";
}

void dur_Remove(const std::string& path) {
  for (const char* const suffix : {"", "-journal", "-wal", "-shm"})
    std::filesystem::remove(path + suffix);
}

void dur_Sync(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY);
  dur_Must(file >= 0 && ::fsync(file) == 0, "a sync");
  ::close(file);
}

void dur_Must(bool good, const char* what) {
  if (good)
    return;
  std::fprintf(stderr, "failed: %s (%s)\n", what, ORXSimManager::LastError());
  std::abort();
}
