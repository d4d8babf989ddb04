#pragma once

#include <PDM_Core.h>
#include <fes/dpa/fesD_NodalDofDefinition.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A system of a file with its numbering.
struct dofs_Numbering {
  std::unique_ptr<fesD_NodalDofDefinition> dofs;
  bool hasOrder = false;   // whether the system holds a solver order, which is set up then
  std::vector<int> labels; // [nodes] the user's numbers; empty when the system has none
  std::vector<int> places; // [system DOFs] solver DOF, -1 for those that the solver does not use
};

/// Numbers a system's DOFs as its masks say, in the solver order that it holds if it is a modal one. What the
/// file says is looked at before the numbering sees it. Throws cli_Failure when it is not in order.
dofs_Numbering dofs_Number(const std::string& file, const fesD_FESystem& system);

/// Greatest distance from the diagonal in a matrix that couples all DOFs of each element.
struct dofs_Bandwidth {
  int system = 0;            // the solver's DOFs, or all without an order, as the system numbers them
  std::optional<int> solver; // the same in the solver's order
};
/// Reads the mesh's connectivity. None when the mesh has none.
std::optional<dofs_Bandwidth> dofs_FindBandwidth(const std::string& file, const msfD_Mesh& mesh,
                                                 const dofs_Numbering& numbering);
