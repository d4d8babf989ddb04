#pragma once

#include <dof/dof_Masks.h>

/// A system that is numbered, as its arrays say; it owns none of them.
struct dof_System {
  const int* masks = nullptr; // [nodes]
  int nodes = 0;
  dof_MaskSums sums;             // of the masks
  const int* ordinals = nullptr; // [nodes x labels in use] as dof_FillTables() wrote them

  unsigned Mask(int node) const { return static_cast<unsigned>(masks[node]); }
};
