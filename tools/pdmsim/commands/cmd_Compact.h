#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim compact` to the program.
void cmd_AddCompact(CLI::App& program);
