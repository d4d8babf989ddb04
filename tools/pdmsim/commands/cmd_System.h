#pragma once

#include <PDM_Core.h>

#include <string>

/// The system of a name, or else of a number; the only one when none is named. Throws cli_Failure with
/// those that there are.
/// \param file  for messages.
fesD_FESystem cmd_FindSystem(const std::string& file, const std::string& name, const msfD_Mesh& mesh);
