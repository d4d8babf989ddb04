#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim report` to the program.
void cmd_AddReport(CLI::App& program);
