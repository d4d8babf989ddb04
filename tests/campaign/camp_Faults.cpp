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
                         {"short write", camp_Plan::kShortWrite, false},
                         {"disk full", camp_Plan::kFull, true}};
constexpr Way kAllocationWays[] = {{"once", 0, false}, {"for good", 0, true}};

constexpr camp_Config kConfigs[] = {{"kill-safe", H5J_PROCESS},
                                    {"read-live", H5J_POWER, 16 << 10, 0, 1},
                                    {"durable", H5J_POWER},
                                    {"tiny-limits", H5J_POWER, 64 << 10, 48 << 10},
                                    {"regrown", H5J_PROCESS, 0, 48 << 10, 0, camp_Config::kRegrows},
                                    {"helped", H5J_POWER, 64 << 10, 48 << 10, 0, camp_Config::kHelped}};

// Fails every stride-th call of a run, each in all ways, with a session after each run. `total` is where they
// are counted, `plan` which of a process's are meant.
camp_Rows sweep(const char* campaign, std::span<const camp_Config> configs, std::span<const Way> ways,
                const char* call, std::int64_t camp_Board::*total, camp_Plan camp_Fate::*plan,
                const camp_Options& options) {
  return camp_ForEachConfig(campaign, configs, options, [&](const camp_Config& config, camp_Row& row) {
    constexpr int kSteps = 20, kFurther = 3;
    int died = 0;
    std::int64_t calls = 0; // without a fault
    const auto run = [&](const std::string& what, const camp_Fate& fate) {
      camp_Trial trial(options.seed, config, row, what + ": ");
      ++row.runs;
      camp_Children held = camp_Readers(trial.File(), config, camp_Reading::kHold, row.board);
      const int status = trial.Run(kSteps, fate);
      held.clear();
      calls = calls == 0 ? row.board.*total : calls;
      died += status != 0;
      if (status == -SIGALRM || status == camp_kTerminated)
        row.Bad(what + (status == -SIGALRM ? ": hangs" : ": an exception came out of the library"));
      else if (status != 0 && fate.allocations.failAt == 0) // HDF5 does not survive every lack of memory
        row.Bad(what + ": ended with " + std::to_string(status));
      else if (fate.io.error != camp_Plan::kFull ||
               trial.Check(camp_Look::kOpen, {.failAt = 1, .forGood = true, .error = camp_Plan::kFull}))
        trial.Check() && trial.RunsWell(kFurther);
    };
    run("no fault", {});
    for (std::int64_t n = 1; n <= calls && !options.Enough(row); n += options.stride)
      for (const Way& way : ways) {
        camp_Fate fate;
        (fate.*plan).failAt = n;
        (fate.*plan).error = way.error;
        (fate.*plan).forGood = way.forGood;
        run(std::string(way.name) + " at " + call + ' ' + std::to_string(n), fate);
      }
    row.note =
        std::to_string(calls) + ' ' + call + "s tried, " + std::to_string(died) + " runs ended by a signal";
  });
}

} // namespace

camp_Rows camp_Faults(const camp_Options& options) {
  return sweep("faults", kConfigs, kWays, "call", &camp_Board::calls, &camp_Fate::io, options);
}

camp_Rows camp_AllocationFaults(const camp_Options& options) {
  return sweep("allocations", std::span(kConfigs, 2), kAllocationWays, "allocation", &camp_Board::allocations,
               &camp_Fate::allocations, options);
}
