#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Export.h>

/// Reports broken promises of a caller.
/// Threads: any, at any time.
class ORXSIM_API ORXSimAssert {
 public:
  /// Writes "Validation failure: CONDITION" and a newline to the error stream and returns.
  static void ReportValidationFailure(const char* condition);
  /// Stops the process by a write through a null pointer, so that a debugger or core dump shows the caller.
  [[noreturn]] static void Stop();
};
