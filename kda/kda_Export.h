#pragma once

// Marks what the PDM_Core library gives to its users; everything else is hidden.
#if defined(__GNUC__)
#define PDM_CORE_API __attribute__((visibility("default")))
#else
#define PDM_CORE_API
#endif
