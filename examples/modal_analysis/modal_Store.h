#pragma once

#include "modal_Solver.h"

#include <string>

/// Names of units, for people who look into the file.
struct modal_Units {
  const char *name, *length, *mass, *stress, *density, *shape;
};

/// Everything that an analysis leaves in the file besides the numbering.
struct modal_Results {
  std::string name;
  modal_Material material;
  modal_Units units;
  const modal_Modes& modes;
  int rigid; // how many of the modes, from the first on, are rigid-body motions
};

// Keys in a modal system's userDistributions.
inline constexpr char modal_kEigenvalues[] = "eigenvalues"; // over the modes, (rad/s)^2
inline constexpr char modal_kFrequencies[] = "frequencies"; // over the modes, Hz
inline constexpr char modal_kShapes[] = "modeShapes";       // drawer k is mode k, 3 components over the nodes
inline constexpr char modal_kYoung[] = "youngsModulus";     // each over a collection of one material
inline constexpr char modal_kPoisson[] = "poissonsRatio";
inline constexpr char modal_kDensity[] = "density";

/// Whether the mesh has a system of that name.
bool modal_HasSystem(const msfD_Mesh& mesh, const std::string& name);

/// Adds a modal system with labels and masks to the mesh. Call it, and modal_StoreResults, within one
/// ORXSimUpdate.
/// \param masks [nodes]
fesD_ModalSystem modal_AddSystem(const msfD_Mesh& mesh, const modal_Mesh& model, const std::string& name,
                                 const std::vector<int>& masks);

/// Stores DOFs, modes, the solver's order and the results in the system.
void modal_StoreResults(const msfD_Mesh& mesh, const fesD_ModalSystem& system,
                        const fesD_NodalDofDefinition& dofs, const modal_Results& results);
