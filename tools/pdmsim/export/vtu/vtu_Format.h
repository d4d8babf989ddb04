#pragma once

#include <pdmsim/export/out/exp_Format.h>

std::vector<std::string> vtu_Losses(const exp_Task& task);
/// Writes a VTU file of one step, or for a name that ends with .pvd a VTU file a step and their list.
void vtu_Write(const exp_Task& task, exp_Files& files);
