#pragma once

#include <PDM_Core.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using Ints = std::vector<int>;
using testing::ElementsAre;

/// What a failed assertion of the numbering says, as a regular expression.
inline std::string Assertion(const std::string& expression) {
  return "^Assertion failed: " + expression +
         ", file generated/fes/dpa/impl/fesD_NodalDofDefinition, line [0-9]+\n$";
}

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

/// The answers for 0, 1, ..., count - 1.
template <class Call>
Ints Each(int count, Call call) {
  Ints answers;
  for (int i = 0; i < count; ++i)
    answers.push_back(call(i));
  return answers;
}

inline Ints OrderOf(const fesD_NodalDofDefinition& dofs) {
  return Each(dofs.NumberOfDofs(), [&](int i) { return dofs.SystemDofFromSolverDof(i); });
}
