#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim import` to the program.
void cmd_AddImport(CLI::App& program);
