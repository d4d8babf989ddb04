// Loaded before pdmsim: kills it at the n-th call on a file of one directory, or writes down what it did
// there.

#include <campaign/camp_Io.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

std::int64_t s_calls = 0;

camp_Record& record() { // outlives everything
  static auto& made = *new camp_Record;
  return made;
}

[[gnu::constructor]] void begin() {
  const char* const directory = std::getenv("PDM_WATCH");
  const char* const killAt = std::getenv("PDM_KILL_AT");
  if (directory == nullptr)
    return;
  for (const auto& entry : std::filesystem::directory_iterator(directory))
    record().names[entry.path().filename()] = record().inodes++;
  camp_Plan plan;
  plan.killAt = killAt == nullptr ? 0 : std::atoll(killAt);
  plan.calls = &s_calls;
  plan.record = &record();
  camp_Watch(directory, plan);
}

[[gnu::destructor]] void end() {
  camp_Unwatch();
  const char* const path = std::getenv("PDM_TOLD");
  if (path == nullptr)
    return;
  std::ofstream told(path);
  const char* const kinds[] = {"create", "write",  "truncate", "extend",
                               "sync",   "rename", "unlink",   "directory"};
  told << s_calls << '\n';
  for (const camp_Event& event : record().events)
    told << kinds[event.kind] << ' ' << event.inode << ' ' << event.name << ' ' << event.from << '\n';
}

} // namespace
