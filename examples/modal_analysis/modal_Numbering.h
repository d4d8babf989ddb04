#pragma once

#include "modal_Mesh.h"

#include <fes/dpa/fesD_NodalDofDefinition.h>

#include <cstdint>
#include <vector>

/// The labels 1, 2 and 3 of a node's mask: displacements along x, y and z.
constexpr int modal_kDisplacements = 0b111;

/// Masks of the nodes: displacements where a solid is, nothing elsewhere.
/// \return [nodes]
std::vector<int> modal_ActivityMasks(const modal_Mesh& mesh);
/// What the solver uses of them: nothing at fixed nodes.
/// \param fixed [nodes]
/// \return [nodes]
std::vector<int> modal_SolverMasks(const modal_Mesh& mesh, const std::vector<bool>& fixed);

/// For each node those that share an element with it, itself among them, ascending.
class modal_Neighbours {
 public:
  explicit modal_Neighbours(const modal_Mesh& mesh);
  const std::vector<int>& Of(int node) const { return m_lists[static_cast<std::size_t>(node)]; }
  int Nodes() const { return static_cast<int>(m_lists.size()); }

 private:
  std::vector<std::vector<int>> m_lists;
};

/// The places of the nodes, from 1, in a reverse Cuthill-McKee order.
/// \return [nodes]
/// \param start nodes that are taken together as the first level, such as one end of a long body; with none,
///     each connected part starts at a node far out.
std::vector<int> modal_ReverseCuthillMcKee(const modal_Neighbours& neighbours, const std::vector<int>& start);
/// The nodes at the lower end of the longest side of the box around the solids.
std::vector<int> modal_EndNodes(const modal_Mesh& mesh);

/// The size of a symmetric matrix's envelope.
struct modal_Envelope {
  int bandwidth = 0;        // greatest distance of an entry from the diagonal
  std::int64_t profile = 0; // entries of the lower triangle from the first of each row to the diagonal
};
/// The envelope of the stiffness that couples all DOFs of each element.
/// \param places [system DOFs] row of each, -1 for those that are left out.
modal_Envelope modal_EnvelopeOf(const modal_Neighbours& neighbours, const fesD_NodalDofDefinition& dofs,
                                const std::vector<int>& places);

/// Rows of the solver's DOFs in the solver's order and in the system's.
/// \return [system DOFs] -1 elsewhere.
std::vector<int> modal_PlacesInSolverOrder(const fesD_NodalDofDefinition& dofs);
std::vector<int> modal_PlacesInSystemOrder(const fesD_NodalDofDefinition& dofs);
