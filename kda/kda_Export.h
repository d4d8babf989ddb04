#pragma once

// Marks what the PDM_Core library gives to its users; everything else is hidden.
#if defined(__GNUC__)
#define PDM_CORE_API __attribute__((visibility("default")))
#define PDM_CORE_USED __attribute__((used))
#else
#define PDM_CORE_API
#define PDM_CORE_USED
#endif

// Marks an inline function that the library gives as well, for programs that only declare it. The copy stands
// in each source file that defines PDM_CORE_KEEP_INLINE before it includes anything.
#ifdef PDM_CORE_KEEP_INLINE
#define PDM_CORE_INLINE_API PDM_CORE_API PDM_CORE_USED
#else
#define PDM_CORE_INLINE_API PDM_CORE_API
#endif
