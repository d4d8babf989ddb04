// One small commit: a setter on one of 1000 objects, outside any scope, in each mode; the same bytes through
// raw HDF5 and as a row of an SQLite database.

#include "dur_Files.h"
#include "dur_Model.h"
#include "dur_Sqlite.h"

#include <raw_Objects.h>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr int kObjects = 1000;

void commitOurs(benchmark::State& state, int mode) {
  const std::string path = dur_Path("commit.pdm");
  {
    msfD_Root root(0);
    root.closeSim(dur_CreateModel(root, path, kObjects, mode));
    const msfD_Sim sim =
        root.openSim(path.c_str(), "", mode); // as the peers: nothing else is in HDF5's cache
    const fesD_FESystem system = sim.discreteModel().mesh().systems().get(kObjects / 2);
    const ORXSimContextID context = sim.distributionService().Context();
    int i = 0;
    for (auto _ : state)
      system.NodalLabels(ORXSimDistributionID(context, ++i & 0xff));
    dur_Must(system.nodalLabels().Minor() == (i & 0xff), "the last value");
  }
  dur_Remove(path);
}

enum class Raw { kWrite, kFlush, kSync };

void commitRaw(benchmark::State& state, Raw how) {
  const std::string path = dur_Path("commit.h5");
  std::vector<unsigned char> bytes = dur_Stream();
  raw_Objects raw(true);
  raw.Create(path, kObjects, bytes);
  raw.OpenForRewrite(path);
  const int file = ::open(path.c_str(), O_RDONLY);
  for (auto _ : state) {
    ++bytes[20];
    raw.Rewrite(bytes, how != Raw::kWrite);
    if (how == Raw::kSync)
      dur_Must(::fsync(file) == 0, "a sync");
  }
  ::close(file);
  raw.Close();
  dur_Remove(path);
}

void commitSqlite(benchmark::State& state, bool full) {
  const std::string path = dur_Path("commit.sqlite");
  std::vector<unsigned char> bytes = dur_Stream();
  {
    dur_Sqlite database(path, kObjects, bytes, full);
    for (auto _ : state) {
      ++bytes[20];
      database.Update(kObjects / 2, bytes);
    }
  }
  dur_Remove(path);
}

void add(const std::string& name, auto function) {
  benchmark::RegisterBenchmark(name.c_str(), function)
      ->MeasureProcessCPUTime()
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
}

[[maybe_unused]] const bool s_registered = [] {
  using benchmark::State;
  for (const int mode : {0, 1, 2}) {
    const std::string work = "small_commit_mode" + std::to_string(mode) + "/";
    add(work + "ours", [mode](State& s) { commitOurs(s, mode); });
    add(work + "rawwrite", [](State& s) { commitRaw(s, Raw::kWrite); });
    add(work + "rawflush", [](State& s) { commitRaw(s, Raw::kFlush); });
    add(work + "rawsync", [](State& s) { commitRaw(s, Raw::kSync); });
    add(work + "sqlitenormal", [](State& s) { commitSqlite(s, false); });
    add(work + "sqlitefull", [](State& s) { commitSqlite(s, true); });
  }
  return true;
}();
} // namespace
