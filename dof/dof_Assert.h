#pragma once

#include <UTI_CoreUtils/UTI_CoreUtils.h>

/// Fails an assertion of the DOF numbering, with the expression's text, unless it holds. The numbering is one
/// thing to its user, so all its assertions name the same file.
#define DOF_ASSERT(expression)                                                                               \
  static_cast<void>((expression) || (dof_AssertFailed(L"" #expression, __LINE__), false))

[[noreturn]] inline void dof_AssertFailed(const wchar_t* expression, unsigned line) {
  _wassert(expression, L"generated/fes/dpa/impl/fesD_NodalDofDefinition", line);
}
