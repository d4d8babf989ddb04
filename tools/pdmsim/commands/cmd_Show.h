#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim show` to the program.
void cmd_AddShow(CLI::App& program);
