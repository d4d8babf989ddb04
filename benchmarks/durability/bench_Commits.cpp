// One small commit: a setter on one of 1000 objects, outside any scope, in each mode; the same bytes through
// raw HDF5 and as a row of an SQLite database. Once in a file that was just opened, and once in one whose
// objects have all been read, as a program that works with its model has them: HDF5 looks through its cache
// at every commit, and then it is full.

#include "dur_Files.h"
#include "dur_Model.h"
#include "dur_Sqlite.h"

#include <raw_Objects.h>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr int kObjects = 1000;

enum class Cache { kEmpty, kFull };

void commitOurs(benchmark::State& state, int mode, Cache cache) {
  const std::string path = dur_Path("commit.pdm");
  {
    msfD_Root root(0);
    root.closeSim(dur_CreateModel(root, path, kObjects, mode));
    const msfD_Sim sim = root.openSim(path.c_str(), "", mode);
    const auto systems = sim.discreteModel().mesh().systems();
    if (cache == Cache::kFull)
      for (int i = 0; i < kObjects; ++i)
        dur_Must(systems.get(i).nodalLabels().Minor() == 1, "the value made");
    const fesD_FESystem system = systems.get(kObjects / 2);
    const ORXSimContextID context = sim.distributionService().Context();
    int i = 0;
    for (auto _ : state)
      system.NodalLabels(ORXSimDistributionID(context, ++i & 0xff));
    dur_Must(system.nodalLabels().Minor() == (i & 0xff), "the last value");
  }
  dur_Remove(path);
}

enum class Raw { kWrite, kFlush, kSync };

void commitRaw(benchmark::State& state, Raw how, Cache cache) {
  const std::string path = dur_Path("commit.h5");
  std::vector<unsigned char> bytes = dur_Stream();
  raw_Objects raw(true);
  raw.Create(path, kObjects, bytes);
  raw.OpenForRewrite(path);
  if (cache == Cache::kFull)
    raw.ReadAll(kObjects);
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
    for (const Cache cache : {Cache::kEmpty, Cache::kFull}) {
      const std::string work =
          "small_commit_mode" + std::to_string(mode) + (cache == Cache::kFull ? "_full_cache/" : "/");
      add(work + "ours", [=](State& s) { commitOurs(s, mode, cache); });
      add(work + "rawwrite", [=](State& s) { commitRaw(s, Raw::kWrite, cache); });
      add(work + "rawflush", [=](State& s) { commitRaw(s, Raw::kFlush, cache); });
      add(work + "rawsync", [=](State& s) { commitRaw(s, Raw::kSync, cache); });
      add(work + "sqlitenormal", [](State& s) { commitSqlite(s, false); });
      add(work + "sqlitefull", [](State& s) { commitSqlite(s, true); });
    }
  }
  return true;
}();
} // namespace
