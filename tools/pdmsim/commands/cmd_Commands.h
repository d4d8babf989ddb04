#pragma once

#include <CLI/CLI.hpp>

#include <vector>

/// The program's commands but for hidden ones, in the order of the help.
std::vector<const CLI::App*> cmd_Commands(const CLI::App& program);

/// The command of a name, hidden ones too; null for none.
const CLI::App* cmd_FindCommand(const CLI::App& program, const std::string& name);
