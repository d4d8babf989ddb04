#pragma once

#include <CLI/CLI.hpp>

/// Adds `pdmsim help [COMMAND]` to the program.
void cmd_AddHelp(CLI::App& program);

/// Adds `--version`: of the program, of HDF5, of the files' layout.
void cmd_AddVersion(CLI::App& program);

/// Throws cli_Failure when a word is no command, with the commands that it may mean.
/// \param word  what stands in the place of a command; options pass.
void cmd_ExpectCommand(const CLI::App& program, const std::string& word);
