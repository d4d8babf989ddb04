#pragma once

#include <mpi/numbering/rnk_Parts.h>

#include <mpi/agree/rnk_Agreement.h>

#include <functional>

/// Brings numbers that the ranks have to rank 0, in rank order and piece by piece. Collective.
/// \param parts  whose they are.
/// \param mine   those of this rank.
/// \param piece  the most that come at once.
/// \param take   gets each piece, on rank 0 alone; does not throw.
/// \return false on all ranks when one lacks memory.
bool rnk_BringPieces(const rnk_Agreement& ranks, const rnk_Parts& parts, const std::int64_t* mine, int piece,
                     const std::function<void(const std::int64_t* numbers, int count)>& take);
