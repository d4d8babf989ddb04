#pragma once

#include "modal_Compare.h"

#include <memory>

/// What to compute.
struct modal_Job {
  std::string file, clamp;
  int modes = 10;
  modal_Material material;
};

/// The whole analysis, in memory; nothing is written.
struct modal_Analysis {
  modal_Mesh mesh;
  std::vector<int> masks, solverMasks; // [nodes]
  std::vector<int> ranks;              // [nodes] the solver's order of the nodes, from 1
  int clamped = 0;                     // nodes
  modal_Envelope before, after;        // of the solver's DOFs in the system's order, and in its own
  modal_Modes modes;
  int rigid = 0; // modes without strain, the first ones
  std::vector<modal_Comparison> comparison;
  std::optional<modal_Beam> beam;
  std::unique_ptr<fesD_NodalDofDefinition> dofs;
};

/// Throws modal_Failure when the mesh or the options do not allow an analysis.
modal_Analysis modal_Analyse(const modal_Job& job, const msfD_Mesh& mesh);
