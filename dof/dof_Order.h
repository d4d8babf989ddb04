#pragma once

#include <dof/dof_System.h>

// Solver orders. An order is a permutation of all DOFs of a system: those that the solver uses, in its order,
// then the others ascending.
// Threads: these functions share nothing.

/// What of a system a solver uses.
struct dof_Used {
  int count = 0;       // its DOFs, which stand first in the order
  unsigned labels = 0; // the labels of these
  int acoustic = 0;    // how many of these have label 8; counted for lists only
};

/// Orders by node, and in each node by ascending label.
///
/// A mask that names a label that the node has not is reported and aborts the process.
/// \param system      any numbered system.
/// \param nodeRank    [nodes] each node's place in the solver, from 1, a permutation (asserted); null takes
///                    the nodes as they come.
/// \param solverMasks [nodes] the labels that the solver uses, by node and not by rank.
/// \param order       [DOFs] receives the order.
/// \return what the solver uses.
/// Cost: O(nodes + DOFs); one table of nodes ints comes and goes when there are ranks.
dof_Used dof_OrderByNodes(const dof_System& system, const int* nodeRank, const int* solverMasks, int* order);

/// What is wrong with a list of DOFs: the line to report, null when it is in order.
using dof_Fault = const char*;

/// Orders by a list.
/// \param system any numbered system.
/// \param count  any number.
/// \param dofs   [count] the solver's DOFs; null stands for 0, 1, ..., count - 1.
/// \param order  [DOFs] receives the order; its contents mean nothing after a fault.
/// \param used   receives what the solver uses; nothing after a fault.
/// \return the fault of a list that names what is no DOF, names one twice, or cannot have that count.
/// Cost: O(nodes + DOFs); one bit a DOF comes and goes.
dof_Fault dof_OrderByList(const dof_System& system, int count, const int* dofs, int* order, dof_Used& used);

/// Numbers the labels that the solver uses without gaps, ascending: the solver DOF ids.
/// \param labels       all labels in use, as a mask.
/// \param solverLabels those of them that the solver uses.
/// \param solverBySystem [labels in use] receives the solver DOF id of each DOF id, or -1.
/// \param systemBySolver [labels in use] receives the DOF id of each solver DOF id, -1 past the last.
void dof_NumberSolverLabels(unsigned labels, unsigned solverLabels, int* solverBySystem, int* systemBySolver);
