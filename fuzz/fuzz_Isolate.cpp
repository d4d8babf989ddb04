#include "fuzz_Isolate.h"

#include "fuzz_Common.h"

#include <sanitizer/common_interface_defs.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <map>
#include <sstream>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

// Frames as module and offset, which is enough to tell whose they are and costs no symboliser. Stacks of
// allocations end with who called malloc, so that hdf5_leaks.txt can mean HDF5 and nobody whom it calls.
// Memory that a file only claims to need is refused as it would be by the system.
extern "C" const char* __asan_default_options();
const char* __asan_default_options() {
  return "symbolize=0:malloc_context_size=2:allocator_may_return_null=1:max_allocation_size_mb=1024:handle_"
         "abort=1:"
         "quarantine_size_mb=16";
}

namespace {
constexpr int kSeconds = 10; // for one input
constexpr const char* kInHdf5 = "in HDF5: ";

std::map<std::string, int> s_places; // in HDF5, with the number of inputs that failed there

void tellPlaces() {
  int all = 0;
  for (const auto& [place, count] : s_places) {
    std::fprintf(stderr, "%s%s, %d inputs\n", kInHdf5, place.c_str(), count);
    all += count;
  }
  std::fprintf(stderr, "stat::inputs_failing_in_hdf5:    %d\n", all);
}

[[noreturn]] void runChild(const std::function<void()>& work, int report) {
  __sanitizer_set_death_callback(nullptr); // the fuzzer's own, which would keep the input as a finding
  ::dup2(report, 2);
  std::signal(SIGALRM, [](int) {
    constexpr char kSaid[] = "ERROR: no end in sight\n";
    [[maybe_unused]] const ssize_t said = ::write(2, kSaid, sizeof kSaid - 1);
    __sanitizer_print_stack_trace();
    ::_exit(1);
  });
  ::alarm(kSeconds);
  work();
  ::_exit(0);
}

std::string textOf(int report) {
  const off_t size = ::lseek(report, 0, SEEK_END);
  std::string text(static_cast<std::size_t>(size), '\0');
  const ssize_t got = ::pread(report, text.data(), text.size(), 0);
  text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
  return text;
}

// The module and offset of a stack's line "    #1 0x... (module+offset)", "" for other lines.
std::string moduleOf(const std::string& line) {
  const std::size_t mark = line.find('#'), open = line.find('('), close = line.find(')', open);
  if (mark == std::string::npos || line.find_first_not_of(' ') != mark || close == std::string::npos)
    return "";
  const std::string module = line.substr(open + 1, close - open - 1);
  return module.substr(module.rfind('/') + 1);
}

// The function of HDF5's that was called when HDF5 read memory that it must not, "" for other reports.
std::string misreads(const std::string& report) {
  std::istringstream lines(report.substr(std::min(report.find("READ of size"), report.size())));
  std::string line, module, function;
  std::getline(lines, line);
  while (std::getline(lines, line) && !(module = moduleOf(line)).empty()) {
    Dl_info info;
    if (module.starts_with("libhdf5")) {
      auto* const place = reinterpret_cast<void*>(std::stoull(line.substr(line.find("0x")), nullptr, 16));
      function = ::dladdr(place, &info) != 0 && info.dli_sname != nullptr ? info.dli_sname : "?";
    } else if (module.starts_with("lib") && !module.starts_with("libc.")) {
      break;
    }
  }
  return function;
}

// The place in HDF5 where each stack of the report begins, as the first of them; "" when one begins
// elsewhere. The C library and the sanitizers work for whoever called them. HDF5 reads our memory only where
// it is given something to write; when it reads too far elsewhere, a block of ours that it met there and who
// had that mean nothing.
std::string placeInHdf5(const std::string& report) {
  std::istringstream lines(report);
  std::string first, line;
  bool decided = false;
  const std::string function = misreads(report);
  const bool metOnly = function.starts_with("H5") && function.find("write") == std::string::npos;
  while (std::getline(lines, line)) {
    if (metOnly && !first.empty())
      break;
    const std::string module = moduleOf(line);
    if (line.find("#0 ") != std::string::npos)
      decided = false;
    if (module.empty() || decided)
      continue;
    if (module.starts_with("libhdf5")) {
      decided = true;
      first = first.empty() ? module : first;
    } else if (module.starts_with("libUTI_") || module.starts_with("libPDM_") ||
               module.starts_with("libDDB_")) {
      return "";
    }
  }
  return first;
}

// What a new process makes of the input, with room between its blocks in which strides of HDF5's are seen
// that went into somebody else's block here: its place in HDF5, "" when it fails elsewhere or not at all.
std::string placeInNewProcess(const std::uint8_t* data, std::size_t size) {
  constexpr const char* kNew = "PDM_FUZZ_NEW_PROCESS";
  if (std::getenv(kNew) != nullptr)
    return "";
  const std::string input = fuzz_Path("again"), report = fuzz_Path("again.txt");
  fuzz_Write(input, data, size);
  const std::string command = std::string(kNew) + "=1 ASAN_OPTIONS=redzone=2048 /proc/" +
                              std::to_string(::getpid()) + "/exe -artifact_prefix=" + input + "- " + input +
                              " 2>" + report;
  [[maybe_unused]] const int failed = std::system(command.c_str()); // the report tells
  const std::vector<std::uint8_t> bytes = fuzz_Bytes(report);
  const std::string text(bytes.begin(), bytes.end());
  const std::size_t at = text.find(kInHdf5);
  const std::size_t start = at == std::string::npos ? text.size() : at + std::strlen(kInHdf5);
  return text.substr(start, text.find(',', start) - start);
}

// False for work that HDF5 fails in; does not return from one that fails elsewhere.
bool survives(const std::function<void()>& work, const std::uint8_t* data, std::size_t size) {
  static const int s_report = ::memfd_create("report", MFD_CLOEXEC);
  [[maybe_unused]] static const int s_told = std::atexit(tellPlaces);
  fuzz_Require(s_report >= 0 && ::ftruncate(s_report, 0) == 0, "memory for a report");
  ::lseek(s_report, 0, SEEK_SET);
  const pid_t child = ::fork();
  if (child == 0)
    runChild(work, s_report);
  int status = 0;
  pid_t ended = -1;
  while (child > 0 && (ended = ::waitpid(child, &status, 0)) < 0 && errno == EINTR) // the fuzzer's own clock
    continue;
  fuzz_Require(child > 0 && ended == child, "a child process");
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
    return true;
  const std::string report = textOf(s_report);
  std::string place = placeInHdf5(report);
  if (place.empty())
    place = placeInNewProcess(data, size);
  if (place.empty()) {
    std::fprintf(stderr, "%s\n", report.c_str());
    fuzz_Require(false, "an input that is survived");
  }
  ++s_places[place];
  return false;
}
} // namespace

void fuzz_Run(const std::function<void()>& work, const std::uint8_t* data, std::size_t size) {
  if (std::getenv("PDM_FUZZ_HERE") != nullptr || survives(work, data, size))
    work();
}
