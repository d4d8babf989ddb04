#pragma once

#include <pdmsim/export/out/exp_Format.h>

std::vector<std::string> gmsh_Losses(const exp_Task& task);
/// Writes format 4.1, binary unless text is wanted.
void gmsh_Write(const exp_Task& task, exp_Files& files);
