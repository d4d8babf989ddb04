#pragma once

#include <pdmsim/dofs/dofs_Numbering.h>
#include <pdmsim/stored/sto_Mesh.h>

#include <nlohmann/json.hpp>

/// Where a matrix that couples all DOFs of each element has entries: a raster of fields, each 1 where there
/// are some, in the order of the system and in that of the solver. Throws mesh_Error.
/// \return {"size": DOFs, "raster": fields a side, "orders": [{"name", "bandwidth", "rows": ["0110..."]}]}.
nlohmann::json draw_Spy(const sto_Mesh& mesh, const dofs_Numbering& numbering);
