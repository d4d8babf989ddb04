#pragma once

#include "heat_Bar.h"
#include "heat_Matrices.h"

#include <Eigen/SparseCholesky>

/// The bar in one process, by a factorised matrix.
class heat_Solver {
 public:
  /// Throws pdm::Error, or std::runtime_error for a mesh that is none of solids in space.
  heat_Solver(const pdm::Mesh& mesh, const heat_Problem& problem);

  const heat_Bar& Bar() const { return m_bar; }
  /// One step of the trapezoidal rule, of second order in time.
  /// \param now  [nodes] temperatures.
  /// \return [nodes] those a step later.
  Eigen::VectorXd Next(const Eigen::VectorXd& now);

 private:
  void Prepare();

  pdm::Mesh m_mesh;
  Eigen::Matrix3Xd m_points;
  heat_Bar m_bar;
  bool m_ready = false;
  Eigen::SparseMatrix<double> m_before; // what the temperatures of a step are multiplied by
  Eigen::SimplicialLDLT<Eigen::SparseMatrix<double>> m_after;
};
