#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim generate`, which no help lists: man pages and completions from what the help says.
void cmd_AddGenerate(CLI::App& program);
