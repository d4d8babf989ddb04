#pragma once

#include <UTI_CoreUtils/mem_Allocation.h>

#include <cstddef>
#include <memory>

/// Releases what the core allocator gave.
struct dof_Free {
  void operator()(void* block) const { mem_Free(block); }
};
using dof_Ints = std::unique_ptr<int[], dof_Free>;

/// \return memory for n ints from the core allocator, untouched.
inline int* dof_NewInts(long long n) {
  return static_cast<int*>(mem_OperatorNewThrowBuiltin(static_cast<std::size_t>(n) * sizeof(int)));
}

/// An index of nodes, labels or DOFs as one of memory.
constexpr std::size_t dof_At(int index) {
  return static_cast<std::size_t>(index);
}
