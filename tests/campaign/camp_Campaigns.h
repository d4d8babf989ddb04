#pragma once

#include <campaign/camp_Trial.h>

#include <span>

using camp_Rows = std::vector<camp_Row>;

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
  bool Enough(const camp_Row& row) const { return untilBad && row.bad > 0; }
};

/// Runs `body(config, row)` for each configuration that is asked for.
/// \return a row for each.
camp_Rows camp_ForEachConfig(const char* campaign, std::span<const camp_Config> configs,
                             const camp_Options& options,
                             const std::function<void(const camp_Config&, camp_Row&)>& body);

// The campaigns; `campaign --help` says what each does.
camp_Rows camp_Kills(const camp_Options& options);
camp_Rows camp_PowerLoss(const camp_Options& options);
camp_Rows camp_Faults(const camp_Options& options);
camp_Rows camp_AllocationFaults(const camp_Options& options);
camp_Rows camp_Contention(const camp_Options& options);
camp_Rows camp_Helpers(const camp_Options& options);
camp_Rows camp_Live(const camp_Options& options);
camp_Rows camp_Model(const camp_Options& options);
camp_Rows camp_BrokenRules(const camp_Options& options);
