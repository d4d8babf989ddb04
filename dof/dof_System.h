#pragma once

#include <dof/dof_Masks.h>

/// A system that is numbered, as its arrays say; it owns none of them.
struct dof_System {
  const int* masks = nullptr; // [nodes]
  int nodes = 0;
  dof_MaskSums sums;              // of the masks
  int columns = 0;                // labels in use
  const int* idByLabel = nullptr; // as dof_NumberLabels() filled it
  const int* ordinals = nullptr;  // [nodes x columns] as dof_FillTables() wrote them

  unsigned Mask(int node) const { return static_cast<unsigned>(masks[node]); }
};
