#pragma once

#include <campaign/camp_Report.h>
#include <campaign/camp_Trial.h>

#include <span>

/// What the command line asks of a campaign.
struct camp_Options {
  std::uint64_t seed = 1;
  std::int64_t count = 0; // kills, points, commits or seconds; 0 for the campaign's own
  int stride = 1;         // every how manyth call is made to fail
  bool untilBad = false;  // enough is known with the first bad run
  std::string config;     // only this configuration
  std::string library;    // the breakable library, "" when there is none

  /// The part of `count`, or else of `usual`, that each of so many configurations gets.
  std::int64_t Share(std::int64_t usual, std::int64_t configs) const {
    return (count > 0 ? count : usual) / (config.empty() ? configs : 1);
  }
};

using camp_Rows = std::vector<camp_Row>;

/// Runs `body(config, row)` for each configuration that is asked for, in a process of its own. \return a row
/// for each.
camp_Rows camp_ForEachConfig(const char* campaign, std::span<const camp_Config> configs,
                             const camp_Options& options,
                             const std::function<void(const camp_Config&, camp_Row&)>& body);

/// Processes killed at random moments and at random calls; recovery killed, and lied to, as well.
camp_Rows camp_Kills(const camp_Options& options);
/// The disk as a loss of power may leave it, at every moment of recorded runs and recoveries.
camp_Rows camp_PowerLoss(const camp_Options& options);
/// Each call on the file fails in turn, six ways, the last of them a disk that is full from then on.
camp_Rows camp_Faults(const camp_Options& options);
/// Allocations fail in turn.
camp_Rows camp_AllocationFaults(const camp_Options& options);
/// Writers and readers compete for one file while writers are killed.
camp_Rows camp_Contention(const camp_Options& options);
/// A writer and live readers.
camp_Rows camp_Live(const camp_Options& options);
/// Processes that work on a whole model are killed.
camp_Rows camp_Model(const camp_Options& options);
/// Each rule of the journal broken on purpose; bad when nothing noticed.
camp_Rows camp_BrokenRules(const camp_Options& options);
