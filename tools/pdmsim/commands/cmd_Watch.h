#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim watch` to the program.
void cmd_AddWatch(CLI::App& program);
