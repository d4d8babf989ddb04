#pragma once

#include <PDM_Core.h>

#include <string>

/// Makes a small simulation file with an object of each class, sets and fields with data, and gives its Sim.
/// \param alias of the Sim in the root, may be empty.
/// \param contextOption as msfD_Root::createSim.
msfD_Sim fuzz_MakeModel(msfD_Root& root, const std::string& path, const char* alias, int contextOption);

/// Reads everything that is below a Sim, members, children and bulk data, whatever state the file is in.
/// \return a checksum of all that was read.
std::uint64_t fuzz_ReadAll(const msfD_Sim& sim);
