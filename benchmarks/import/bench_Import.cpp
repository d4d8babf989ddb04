// A million hexahedra with results from an Exodus II mesh into a simulation file, against reading the same
// numbers through netCDF and writing them to a plain file. Each runs in a process of its own; the time is
// that process's on the processor, the counters are the time on the clock and the greatest memory.

#include "imp_Mesh.h"

#include <benchmark/benchmark.h>
#include <netcdf.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
constexpr int kSide = 100;

std::string fileName(const char* name) {
  return (std::filesystem::temp_directory_path() / ("pdm_import_" + std::to_string(::getpid()) + name))
      .string();
}

// The mesh in one netCDF format, made when it is first asked for and kept until the end.
struct Mesh {
  Mesh(const char* name, int mode) : path(fileName(name)) { imp_MakeMesh(path, mode, kSide); }
  ~Mesh() { std::filesystem::remove(path); }
  std::string path;
};
const std::string& meshOf(int mode) {
  static const Mesh s_classic(".cdf5", NC_CDF5), s_netcdf4(".nc4", NC_NETCDF4);
  return mode == NC_CDF5 ? s_classic.path : s_netcdf4.path;
}

void import(const std::string& mesh, const std::string& to) {
  ::execl(PDM_PDMSIM, PDM_PDMSIM, "import", mesh.c_str(), to.c_str(), "--force", "--quiet", nullptr);
  std::abort();
}

void run(benchmark::State& state, int mode, void (*work)(const std::string&, const std::string&)) {
  const std::string mesh = meshOf(mode), to = fileName(".out");
  double onClock = 0, megabytes = 0;
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
      work(mesh, to);
      ::_exit(0);
    }
    int status = 0;
    rusage used{};
    if (child < 0 || ::wait4(child, &status, 0, &used) != child || status != 0)
      state.SkipWithError("failed");
    onClock += std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    megabytes = static_cast<double>(used.ru_maxrss) / 1e3;
    state.SetIterationTime(seconds(used.ru_utime) + seconds(used.ru_stime));
    std::filesystem::remove(to);
  }
  state.counters["clock_s"] = benchmark::Counter(onClock, benchmark::Counter::kAvgIterations);
  state.counters["rss_MB"] = megabytes;
}

[[maybe_unused]] const bool s_registered = [] {
  for (const auto& [format, mode] : {std::pair{"cdf5", NC_CDF5}, {"netcdf4", NC_NETCDF4}})
    for (const auto& [who, work] : {std::pair{"ours", &import}, {"netcdf_and_write", &imp_CopyNumbers}})
      benchmark::RegisterBenchmark(
          (std::string("import_") + format + "/" + who).c_str(),
          [mode = mode, work = work](benchmark::State& state) { run(state, mode, work); })
          ->UseManualTime()
          ->Iterations(1)
          ->Unit(benchmark::kMillisecond);
  return true;
}();
} // namespace
