#pragma once

#include <UTI_CoreUtils/UTI_CoreUtils.h>

/// Fails an assertion of the DOF numbering, with the expression's text, unless it holds.
#define FESD_DOF_ASSERT(expression)                                                                          \
  static_cast<void>((expression) || (fesD_DofAssertFailed(L"" #expression, __LINE__), false))

[[noreturn]] inline void fesD_DofAssertFailed(const wchar_t* expression, unsigned line) {
  _wassert(expression, L"generated/fes/dpa/impl/fesD_NodalDofDefinition", line);
}

/// Memory for n ints, untouched.
inline int* fesD_NewInts(long long n) {
  return static_cast<int*>(mem_OperatorNewThrowBuiltin(static_cast<std::size_t>(n) * sizeof(int)));
}
