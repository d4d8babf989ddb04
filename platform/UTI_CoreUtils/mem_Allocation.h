#pragma once

#include <UTI_CoreUtils/UTI_CoreUtils_Export.h>

#include <cstddef>

// One heap stands behind all five functions: mem_Free takes what any of the others returned, and
// mem_Realloc may grow any of it. Blocks are aligned for every standard type (16 bytes).
//
// Threads: all five may be called from any thread at any time.

/// Allocates n bytes (n = 0 gives a distinct block). Throws std::bad_alloc on exhaustion.
UTI_CORE_API void* mem_OperatorNewThrow(std::size_t n);

/// As mem_OperatorNewThrow, for objects of a few machine words.
UTI_CORE_API void* mem_OperatorNewTinyThrow(std::size_t n);

/// As mem_OperatorNewThrow, for arrays of built-in types.
UTI_CORE_API void* mem_OperatorNewThrowBuiltin(std::size_t n);

/// Grows or shrinks a block, moving its bytes. A null block allocates.
/// \return the block's new place, or null on exhaustion, in which case the old block stays as it was.
UTI_CORE_API void* mem_Realloc(void* block, std::size_t n);

/// Releases a block; null is allowed.
UTI_CORE_API void mem_Free(void* block);

/// Class-level allocation operators for little objects that come and go often.
class mem_AllocationOperatorsTiny {
 public:
  static void* operator new(std::size_t n) { return mem_OperatorNewTinyThrow(n); }
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* block) noexcept { mem_Free(block); }
  static void operator delete(void*, void*) noexcept {}
};
