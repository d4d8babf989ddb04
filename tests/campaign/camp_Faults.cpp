#include <campaign/camp_Campaigns.h>

#include <cerrno>
#include <csignal>

namespace {

struct Way {
  const char* name;
  int error;
  bool forGood;
};
constexpr Way kWays[] = {{"ENOSPC once", ENOSPC, false},
                         {"ENOSPC for good", ENOSPC, true},
                         {"EIO once", EIO, false},
                         {"EIO for good", EIO, true},
                         {"short write", camp_Plan::kShortWrite, false}};
constexpr Way kAllocationWays[] = {{"once", 0, false}, {"for good", 0, true}};

constexpr camp_Config kConfigs[] = {{"kill-safe", 1},
                                    {"read-live", 2, 16 << 10, 0, 1},
                                    {"durable", 2},
                                    {"tiny-limits", 2, 64 << 10, 48 << 10}};

// Fails every stride-th call of a run, each in all ways, with a session after each run. `total` is where they
// are counted, `plan` which of a process's are meant.
std::vector<camp_Row> sweep(const char* campaign, std::span<const camp_Config> configs,
                            std::span<const Way> ways, const char* call, std::int64_t camp_Board::*total,
                            camp_Plan camp_Fate::*plan, const camp_Options& options) {
  return camp_ForEachConfig(campaign, configs, options, [&](const camp_Config& config, camp_Row& row) {
    constexpr int kSteps = 22, kFurther = 3;
    const camp_Directory directory;
    camp_Board& board = camp_Board::New();
    int died = 0;
    std::int64_t calls = 0; // without a fault
    const auto run = [&](const std::string& what, const camp_Fate& fate) {
      camp_Trial trial(directory, options.seed, config, board);
      ++row.runs;
      camp_Children readers = camp_HoldSnapshots(directory.File(), config.readers);
      const int status = trial.Run(kSteps, fate);
      readers.clear();
      calls = calls == 0 ? board.*total : calls;
      died += status != 0;
      if (status == -SIGALRM)
        row.Bad(what + ": hangs");
      else if (!trial.Check(false) || !trial.RunsWell(kFurther))
        row.Bad(what + ": " + trial.Message());
    };
    run("no fault", {});
    for (std::int64_t n = 1; n <= calls; n += options.stride)
      for (const Way& way : ways) {
        camp_Fate fate;
        (fate.*plan).failAt = n;
        (fate.*plan).error = way.error;
        (fate.*plan).forGood = way.forGood;
        run(std::string(way.name) + " at " + call + ' ' + std::to_string(n), fate);
        row.Progress(calls / options.stride * std::ssize(ways));
      }
    row.note =
        std::to_string(calls) + ' ' + call + "s tried, " + std::to_string(died) + " runs ended by a signal";
  });
}

} // namespace

std::vector<camp_Row> camp_Faults(const camp_Options& options) {
  return sweep("faults", kConfigs, kWays, "call", &camp_Board::calls, &camp_Fate::io, options);
}

std::vector<camp_Row> camp_AllocationFaults(const camp_Options& options) {
  return sweep("allocations", std::span(kConfigs, 2), kAllocationWays, "allocation", &camp_Board::allocations,
               &camp_Fate::allocations, options);
}
