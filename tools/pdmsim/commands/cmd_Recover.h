#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim recover` to the program.
void cmd_AddRecover(CLI::App& program);
