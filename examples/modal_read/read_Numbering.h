#pragma once

#include "read_Checks.h"

#include <PDM_Core.h>
#include <fes/dpa/fesD_NodalDofDefinition.h>

#include <memory>
#include <vector>

/// Labels lead from nodes to the user's numbers and back.
void read_CheckLabels(const fesD_ModalSystem& system, int nodes, read_Checks& checks);

/// The numbering with the solver order of the file; null when the file's masks or order allow none, which
/// then is a failed check.
std::unique_ptr<fesD_NodalDofDefinition> read_Numbering(const fesD_ModalSystem& system, int nodes,
                                                        read_Checks& checks);

/// The members of a set; empty when it cannot be read.
std::vector<int> read_Members(ORXSimCSetID id);
