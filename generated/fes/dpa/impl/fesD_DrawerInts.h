#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Distribution.h>

/// Reads the first drawer of a distribution, which must hold one int a row.
/// \param count receives its rows, 0 when it cannot be read: the gbb_Call under way tells why.
/// \return [count] an array from the core allocator, the caller's.
int* fesD_ReadDrawerInts(const ORXSimDistributionRef& distribution, int& count);
