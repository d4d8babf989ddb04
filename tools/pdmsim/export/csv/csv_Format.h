#pragma once

#include <pdmsim/export/out/exp_Format.h>

/// One field loses nothing.
std::vector<std::string> csv_Losses(const exp_Task& task);
/// Writes the field that is wanted as a table: a row for each node, element or entry of a set at each step,
/// behind the user's numbers. Throws cli_Failure where there is no such field.
void csv_Write(const exp_Task& task, exp_Files& files);
