#pragma once

#include <mpi/numbering/rnk_Graph.h>
#include <mpi/numbering/rnk_Order.h>

/// The rows of a sparse matrix that this rank has.
/// Threads: a value; each thread uses values of its own.
struct rnk_Pattern {
  std::vector<std::int64_t> rows, begin, columns;
};

/// Fills in which places of a matrix are not zero whose elements couple all DOFs of their nodes. Collective.
/// \param order   null where each DOF stands at its own place.
/// \param pattern receives the rows of this rank's nodes.
bool rnk_FillPattern(const rnk_System& system, const rnk_Order* order,
                     const std::vector<rnk_Elements>& elements, rnk_Pattern& pattern);
