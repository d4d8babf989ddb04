#pragma once

#include "read_Checks.h"

#include "modal_File.h"

#include <fes/dpa/fesD_NodalDofDefinition.h>

/// Frequencies, shapes and events of a system. Stiffness and mass are assembled once more, from the mesh, the
/// material and the numbering in the file, and the stored shapes are held against them.
void read_CheckModes(const std::string& file, const msfD_Mesh& mesh, const fesD_ModalSystem& system,
                     const fesD_NodalDofDefinition& dofs, read_Checks& checks);
