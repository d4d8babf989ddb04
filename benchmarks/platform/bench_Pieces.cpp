// 64 MB of doubles in pieces of 64 KB, in one update into a new file and from a warm one: an open drawer of
// ours, a call on the distribution for each piece, raw HDF5 with the dataset kept open, and write(2) or
// read(2).

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <benchmark/benchmark.h>
#include <hdf5.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <numeric>
#include <string>
#include <unistd.h>
#include <vector>

namespace {
constexpr int kRows = 8 << 20, kPiece = 8 << 10;
constexpr std::int64_t kBytes = std::int64_t{kPiece} * 8;

std::string fileName() {
  return (std::filesystem::temp_directory_path() / ("pdm_pieces_" + std::to_string(::getpid()))).string();
}

void require(bool good) {
  if (!good)
    std::abort();
}

std::vector<double>& numbers() {
  static std::vector<double> all = [] {
    std::vector<double> made(kRows);
    std::iota(made.begin(), made.end(), 0.5);
    return made;
  }();
  return all;
}

// move(first row) for every piece.
template <class Move>
void inPieces(Move move) {
  for (int first = 0; first < kRows; first += kPiece)
    require(move(first));
}

double* at(std::vector<double>& rows, int first) {
  return rows.data() + first;
}

template <bool kOpen>
struct Ours {
  explicit Ours(const std::string& path)
      : context(ORXSimManager::CreateContext(path.c_str(), 0, 102, false, 1)), update(context) {
    const ORXSimDrawerDescription drawer{
        .members = ORXSimCollectionRef(ORXSimCollectionRef::Create(context, "items", kRows)).FullCSet()};
    field = ORXSimDistributionRef::Create(context, "field", "", &drawer, 1);
  }
  void Write(std::vector<double>& rows) {
    const ORXSimDistributionRef ref(field);
    if constexpr (kOpen) {
      ORXSimOpenDrawer drawer = ref.OpenDrawer(0);
      inPieces([&](int first) { return drawer.Write(first, kPiece, at(rows, first), kBytes); });
    } else {
      inPieces([&](int first) { return ref.WriteItems(0, first, kPiece, at(rows, first), kBytes); });
    }
  }
  void Read(std::vector<double>& rows) {
    const ORXSimDistributionRef ref(field);
    if constexpr (kOpen) {
      ORXSimOpenDrawer drawer = ref.OpenDrawer(0);
      inPieces([&](int first) { return drawer.Read(first, kPiece, at(rows, first), kBytes); });
    } else {
      inPieces([&](int first) { return ref.ReadItems(0, first, kPiece, at(rows, first), kBytes); });
    }
  }
  void Close() { require(update.Commit() && ORXSimManager::CloseContext(context)); }

  ORXSimContextID context;
  ORXSimUpdate update;
  ORXSimDistributionID field;
};

struct Raw {
  explicit Raw(const std::string& path)
      : file(H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT)) {
    const hsize_t extent = kRows, piece = kPiece;
    space = H5Screate_simple(1, &extent, nullptr);
    memory = H5Screate_simple(1, &piece, nullptr);
    data = H5Dcreate2(file, "field", H5T_NATIVE_DOUBLE, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
  }
  bool Select(int first) {
    const hsize_t start = static_cast<hsize_t>(first), count = kPiece;
    return H5Sselect_hyperslab(space, H5S_SELECT_SET, &start, nullptr, &count, nullptr) >= 0;
  }
  void Write(std::vector<double>& rows) {
    inPieces([&](int first) {
      return Select(first) &&
             H5Dwrite(data, H5T_NATIVE_DOUBLE, memory, space, H5P_DEFAULT, at(rows, first)) >= 0;
    });
  }
  void Read(std::vector<double>& rows) {
    inPieces([&](int first) {
      return Select(first) &&
             H5Dread(data, H5T_NATIVE_DOUBLE, memory, space, H5P_DEFAULT, at(rows, first)) >= 0;
    });
  }
  void Close() {
    H5Dclose(data);
    H5Sclose(space);
    H5Sclose(memory);
    require(H5Fclose(file) >= 0);
  }

  hid_t file, space, memory, data;
};

struct Posix {
  explicit Posix(const std::string& path) : file(::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600)) {}
  void Write(std::vector<double>& rows) {
    inPieces([&](int first) { return ::pwrite(file, at(rows, first), kBytes, first * 8L) == kBytes; });
  }
  void Read(std::vector<double>& rows) {
    inPieces([&](int first) { return ::pread(file, at(rows, first), kBytes, first * 8L) == kBytes; });
  }
  void Close() { ::close(file); }

  int file;
};

template <class Who>
void write(benchmark::State& state) {
  const std::string path = fileName();
  for (auto _ : state) {
    Who who(path);
    who.Write(numbers());
    who.Close();
    state.PauseTiming();
    std::filesystem::remove(path);
    state.ResumeTiming();
  }
}

template <class Who>
void read(benchmark::State& state) {
  const std::string path = fileName();
  Who who(path);
  who.Write(numbers());
  std::vector<double> rows(kRows);
  for (auto _ : state)
    who.Read(rows);
  require(rows == numbers());
  who.Close();
  std::filesystem::remove(path);
}

template <class Who>
void add(const std::string& who) {
  for (const auto& [work, run] : {std::pair{"pieces write/", &write<Who>}, {"pieces read/", &read<Who>}})
    benchmark::RegisterBenchmark((work + who).c_str(), run)
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
}

[[maybe_unused]] const bool s_registered = [] {
  add<Ours<true>>("ours");
  add<Ours<false>>("itemcalls");
  add<Raw>("rawhdf5");
  add<Posix>("posix");
  return true;
}();
} // namespace
