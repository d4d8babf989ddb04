#pragma once

#include <pdmsim/import/imp_Names.h>

#include <cstddef>
#include <string>
#include <vector>

class mesh_Source;
class cli_Library;
class cli_Progress;

/// What an import has written, for its summary.
struct imp_Counts {
  std::size_t nodes = 0, elements = 0, blocks = 0, nodeSets = 0, elementSets = 0, sideSets = 0, fields = 0,
              steps = 0;
  std::vector<imp_Renamed> renamed;
  std::vector<std::string> notImported;
  std::size_t results = 0; // fields that are no coordinates, labels and the like
};

/// Writes a mesh as a new simulation file, in one update. Throws cli_Failure when something cannot be written
/// and mesh_Error when the mesh turns out to be bad; there is no file then.
/// \param force see cli_CreateFile.
imp_Counts imp_WriteModel(const mesh_Source& mesh, const std::string& path, bool force,
                          const cli_Library& library, cli_Progress& progress);
