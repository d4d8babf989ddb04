// 64 MB of doubles as one commit, new and over what was committed before, in each mode; through raw HDF5 with
// a flush, and with a sync where ours survives the loss of power.

#include "dur_Files.h"

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <benchmark/benchmark.h>
#include <hdf5.h>

#include <vector>

namespace {
constexpr int kNumbers = 8 << 20;
constexpr std::int64_t kBytes = std::int64_t{kNumbers} * static_cast<std::int64_t>(sizeof(double));

const double* numbers() {
  static const std::vector<double> s_numbers(kNumbers, 1.25);
  return s_numbers.data();
}

struct Ours {
  explicit Ours(int mode)
      : context(ORXSimManager::CreateContext(dur_Path("bulk.pdm").c_str(), 0, 102, false, mode)),
        items(ORXSimCollectionRef::Create(context, "items", kNumbers)) {
    dur_Must(!items.ID().IsNull(), "a file");
  }
  ~Ours() {
    ORXSimManager::CloseContext(context);
    dur_Remove(dur_Path("bulk.pdm"));
  }
  void Create() {
    const ORXSimDrawerDescription drawer{items.FullCSet()};
    field = ORXSimDistributionRef::Create(context, "field", "", &drawer, 1);
  }
  void Write() const {
    ORXSimTransfer transfer{ORXSimDistributionRef(field)};
    transfer.SetWrite();
    transfer.SetDim(0, items.FullCSet());
    transfer.SetBuffer(0, static_cast<const void*>(numbers()), kBytes);
    dur_Must(transfer.CheckView() && transfer.ExecWrite(), "a bulk write");
  }
  void New() {
    ORXSimUpdate update(context);
    Create();
    Write();
    dur_Must(update.Commit(), "a commit");
  }
  static std::string Path() { return dur_Path("bulk.pdm"); }
  ORXSimContextID context;
  ORXSimCollectionRef items;
  ORXSimDistributionID field;
};

struct Raw {
  explicit Raw(int mode)
      : sync(mode == 2), file(H5Fcreate(Path().c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT)) {}
  ~Raw() {
    H5Dclose(data);
    H5Fclose(file);
    dur_Remove(Path());
  }
  void Write() const {
    dur_Must(H5Dwrite(data, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, numbers()) >= 0 &&
                 H5Fflush(file, H5F_SCOPE_GLOBAL) >= 0,
             "a raw write");
    if (sync)
      dur_Sync(Path());
  }
  void New() {
    const hsize_t extent = kNumbers;
    const hid_t space = H5Screate_simple(1, &extent, nullptr), list = H5Pcreate(H5P_DATASET_CREATE);
    H5Pset_fill_time(list, H5D_FILL_TIME_NEVER);
    data = H5Dcreate2(file, "field", H5T_NATIVE_DOUBLE, space, H5P_DEFAULT, list, H5P_DEFAULT);
    H5Pclose(list);
    H5Sclose(space);
    Write();
  }
  static std::string Path() { return dur_Path("bulk.h5"); }
  bool sync;
  hid_t file, data = -1;
};

// Every turn begins with nothing left to write from the one before.
template <class Who>
void writeNew(benchmark::State& state, int mode) {
  for (auto _ : state) {
    state.PauseTiming();
    {
      Who file(mode);
      dur_Sync(Who::Path());
      state.ResumeTiming();
      file.New();
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
}

template <class Who>
void writeOver(benchmark::State& state, int mode) {
  Who file(mode);
  file.New();
  for (auto _ : state) {
    state.PauseTiming();
    dur_Sync(Who::Path());
    state.ResumeTiming();
    file.Write();
  }
}

void add(const std::string& name, auto function) {
  benchmark::RegisterBenchmark(name.c_str(), function)
      ->MeasureProcessCPUTime()
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
}

[[maybe_unused]] const bool s_registered = [] {
  using benchmark::State;
  for (const int mode : {0, 1, 2}) {
    const std::string suffix = "_mode" + std::to_string(mode) + "/";
    add("bulk_new" + suffix + "ours", [mode](State& s) { writeNew<Ours>(s, mode); });
    add("bulk_new" + suffix + "rawhdf5", [mode](State& s) { writeNew<Raw>(s, mode); });
    add("bulk_over" + suffix + "ours", [mode](State& s) { writeOver<Ours>(s, mode); });
    add("bulk_over" + suffix + "rawhdf5", [mode](State& s) { writeOver<Raw>(s, mode); });
  }
  return true;
}();
} // namespace
