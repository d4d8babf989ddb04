// Opening a file whose writer was killed with 4 MB of journal, against opening what recovery makes of it.

#include "dur_Files.h"
#include "dur_Model.h"

#include <benchmark/benchmark.h>

#include <csignal>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

namespace {
constexpr int kObjects = 20000;
constexpr std::uintmax_t kJournal = (4 << 20) - (96 << 10); // a longer one might be begun anew

std::uintmax_t sizeOf(const std::string& path) {
  std::error_code missing;
  const std::uintmax_t size = std::filesystem::file_size(path, missing);
  return missing ? 0 : size;
}

// Commits one object after another until the journal is as long as it shall be, then dies.
[[noreturn]] void writeAndDie(const std::string& path, int mode) {
  msfD_Root root(0);
  const msfD_Sim sim = dur_CreateModel(root, path, kObjects, mode);
  const auto systems = sim.discreteModel().mesh().systems();
  const ORXSimContextID context = sim.distributionService().Context();
  for (int i = 0; i < kObjects && sizeOf(path + "-journal") < kJournal; ++i)
    systems.get(i * 37 % kObjects).NodalLabels(ORXSimDistributionID(context, i & 0xff));
  ::kill(::getpid(), SIGKILL);
  ::_exit(1);
}

void copy(const std::string& from, const std::string& to) {
  for (const char* const suffix : {"", "-journal"}) {
    std::filesystem::remove(to + suffix);
    if (std::filesystem::exists(from + suffix))
      std::filesystem::copy_file(from + suffix, to + suffix);
  }
}

void openAndClose(const std::string& path, int mode) {
  const ORXSimContextID context = ORXSimManager::OpenContext(path.c_str(), 0, 102, false, mode);
  dur_Must(!context.IsNull() && ORXSimManager::CloseContext(context), "opening");
}

void open(benchmark::State& state, int mode, bool hot) {
  const std::string left = dur_Path("left.pdm"), path = dur_Path("open.pdm");
  const pid_t child = ::fork();
  if (child == 0)
    writeAndDie(left, mode);
  ::waitpid(child, nullptr, 0);
  if (sizeOf(left + "-journal") < kJournal) {
    state.SkipWithError("the writer left no journal of that length");
    return;
  }
  if (!hot)
    openAndClose(left, mode); // recovers
  for (auto _ : state) {
    state.PauseTiming();
    copy(left, path);
    dur_Sync(path);
    state.ResumeTiming();
    openAndClose(path, mode);
  }
  dur_Must(sizeOf(path + "-journal") == 0, "no journal afterwards");
  state.counters["journal"] = static_cast<double>(sizeOf(left + "-journal"));
  dur_Remove(left);
  dur_Remove(path);
}

[[maybe_unused]] const bool s_registered = [] {
  for (const int mode : {1, 2})
    for (const bool hot : {true, false})
      benchmark::RegisterBenchmark(
          ("open_hot_mode" + std::to_string(mode) + (hot ? "/ours" : "/clean")).c_str(),
          [=](benchmark::State& s) { open(s, mode, hot); })
          ->MeasureProcessCPUTime()
          ->UseRealTime()
          ->Unit(benchmark::kMillisecond);
  return true;
}();
} // namespace
