#include "heat_Bar.h"

#include "heat_Matrices.h"

#include <cmath>
#include <numbers>
#include <stdexcept>

namespace {
constexpr double kNear = 1e-9; // of the length: nodes at an end
}

heat_Bar::heat_Bar(const pdm::Mesh& mesh, const heat_Problem& problem) : m_mesh(mesh), m_problem(problem) {
  if (mesh.dimension() != 3)
    throw std::runtime_error("expected a mesh in space, found " + std::to_string(mesh.dimension()) +
                             " dimensions");
  m_points.resize(3, mesh.node_count());
  mesh.node_fields()["coordinates"].read(
      std::span(m_points.data(), static_cast<std::size_t>(m_points.size()))); // [nodes][3]
  const double low = m_points.row(0).minCoeff();
  m_length = m_points.row(0).maxCoeff() - low;
  if (!(m_length > 0))
    throw std::runtime_error("the mesh has no length along x");
  m_along = (m_points.row(0).array() - low) / m_length;
}

Eigen::VectorXd heat_Bar::Begin() const {
  return 4 * m_problem.warmest * m_along * (1 - m_along);
}

void heat_Bar::Prepare() {
  const heat_Matrices matrices = heat_Assemble(m_mesh, m_points);
  const double half = m_problem.diffusivity * m_problem.end / m_problem.steps / 2;
  m_before = matrices.capacity - half * matrices.conduction;
  Eigen::SparseMatrix<double> after = matrices.capacity + half * matrices.conduction;
  const auto atEnd = [&](Eigen::Index node) { return m_along[node] < kNear || m_along[node] > 1 - kNear; };
  m_before.prune([&](Eigen::Index row, Eigen::Index, double) { return !atEnd(row); });
  after.prune([&](Eigen::Index row, Eigen::Index column, double) {
    return row == column || (!atEnd(row) && !atEnd(column)); // the ends stay at 0
  });
  m_after.compute(after);
  if (m_after.info() != Eigen::Success)
    throw std::runtime_error("the matrix could not be factorised");
  m_ready = true;
}

Eigen::VectorXd heat_Bar::Next(const Eigen::VectorXd& now) {
  if (!m_ready)
    Prepare();
  return m_after.solve(m_before * now);
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
