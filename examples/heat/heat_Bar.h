#pragma once

#include <Eigen/Core>
#include <pdm/pdm.hpp>

/// What is computed: a bar along x, insulated at its sides, that is as warm as a parabola at time 0,
/// `warmest` in the middle and 0 at its ends, which are kept at 0. Any consistent units.
struct heat_Problem {
  double diffusivity = 1e-2; // area by time
  double warmest = 100;
  double end = 600; // the last step's time
  int steps = 30;   // of equal length, after the one at time 0

  /// \return the time of a step, from 0.
  double Time(int step) const { return end * step / steps; }
};

/// Throws std::runtime_error for a mesh that is none in space, and pdm::Error.
void heat_RequireSpace(const pdm::Mesh& mesh);

/// Nodes of the bar, and what is known of them without computing.
class heat_Bar {
 public:
  /// \param points  [3 x nodes] coordinates, of all nodes or some.
  /// \param low, high  where the bar begins and ends along x.
  /// Throws std::runtime_error for a bar without length.
  heat_Bar(const Eigen::Matrix3Xd& points, double low, double high, const heat_Problem& problem);

  const heat_Problem& Problem() const { return m_problem; }
  /// \return [nodes] the temperatures at time 0.
  Eigen::VectorXd Begin() const;
  /// The exact temperatures: the sum over odd k of 32 warmest / (k pi)^3 sin(k pi x / L) exp(-a (k pi / L)^2
  /// t) (H. S. Carslaw, J. C. Jaeger: Conduction of Heat in Solids, 1959, section 3.3).
  Eigen::VectorXd Series(double time) const;
  /// \return whether the node is kept at 0.
  bool AtEnd(Eigen::Index node) const;
  /// \return what a step of the trapezoidal rule multiplies the conduction by: a half of a dt.
  double Half() const { return m_problem.diffusivity * m_problem.Time(1) / 2; }

 private:
  heat_Problem m_problem;
  Eigen::ArrayXd m_along; // [nodes] place along the bar, 0 to 1
  double m_length = 0;
};
