// durability_memory [MB]: peak memory of updates of so many (200) megabytes in small objects in one scope:
// new objects, then all of them rewritten; each mode, and raw HDF5, in a process of its own.

#include "dur_Files.h"

#include <PDM_Core.h>

#include <hdf5.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {
constexpr std::uint64_t kObject = 2048; // bytes
constexpr auto kByte = hdf_Datatype(hdf_Datatype::kUChar);

void ours(const std::string& path, int objects, int mode, bool create) {
  const unsigned char bytes[kObject] = {1};
  const ORXSimContextID context = create ? ORXSimManager::CreateContext(path.c_str(), 0, 102, false, mode)
                                         : ORXSimManager::OpenContext(path.c_str(), 0, 102, false, mode);
  const hdf_Group root = ORXSimContextRef(context).File().RootGroup();
  ORXSimUpdate update(context);
  for (int i = 0; i < objects; ++i) {
    const std::string name = std::to_string(i);
    const hdf_Group group = create ? root.GroupCreate(name.c_str(), 0) : root.GroupOpen(name.c_str());
    const hdf_Dataset data = create
                                 ? group.DatasetCreate("#s", kByte, hdf_Dataspace::CreateSimple(1, &kObject))
                                 : group.DatasetOpen("#s");
    dur_Must(data.Write(kByte, bytes, kObject), "an object");
  }
  dur_Must(update.Commit() && ORXSimManager::CloseContext(context), "a commit");
}

void raw(const std::string& path, int objects, bool create) {
  const unsigned char bytes[kObject] = {1};
  const hid_t file = create ? H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT)
                            : H5Fopen(path.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
  const hsize_t extent = kObject;
  const hid_t space = H5Screate_simple(1, &extent, nullptr);
  for (int i = 0; i < objects; ++i) {
    const std::string name = std::to_string(i);
    const hid_t group = create ? H5Gcreate2(file, name.c_str(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT)
                               : H5Gopen2(file, name.c_str(), H5P_DEFAULT);
    const hid_t data =
        create ? H5Dcreate2(group, "#s", H5T_NATIVE_UCHAR, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT)
               : H5Dopen2(group, "#s", H5P_DEFAULT);
    dur_Must(H5Dwrite(data, H5T_NATIVE_UCHAR, H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes) >= 0, "a raw object");
    H5Dclose(data);
    H5Gclose(group);
  }
  H5Sclose(space);
  dur_Must(H5Fclose(file) >= 0, "a raw file");
}

struct Used {
  double megabytes, seconds;
};

// What a child process that does this needs at its peak.
Used usedBy(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = ::fork();
  if (child == 0) {
    work();
    ::_exit(0);
  }
  int status = 0;
  rusage usage{};
  dur_Must(::wait4(child, &status, 0, &usage) == child && status == 0, "a child process");
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  return {static_cast<double>(usage.ru_maxrss) / 1024, took.count()};
}

void show(const char* who, const std::function<void(int objects, bool create)>& work, int objects) {
  const Used least = usedBy([&] { work(1, true); }), made = usedBy([&] { work(objects, true); }),
             rewritten = usedBy([&] { work(objects, false); });
  std::printf("%-12s %8.1f MB at rest, %8.1f MB new (%.1f s), %8.1f MB rewritten (%.1f s)\n", who,
              least.megabytes, made.megabytes, made.seconds, rewritten.megabytes, rewritten.seconds);
}
} // namespace

int main(int argc, char** argv) {
  const int megabytes = argc > 1 ? std::atoi(argv[1]) : 200;
  const int objects = static_cast<int>(std::uint64_t(megabytes) * 1'000'000 / kObject);
  std::printf("%d MB in %d objects, on %s\n", megabytes, objects, dur_FileSystem().c_str());
  std::fflush(stdout);
  const std::string path = dur_Path("memory");
  for (const int mode : {0, 1, 2})
    show(("mode " + std::to_string(mode)).c_str(), [&](int n, bool create) { ours(path, n, mode, create); },
         objects);
  show(
      "raw HDF5", [&](int n, bool create) { raw(path, n, create); }, objects);
}
