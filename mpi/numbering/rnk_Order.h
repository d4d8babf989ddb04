#pragma once

#include <mpi/numbering/rnk_System.h>

/// A solver's order of a numbered system: a permutation of all its DOFs, first those that the solver uses, in
/// its order, then the others ascending.
/// Threads: a value; each thread uses values of its own.
struct rnk_Order {
  std::vector<std::int64_t> places; // [DOFs of this rank] the place of each
  rnk_Parts rows;                   // which of the solver's own places each rank lists
  unsigned labels = 0;              // that the solver uses
  std::int64_t acoustic = 0;        // how many of its DOFs have label 8

  std::int64_t Count() const { return rows.Total(); }
};

// All that follow are collective, and leave the order as it was where they answer false.

/// Orders by node, and in each node by ascending label. A rank lists the places of the nodes whose places in
/// the solver are the numbers of its own nodes.
/// \param nodeRank    [nodes of this rank] each one's place among all in the solver, from 1, a permutation;
///                    null on all ranks takes the nodes as they come.
/// \param solverMasks [nodes of this rank] the labels that the solver uses, by node and not by rank.
bool rnk_OrderByNodes(const rnk_System& system, const std::int64_t* nodeRank, const int* solverMasks,
                      rnk_Order& order);
/// Orders by a list, of which each rank has a piece, in rank order; a rank lists what it gave.
/// \param count of this piece.
/// \param dofs  [count] null stands for the places themselves.
bool rnk_OrderByList(const rnk_System& system, std::int64_t count, const std::int64_t* dofs,
                     rnk_Order& order);
/// The DOFs at the places that this rank lists.
/// \param order null where each DOF stands at its own place; a rank then lists its own.
/// \param first receives the first of these places.
/// \param dofs  receives the DOF at each.
bool rnk_ListOrder(const rnk_System& system, const rnk_Order* order, std::int64_t& first,
                   std::vector<std::int64_t>& dofs);
