#pragma once

#include <pdmsim/export/out/exp_Format.h>

/// VTKHDF files that hold all their numbers: laid out as a view is.
std::vector<std::string> vhdf_Losses(const exp_Task& task);
void vhdf_Write(const exp_Task& task, exp_Files& files);
