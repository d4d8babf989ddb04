#pragma once

#include <mpi/ranks/rnk_Ranges.h>
#include <mpi/ranks/rnk_State.h>

/// Writes all rows of one drawer, each rank those of its range. Collective, within an update scope of rank
/// 0's.
/// \param ranges  tile the drawer.
/// \param rows  this rank's.
/// \return the same on every rank, with the same last error.
bool rnk_Write(const rnk_State& state, ORXSimDistributionID distribution, int drawer,
               const rnk_Ranges& ranges, const unsigned char* rows);
