#pragma once

#include <dof/dof_System.h>

// The DOFs of selected nodes.
// Threads: these functions share nothing.

/// The system DOFs of the selected nodes, ascending.
/// \param system   any numbered system.
/// \param selected [nodes] which of them.
/// \param dofs     [DOFs] receives the result; what lies behind it may be written as well.
/// \return how many there are.
int dof_SelectSystemDofs(const dof_System& system, const bool* selected, int* dofs);

/// The places of the selected nodes' DOFs in an order, ascending.
/// \param system   any numbered system.
/// \param order    [DOFs] a permutation of the system's DOFs.
/// \param selected [nodes] which of them.
/// \param places   [DOFs] receives the result; what lies behind it may be written as well.
/// \return how many there are.
/// Cost: O(DOFs) whatever is selected; one bit a DOF comes and goes.
int dof_SelectPlaces(const dof_System& system, const int* order, const bool* selected, int* places);
