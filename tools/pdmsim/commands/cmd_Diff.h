#pragma once

#include <CLI/CLI.hpp>

/// `pdmsim diff A B`
void cmd_AddDiff(CLI::App& program);
