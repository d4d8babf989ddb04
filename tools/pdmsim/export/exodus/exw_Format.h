#pragma once

#include <pdmsim/export/out/exp_Format.h>

std::vector<std::string> exw_Losses(const exp_Task& task);
/// Writes Exodus II.
void exw_Write(const exp_Task& task, exp_Files& files);
