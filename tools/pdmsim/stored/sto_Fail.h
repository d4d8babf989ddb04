#pragma once

#include <pdmsim/mesh/mesh_Error.h>

#include <PDM_Core.h>

/// Ends the reading of a simulation file with what could not be read in it; where nothing failed to be
/// read, with what is wrong with what was. Throws mesh_Error.
/// \param what  as "expected 3 rows, found 2".
[[noreturn]] inline void sto_Fail(const std::string& file, const std::string& what) {
  std::string cause = ORXSimManager::LastError();
  if (cause.starts_with(file + ": "))
    cause.erase(0, file.size() + 2);
  throw mesh_Error(file, cause.empty() ? what : cause);
}
