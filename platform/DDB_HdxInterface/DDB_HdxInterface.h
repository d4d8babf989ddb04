#pragma once

#if defined(__GNUC__)
#define DDB_HDX_API __attribute__((visibility("default")))
#else
#define DDB_HDX_API
#endif

// Threads: any, at any time.

/// Brings the module up on the first call.
/// \param modules the caller's counter of modules brought up.
DDB_HDX_API void DDB_HdxInterface_initialize(int& modules);
/// Takes the module down on the last call.
/// \param modules the caller's counter of modules brought up.
DDB_HDX_API void DDB_HdxInterface_finalize(int& modules);
