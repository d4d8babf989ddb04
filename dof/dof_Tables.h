#pragma once

/// What a system's activity masks come to.
struct fesD_MaskSums {
  unsigned labels = 0; // every label that occurs, as a mask
  int dofs = 0;        // active (node, label) pairs
};

/// \param masks [n] \return their union and the number of their set bits.
fesD_MaskSums fesD_SumMasks(const int* masks, int n);

/// The tables of a system's numbering, which the caller has allocated.
struct fesD_DofTables {
  int* ordinals; // [n x labels in use] the system DOF of (node, DOF id), or -1
  int* codes;    // [DOFs] 128 x (node + 1) + DOF id
};

/// Numbers the DOFs of n nodes, node by node and by ascending label; writes every entry of both tables.
/// \param masks [n] none has a label outside of sums, which must be theirs.
void fesD_FillDofTables(const int* masks, int n, fesD_MaskSums sums, fesD_DofTables tables);
