#pragma once

// Marks what the shared library gives to its users; everything else is hidden.
#if defined(__GNUC__)
#define UTI_BASIC_API __attribute__((visibility("default")))
#else
#define UTI_BASIC_API
#endif
