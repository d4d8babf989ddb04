#pragma once

#include <PDM_Core.h>

#include <string>

/// Everything that an open simulation holds, a line for each thing. Equal texts are equal models.
std::string camp_ModelText(const msfD_Sim& sim);
