#include "heat_Bar.h"

#include <cmath>
#include <numbers>
#include <stdexcept>

namespace {
constexpr double kNear = 1e-9; // of the length: nodes at an end
}

void heat_RequireSpace(const pdm::Mesh& mesh) {
  if (mesh.dimension() != 3)
    throw std::runtime_error("expected a mesh in space, found " + std::to_string(mesh.dimension()) +
                             " dimensions");
}

heat_Bar::heat_Bar(const Eigen::Matrix3Xd& points, double low, double high, const heat_Problem& problem)
    : m_problem(problem), m_length(high - low) {
  if (!(m_length > 0))
    throw std::runtime_error("the mesh has no length along x");
  m_along = (points.row(0).array() - low) / m_length;
}

Eigen::VectorXd heat_Bar::Begin() const {
  return 4 * m_problem.warmest * m_along * (1 - m_along);
}

Eigen::VectorXd heat_Bar::Series(double time) const {
  Eigen::ArrayXd sum = Eigen::ArrayXd::Zero(m_along.size());
  for (int k = 1; k < 200; k += 2) {
    const double wave = k * std::numbers::pi;
    sum += 32 * m_problem.warmest / std::pow(wave, 3) * (wave * m_along).sin() *
           std::exp(-m_problem.diffusivity * std::pow(wave / m_length, 2) * time);
  }
  return sum;
}

bool heat_Bar::AtEnd(Eigen::Index node) const {
  return m_along[node] < kNear || m_along[node] > 1 - kNear;
}
