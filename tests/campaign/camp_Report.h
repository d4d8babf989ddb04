#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// One line of a campaign's result.
struct camp_Row {
  std::string campaign, config;
  std::int64_t runs = 0;
  std::int64_t bad = 0;
  std::string note{};

  /// Counts a bad run; the first few are told on standard error at once.
  void Bad(const std::string& message);
  /// Tells of a long campaign's progress on standard error, every few seconds.
  void Progress(std::int64_t of) const;
};

/// Prints the rows as a table or as JSON. \return the exit code: 0 nothing bad, 1 something.
int camp_Print(const std::vector<camp_Row>& rows, bool json);
