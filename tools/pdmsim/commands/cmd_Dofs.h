#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim dofs` to the program.
void cmd_AddDofs(CLI::App& program);
