#pragma once

#include <UTI_CoreUtils/UTI_CoreUtils_Export.h>
#include <UTI_CoreUtils/err_Stream.h>
#include <UTI_CoreUtils/mem_Allocation.h>
#include <UTI_CoreUtils/mod_Counter.h>

// Threads: any, at any time.

/// Brings the module up on the first call.
/// \param modules the caller's counter of modules brought up.
UTI_CORE_API void UTI_CoreUtils_initialize(int& modules);
/// Takes the module down on the last call.
/// \param modules the caller's counter of modules brought up.
UTI_CORE_API void UTI_CoreUtils_finalize(int& modules);

#if !defined(_WIN32)
/// Reports a failed assertion, in wide characters, on the error stream and stops the process.
extern "C" [[noreturn]] UTI_CORE_API void _wassert(const wchar_t* expression, const wchar_t* file,
                                                   unsigned line);
#endif
