#pragma once

#include <pdmsim/show/show_Values.h>
#include <pdmsim/stored/sto_Mesh.h>
#include <pdmsim/stored/sto_Modes.h>

/// What a file holds in one line: "2-D, 719 nodes, 659 quadrilaterals in 2 blocks, 3 steps".
std::string rep_Headline(const mesh_Source& mesh, const std::vector<sto_ModalSystem>& systems);

/// The tables of blocks, sets, steps, fields and systems, as HTML.
/// \param about  what rep_Content holds.
std::string rep_Tables(const show_Json& about);
