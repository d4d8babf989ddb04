#pragma once

#include <pdmsim/stored/sto_File.h>

#include <string>
#include <vector>

/// What a simulation file holds beside the mesh that sto_Mesh hands out: systems, and the members of the
/// model and the mesh that no mesh has. One line each. Throws cli_Failure.
std::vector<std::string> sto_Rest(const sto_File& file);
