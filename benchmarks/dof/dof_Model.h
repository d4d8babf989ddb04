#pragma once

#include <PDM_Core.h>

#include <cstddef>
#include <vector>

/// What nodes carry in the measured models.
enum dof_Kind { kUniform, kMixed };

/// Masks of n nodes. Uniform: labels 1 to 6 everywhere. Mixed: in no order, nodes of shells (1 to 6), of
/// solids (1 to 3), of fluid (8), of their common face (1 to 3 and 8), and nodes without any.
std::vector<int> dof_Masks(dof_Kind kind, int n);

/// A copy of masks as a numbering takes them over.
int* dof_GiveAway(const std::vector<int>& masks);

/// The numbers of n things in random order.
std::vector<int> dof_Shuffled(int n);

/// All DOFs in the order of nodes that are shuffled within stretches of 1000, as a renumbering that reduces a
/// bandwidth leaves them.
std::vector<int> dof_ByLocalNodes(const fesD_NodalDofDefinition& dofs);

/// Each node's rank in such an order of nodes.
std::vector<int> dof_LocalRanks(int n);

/// Flags of n nodes of which about percent are set, in no order.
std::vector<char> dof_Selection(int n, int percent);

/// Keeps what is freed, so that the memory of every run but the first is resident.
void dof_KeepMemory();

/// Gives back what is freed, so that the memory of every run is new, as a host's is that numbers once.
void dof_GiveMemoryBack();
