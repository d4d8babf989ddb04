#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim partition` to the program.
void cmd_AddPartition(CLI::App& program);
