#pragma once

#include <PDM_Core.h>

#include <algorithm>
#include <vector>

using Ints = std::vector<int>;

inline int* GiveAway(const Ints& masks) {
  void* const given = mem_OperatorNewThrowBuiltin(masks.size() * sizeof(int));
  std::copy(masks.begin(), masks.end(), static_cast<int*>(given));
  return static_cast<int*>(given);
}

inline fesD_NodalDofDefinition Number(const Ints& masks, int shift = 0, bool addLabel10 = false) {
  return {GiveAway(masks), static_cast<int>(masks.size()), shift, addLabel10};
}

/// Takes over an array of the library. The count is read when the array is there.
inline Ints Taken(int* array, const int& count) {
  const Ints copy(array, array + count);
  mem_Free(array);
  return copy;
}

inline Ints OrderOf(const fesD_NodalDofDefinition& dofs) {
  Ints order;
  for (int i = 0; i < dofs.NumberOfDofs(); ++i)
    order.push_back(dofs.SystemDofFromSolverDof(i));
  return order;
}
