#pragma once

#include <pdmsim/show/show_Text.h>
#include <pdmsim/stored/sto_File.h>

#include <CLI/CLI.hpp>

/// Adds FILE, --wait and --live to a command that reads a simulation file.
/// \param opening  receives them; must live as long as the command.
void cmd_AddOpening(CLI::App& command, sto_Opening& opening);

/// Adds --wait and --live alone, for a command that names its files itself. What the command says of a file
/// that another program holds offers them.
/// \param opening  receives them.
void cmd_AddWaitingAndLive(CLI::App& command, sto_Opening& opening);

/// Adds --wait alone, for a command that needs the file for itself.
/// \param seconds  receives it.
void cmd_AddWaiting(CLI::App& command, int& seconds);

/// Adds --json to a command that prints what it finds.
/// \param json  receives it.
void cmd_AddJson(CLI::App& command, bool& json);

/// Prints what a command has found.
/// \param json   as JSON.
/// \param print  prints it as text otherwise.
void cmd_PrintFound(const show_Json& found, bool json, void (*print)(const show_Json&));

/// Refuses numbers outside of a range. Unlike CLI11's own it keeps the range out of the help.
CLI::Validator cmd_Between(double least, double greatest);

/// Refuses what is no whole number of a range.
CLI::Validator cmd_Whole(int least, int greatest = 1'000'000'000);
