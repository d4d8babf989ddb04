#pragma once

#include <kda/kda_Export.h>

/// Brings the module up on the first call.
/// \param modules  the caller's counter of modules brought up.
/// Threads: one call at a time of this and kda_finalize.
PDM_CORE_API void kda_initialize(int& modules);
/// Takes the module down on the last call.
/// \param modules  the caller's counter of modules brought up.
/// Threads: one call at a time of this and kda_initialize.
PDM_CORE_API void kda_finalize(int& modules);
