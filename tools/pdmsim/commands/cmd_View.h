#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim view` to the program.
void cmd_AddView(CLI::App& program);
