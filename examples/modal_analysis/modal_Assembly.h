#pragma once

#include "modal_Numbering.h"

#include <Eigen/SparseCore>

/// The lower triangle of a symmetric matrix.
using modal_Matrix = Eigen::SparseMatrix<double>;

/// Stiffness and mass of the solver's DOFs, in the solver's order.
struct modal_Matrices {
  modal_Matrix stiffness, mass; // lower triangles with the same entries
  double volume = 0;            // of the solids
};

/// \param dofs a numbering of the mesh's displacements with a solver order.
/// Throws when an element is flat or folded. Cost: O(elements) and the matrices' own storage.
modal_Matrices modal_Assemble(const std::string& file, const modal_Mesh& mesh,
                              const modal_Neighbours& neighbours, const fesD_NodalDofDefinition& dofs,
                              const modal_Material& material);

/// The product of a whole symmetric matrix with columns.
inline Eigen::MatrixXd modal_Times(const modal_Matrix& lower, const Eigen::MatrixXd& columns) {
  return lower.selfadjointView<Eigen::Lower>() * columns;
}
