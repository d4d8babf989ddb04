#pragma once

#include <UTI_BasicUtils/cow_String.h>

// Threads: any, at any time.

/// Brings the module up on the first call.
/// \param modules the caller's counter of modules brought up.
UTI_BASIC_API void UTI_BasicUtils_initialize(int& modules);
/// Takes the module down on the last call.
/// \param modules the caller's counter of modules brought up.
UTI_BASIC_API void UTI_BasicUtils_finalize(int& modules);
