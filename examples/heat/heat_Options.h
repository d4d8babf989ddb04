#pragma once

#include "heat_Bar.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <thread>

/// What the programs are told.
struct heat_Options {
  std::string file;
  heat_Problem problem;
  int pause = 0; // milliseconds after each step
};

inline void heat_AddOptions(CLI::App& program, heat_Options& options) {
  program.option_defaults()->always_capture_default();
  heat_Problem& problem = options.problem;
  program.add_option("FILE", options.file, "simulation file with a mesh of HEX8 or TET4")->required();
  program.add_option("--end", problem.end, "time of the last step in s")->check(CLI::PositiveNumber);
  program.add_option("--steps", problem.steps, "number of steps")->check(CLI::PositiveNumber);
  program.add_option("--diffusivity", problem.diffusivity, "in square lengths of the mesh by s")
      ->check(CLI::PositiveNumber);
  program.add_option("--pause", options.pause, "milliseconds to wait after each step")
      ->check(CLI::NonNegativeNumber);
}

/// \param steps  that an earlier run has stored.
inline void heat_TellGoingOn(const heat_Options& options, int steps) {
  const bool all = steps > options.problem.steps;
  std::printf("%s: %s%d %s there%s\n", options.file.c_str(), all ? "all " : "", steps,
              steps == 1 ? "step is" : "steps are",
              all ? "; more --steps and a later --end go on" : ", going on");
}

inline void heat_TellStep(const heat_Options& options, int step, double warmest) {
  std::printf("step %d of %d, %g s: %.4f K at the warmest\n", step, options.problem.steps,
              options.problem.Time(step), warmest);
  std::fflush(stdout);
}

inline void heat_Pause(const heat_Options& options) {
  std::this_thread::sleep_for(std::chrono::milliseconds(options.pause));
}
