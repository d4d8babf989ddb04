#pragma once

#include <pdmsim/cli/cli_Failure.h>

/// Refuses a step that a mesh does not have. Throws cli_Failure.
/// \param steps  how many it has.
inline void cli_ExpectStep(const std::string& path, std::size_t step, std::size_t steps) {
  if (step < steps)
    return;
  const std::string expected =
      steps > 0 ? "a step in 0.." + std::to_string(steps - 1) : "no --step, as it has none";
  throw cli_Failure(cli_Exit::kNotThere, path + ": expected " + expected + ", found " + std::to_string(step));
}
