#pragma once

#include <mpi/ranks/rnk_Ranges.h>
#include <mpi/ranks/rnk_State.h>

/// Moves rows through rank 0, in pieces of some MiB: where ranks cannot reach the file, or a drawer cannot be
/// lent. Collective. The answer is the same on every rank, with the same last error.

/// \param loan  rank 0's, of a drawer whose space is lent to rank 0 itself (`place.direct`), else empty.
bool rnk_FunnelWrite(const rnk_State& state, ORXSimDistributionID distribution, int drawer,
                     ORXSimDrawerLoan& loan, const ORXSimDrawerPlace& place, const rnk_Ranges& ranges,
                     const unsigned char* rows);
/// \param ranges  what each rank takes; may overlap.
bool rnk_FunnelRead(const rnk_State& state, ORXSimDistributionID distribution, int drawer,
                    const ORXSimDrawerPlace& place, const rnk_Ranges& ranges, unsigned char* rows);
