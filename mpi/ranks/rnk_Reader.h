#pragma once

#include <mpi/ranks/rnk_Ranges.h>
#include <mpi/ranks/rnk_State.h>

/// Reads rows of one drawer, each rank those of its range, and holds them against their checksums.
/// Collective.
/// \param ranges  within the drawer; may overlap.
/// \param rows  this rank's.
/// \return the same on every rank, with the same last error.
bool rnk_Read(const rnk_State& state, ORXSimDistributionID distribution, int drawer, const rnk_Ranges& ranges,
              unsigned char* rows);
