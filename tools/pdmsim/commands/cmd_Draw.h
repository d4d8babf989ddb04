#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim draw` to the program.
void cmd_AddDraw(CLI::App& program);
