#pragma once

#include <mpi/numbering/rnk_Parts.h>

#include <mpi/agree/rnk_Agreement.h>

#include <functional>

/// Rows that the ranks have in rank order, such as those of a drawer.
/// Threads: a value; each thread uses values of its own.
struct rnk_Rows {
  rnk_Parts parts;   // whose they are
  std::size_t bytes; // of one
  /// Fills in rows of this rank; counts from its first row.
  std::function<void(std::int64_t first, std::int64_t count, void* rows)> fill;
};

/// Takes some rows, on rank 0; counts from the first of all. False ends the whole, with a cause.
using rnk_TakeRows = std::function<bool(std::int64_t first, int count, const void* rows, std::string& cause)>;

/// Brings all rows to rank 0, in their order and in pieces. Collective.
/// \param rows   with the same parts and bytes on all ranks.
/// \param take   called on rank 0 alone.
/// \param piece  the most rows that it gets at once.
/// \return false on all ranks when it says false.
bool rnk_BringRows(const rnk_Agreement& ranks, const rnk_Rows& rows, const rnk_TakeRows& take, int piece);
