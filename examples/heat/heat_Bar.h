#pragma once

#include <Eigen/Core>
#include <Eigen/SparseCholesky>
#include <pdm/pdm.hpp>

/// What is computed: a bar along x, insulated at its sides, that is as warm as a parabola at time 0,
/// `warmest` in the middle and 0 at its ends, which are kept at 0. Any consistent units.
struct heat_Problem {
  double diffusivity = 1e-2; // area by time
  double warmest = 100;
  double end = 0; // the last step's time
  int steps = 0;  // of equal length, after the one at time 0
};

/// The bar of a mesh.
class heat_Bar {
 public:
  /// Throws pdm::Error, or std::runtime_error for a mesh that is none of solids in space.
  explicit heat_Bar(const pdm::Mesh& mesh, const heat_Problem& problem);

  /// \return [nodes] the temperatures at time 0.
  Eigen::VectorXd Begin() const;
  /// One step of the trapezoidal rule, of second order in time.
  /// \param now  [nodes] temperatures.
  /// \return [nodes] those a step later.
  Eigen::VectorXd Next(const Eigen::VectorXd& now);
  /// The exact temperatures: the sum over odd k of 32 warmest / (k pi)^3 sin(k pi x / L) exp(-a (k pi / L)^2
  /// t) (H. S. Carslaw, J. C. Jaeger: Conduction of Heat in Solids, 1959, section 3.3).
  Eigen::VectorXd Series(double time) const;
  /// \return the time of a step, from 0.
  double Time(int step) const { return m_problem.end * step / m_problem.steps; }

 private:
  void Prepare();

  pdm::Mesh m_mesh;
  heat_Problem m_problem;
  Eigen::Matrix3Xd m_points;
  Eigen::ArrayXd m_along; // [nodes] place along the bar, 0 to 1
  double m_length = 0;
  bool m_ready = false;
  Eigen::SparseMatrix<double> m_before; // what the temperatures of a step are multiplied by
  Eigen::SimplicialLDLT<Eigen::SparseMatrix<double>> m_after;
};
