// A model of 20,000 objects in one update scope, from nothing to the closed file, in each mode; the same by
// tuned raw HDF5, with a sync where ours survives the loss of power.

#include "dur_Files.h"
#include "dur_Model.h"

#include <raw_Objects.h>

#include <benchmark/benchmark.h>

namespace {
constexpr int kObjects = 20000;

void create(benchmark::State& state, int mode, bool ours) {
  const std::string path = dur_Path("model");
  const std::vector<unsigned char> bytes = dur_Stream();
  for (auto _ : state) {
    if (ours) {
      msfD_Root root(0);
      dur_CreateModel(root, path, kObjects, mode);
    } else {
      raw_Objects(true).Create(path, kObjects, bytes);
      if (mode == 2)
        dur_Sync(path);
    }
    state.PauseTiming();
    dur_Remove(path);
    state.ResumeTiming();
  }
}

[[maybe_unused]] const bool s_registered = [] {
  for (const int mode : {0, 1, 2})
    for (const bool ours : {true, false})
      benchmark::RegisterBenchmark(
          ("model_20000_mode" + std::to_string(mode) + (ours ? "/ours" : "/rawtuned")).c_str(),
          [=](benchmark::State& s) { create(s, mode, ours); })
          ->MeasureProcessCPUTime()
          ->UseRealTime()
          ->Unit(benchmark::kMillisecond);
  return true;
}();
} // namespace
