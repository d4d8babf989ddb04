#pragma once

#include <dof/dof_Masks.h>

// Threads: these functions share nothing.

/// The tables of a system's numbering, which the caller has allocated.
struct dof_Tables {
  int* ordinals; // [n x labels in use] the system DOF of (node, DOF id), or -1
  int* codes;    // [DOFs] 128 x (node + 1) + DOF id
};

/// Numbers the DOFs of n nodes, node by node and by ascending label; writes every entry of both tables.
/// \param masks  [n] bit 31 is clear in each.
/// \param n      number of nodes, below 2^24.
/// \param sums   what dof_SumMasks() says of the masks.
/// \param tables receive the numbering.
void dof_FillTables(const int* masks, int n, dof_MaskSums sums, dof_Tables tables);
