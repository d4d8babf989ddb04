#pragma once

#include "modal_Beam.h"
#include "modal_Solver.h"

/// One mode beside theory. Frequencies in Hz.
struct modal_Comparison {
  double frequency = 0;
  std::string kind;                 // "rigid", "bending y", "axial", "torsion" or "other"
  int number = 0;                   // among those of its kind, from 1; 0 for rigid and other ones
  std::optional<double> euler;      // bending: Euler-Bernoulli; axial, torsion: the wave formula
  std::optional<double> timoshenko; // bending only
};

/// \param rigid number of modes from the first on that are rigid-body motions.
/// \param beam  none: modes are only told apart into rigid and other ones.
std::vector<modal_Comparison> modal_Compare(const modal_Mesh& mesh, const fesD_NodalDofDefinition& dofs,
                                            const modal_Matrices& matrices, const modal_Modes& modes,
                                            int rigid, const std::optional<modal_Beam>& beam);
