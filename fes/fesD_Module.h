#pragma once

#include <kda/kda_Export.h>

// Threads: any, at any time.

/// Brings the module up on the first call.
/// \param modules  the caller's counter of modules brought up.
PDM_CORE_API void fesD_initialize(int& modules);
/// Takes the module down on the last call.
/// \param modules  the caller's counter of modules brought up.
PDM_CORE_API void fesD_finalize(int& modules);
