// The wrappers' share of a small write: a stream of 200 bytes rewritten in place, through the wrappers and
// through the HDF5 call below them, with 1000 objects in the file.

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <benchmark/benchmark.h>
#include <hdf5.h>

#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace {
constexpr auto kByte = hdf_Datatype(hdf_Datatype::kUChar);
constexpr std::uint64_t kStream = 200, kRoom = 256;

// A file of ours with as many objects, and their groups.
struct Objects {
  explicit Objects(int n, int durability) {
    context = ORXSimManager::CreateContext(path.c_str(), 0, 102, false, durability);
    const hdf_Group root = ORXSimContextRef(context).File().RootGroup();
    ORXSimUpdate update(context);
    for (int i = 0; i < n; ++i) {
      groups.push_back(root.GroupCreate(std::to_string(i).c_str(), 0));
      groups.back()
          .DatasetCreate("#s", kByte, hdf_Dataspace::CreateSimple(1, &kRoom))
          .Write(kByte, bytes, kStream);
    }
    update.Commit();
  }
  ~Objects() {
    ORXSimManager::CloseContext(context);
    std::filesystem::remove(path);
  }
  std::string path =
      (std::filesystem::temp_directory_path() / ("pdm_bench_" + std::to_string(::getpid()) + ".objects"))
          .string();
  ORXSimContextID context;
  std::vector<hdf_Group> groups;
  unsigned char bytes[kRoom] = {};
};

void rewriteOurs(benchmark::State& state) {
  Objects objects(1000, 1);
  ORXSimUpdate update(objects.context);
  for (auto _ : state) {
    const hdf_Group& group = objects.groups.back();
    benchmark::DoNotOptimize(group.DatasetOpen("#s").Write(kByte, objects.bytes, kStream) &&
                             ORXSimContextRef(objects.context).Commit());
  }
}

void rewriteRaw(benchmark::State& state) {
  Objects objects(1000, 1);
  ORXSimManager::CloseContext(objects.context);
  const hid_t file = H5Fopen(objects.path.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
  const hid_t data = H5Dopen2(file, "/999/#s", H5P_DEFAULT);
  const hsize_t start = 0, count = kStream;
  const hid_t memory = H5Screate_simple(1, &count, nullptr), part = H5Dget_space(data);
  H5Sselect_hyperslab(part, H5S_SELECT_SET, &start, nullptr, &count, nullptr);
  for (auto _ : state)
    benchmark::DoNotOptimize(H5Dwrite(data, H5T_NATIVE_UCHAR, memory, part, H5P_DEFAULT, objects.bytes));
  H5Sclose(part);
  H5Sclose(memory);
  H5Dclose(data);
  H5Fclose(file);
}

// Commit points one by one, over all objects in turn.
void commitOurs(benchmark::State& state) {
  Objects objects(1000, 1);
  std::size_t next = 0;
  for (auto _ : state) {
    next = (next + 1) % 100;
    benchmark::DoNotOptimize(objects.groups[next].DatasetOpen("#s").Write(kByte, objects.bytes, kStream) &&
                             ORXSimContextRef(objects.context).Commit());
  }
}

#define PDM_BENCH(function, name) BENCHMARK(function)->Name(name)->MeasureProcessCPUTime()
PDM_BENCH(rewriteOurs, "member rewrite in a scope/ours");
PDM_BENCH(rewriteRaw, "member rewrite in a scope/rawhdf5");
PDM_BENCH(commitOurs, "member rewrite and commit/ours");
} // namespace
