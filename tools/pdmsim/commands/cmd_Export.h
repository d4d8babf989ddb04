#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim export` to the program.
void cmd_AddExport(CLI::App& program);
