#pragma once

#include <pdmsim/report/rep_Skin.h>

/// Puts the faces of each group in an order in which each one has most nodes in common with those just before
/// it. What comes so packs well, whatever order the mesh has.
/// \param nodes  of the mesh.
void rep_OrderByNeighbours(std::size_t nodes, std::vector<rep_Faces>& groups);
