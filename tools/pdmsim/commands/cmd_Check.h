#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim check` to the program.
void cmd_AddCheck(CLI::App& program);
