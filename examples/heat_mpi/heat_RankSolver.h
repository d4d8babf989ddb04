#pragma once

#include "heat_Bar.h"
#include "heat_Halo.h"
#include "heat_Matrices.h"

/// The bar on many ranks: each multiplies by the matrices of its own elements, and the halo adds up what
/// several ranks have of a node. No rank has the matrices of the whole.
class heat_RankSolver {
 public:
  /// Every rank.
  /// \param matrices  of this rank's elements.
  /// \param bar       of this rank's nodes.
  heat_RankSolver(const heat_Halo& halo, const heat_Matrices& matrices, const heat_Bar& bar);

  /// One step of the trapezoidal rule, by conjugate gradients. Every rank; throws heat_Failure on all of them
  /// when they do not end.
  /// \param now  [nodes of this rank] temperatures.
  /// \return [nodes of this rank] those a step later.
  Eigen::VectorXd Next(const Eigen::VectorXd& now) const;

 private:
  Eigen::VectorXd Times(const Eigen::SparseMatrix<double>& matrix, const Eigen::VectorXd& values) const;

  const heat_Halo* m_halo;
  Eigen::SparseMatrix<double> m_before, m_after; // as in one process, of our elements
  Eigen::ArrayXd m_free;                         // [nodes] 1, and 0 for those at the ends
  Eigen::ArrayXd m_inverse;                      // [nodes] of the diagonal of the whole m_after
};
