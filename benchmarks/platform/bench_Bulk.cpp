// Bulk data of 1e7 numbers, written to a new file and read from a warm one: a transfer of ours, one raw HDF5
// call on a contiguous dataset, and one write(2) or read(2).

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <benchmark/benchmark.h>
#include <hdf5.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace {
constexpr int kNumbers = 10'000'000;

template <class Number>
struct Kind;
template <>
struct Kind<int> {
  static constexpr auto kItem = ORXSimItemType::kInt32;
  static hid_t Memory() { return H5T_NATIVE_INT; }
};
template <>
struct Kind<double> {
  static constexpr auto kItem = ORXSimItemType::kDouble;
  static hid_t Memory() { return H5T_NATIVE_DOUBLE; }
};

std::string fileName(const char* name) {
  return (std::filesystem::temp_directory_path() / ("pdm_bench_" + std::to_string(::getpid()) + name))
      .string();
}

void require(bool good) {
  if (!good)
    std::abort();
}

template <class Number>
const std::vector<Number>& numbers() {
  static const std::vector<Number> all = [] {
    std::vector<Number> made(kNumbers);
    for (int i = 0; i < kNumbers; ++i)
      made[static_cast<std::size_t>(i)] = static_cast<Number>(i);
    return made;
  }();
  return all;
}
constexpr std::int64_t bytesOf(std::size_t size) {
  return std::int64_t{kNumbers} * static_cast<std::int64_t>(size);
}

template <class Number>
void writeOurs(const std::string& path) {
  const ORXSimContextID context = ORXSimManager::CreateContext(path.c_str(), 0, 102, false, 0);
  const ORXSimCollectionRef items(ORXSimCollectionRef::Create(context, "items", kNumbers));
  ORXSimDrawerDescription drawer;
  drawer.members = items.FullCSet();
  drawer.type = Kind<Number>::kItem;
  const ORXSimDistributionRef field(ORXSimDistributionRef::Create(context, "field", "", &drawer, 1));
  ORXSimTransfer transfer(field);
  transfer.SetWrite();
  transfer.SetDim(0, items.FullCSet());
  transfer.SetBuffer(0, static_cast<const void*>(numbers<Number>().data()), bytesOf(sizeof(Number)));
  require(transfer.CheckView() && transfer.ExecWrite());
  require(ORXSimManager::CloseContext(context));
}

template <class Number>
void writeRaw(const std::string& path) {
  const hid_t file = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
  const hsize_t extent = kNumbers;
  const hid_t space = H5Screate_simple(1, &extent, nullptr);
  const hid_t data =
      H5Dcreate2(file, "field", Kind<Number>::Memory(), space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
  require(H5Dwrite(data, Kind<Number>::Memory(), H5S_ALL, H5S_ALL, H5P_DEFAULT, numbers<Number>().data()) >=
          0);
  H5Dclose(data);
  H5Sclose(space);
  require(H5Fclose(file) >= 0);
}

template <class Number>
void writePlain(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  require(::write(file, numbers<Number>().data(), static_cast<std::size_t>(bytesOf(sizeof(Number)))) ==
          bytesOf(sizeof(Number)));
  ::close(file);
}

template <void (*Write)(const std::string&)>
void writeNewFile(benchmark::State& state) {
  const std::string path = fileName(".write");
  for (auto _ : state) {
    Write(path);
    state.PauseTiming();
    std::filesystem::remove(path);
    state.ResumeTiming();
  }
}

template <class Number>
void readOurs(benchmark::State& state) {
  const std::string path = fileName(".ours");
  writeOurs<Number>(path);
  const ORXSimContextID context = ORXSimManager::OpenContext(path.c_str(), 1, 102, false, 0);
  const ORXSimDistributionRef field(ORXSimStore(context).FindDistribution("field"));
  std::vector<Number> read(kNumbers);
  for (auto _ : state) {
    ORXSimTransfer transfer(field);
    transfer.SetRead();
    transfer.SetDim(0, field.Drawer(0).CSet());
    transfer.SetBuffer(0, read.data(), bytesOf(sizeof(Number)));
    require(transfer.CheckView() && transfer.ExecRead());
  }
  require(read == numbers<Number>());
  ORXSimManager::CloseContext(context);
  std::filesystem::remove(path);
}

template <class Number>
void readRaw(benchmark::State& state) {
  const std::string path = fileName(".raw");
  writeRaw<Number>(path);
  const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
  std::vector<Number> read(kNumbers);
  for (auto _ : state) {
    const hid_t data = H5Dopen2(file, "field", H5P_DEFAULT);
    require(H5Dread(data, Kind<Number>::Memory(), H5S_ALL, H5S_ALL, H5P_DEFAULT, read.data()) >= 0);
    H5Dclose(data);
  }
  H5Fclose(file);
  std::filesystem::remove(path);
}

template <class Number>
void readPlain(benchmark::State& state) {
  const std::string path = fileName(".plain");
  writePlain<Number>(path);
  const int file = ::open(path.c_str(), O_RDONLY);
  std::vector<Number> read(kNumbers);
  for (auto _ : state)
    require(::pread(file, read.data(), static_cast<std::size_t>(bytesOf(sizeof(Number))), 0) ==
            bytesOf(sizeof(Number)));
  ::close(file);
  std::filesystem::remove(path);
}

#define PDM_BENCH(function, name)                                                                            \
  BENCHMARK(function)->Name(name)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()
PDM_BENCH(writeNewFile<writeOurs<int>>, "bulk write int32/ours");
PDM_BENCH(writeNewFile<writeRaw<int>>, "bulk write int32/rawhdf5");
PDM_BENCH(writeNewFile<writePlain<int>>, "bulk write int32/posix");
PDM_BENCH(writeNewFile<writeOurs<double>>, "bulk write double/ours");
PDM_BENCH(writeNewFile<writeRaw<double>>, "bulk write double/rawhdf5");
PDM_BENCH(writeNewFile<writePlain<double>>, "bulk write double/posix");
PDM_BENCH(readOurs<int>, "bulk read int32/ours");
PDM_BENCH(readRaw<int>, "bulk read int32/rawhdf5");
PDM_BENCH(readPlain<int>, "bulk read int32/posix");
PDM_BENCH(readOurs<double>, "bulk read double/ours");
PDM_BENCH(readRaw<double>, "bulk read double/rawhdf5");
PDM_BENCH(readPlain<double>, "bulk read double/posix");
} // namespace
