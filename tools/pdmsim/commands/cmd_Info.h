#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim info` to the program.
void cmd_AddInfo(CLI::App& program);
