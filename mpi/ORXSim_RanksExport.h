#pragma once

// Marks what the shared library gives to its users; everything else is hidden.
#if defined(__GNUC__)
#define ORXSIM_MPI_API __attribute__((visibility("default")))
#else
#define ORXSIM_MPI_API
#endif
