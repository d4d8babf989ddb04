#include "heat_Solver.h"

#include <stdexcept>

namespace {
Eigen::Matrix3Xd pointsOf(const pdm::Mesh& mesh) {
  heat_RequireSpace(mesh);
  Eigen::Matrix3Xd points(3, mesh.node_count());
  mesh.node_fields()["coordinates"].read(
      std::span(points.data(), static_cast<std::size_t>(points.size()))); // [nodes][3]
  return points;
}
} // namespace

heat_Solver::heat_Solver(const pdm::Mesh& mesh, const heat_Problem& problem)
    : m_mesh(mesh), m_points(pointsOf(mesh)),
      m_bar(m_points, m_points.row(0).minCoeff(), m_points.row(0).maxCoeff(), problem) {}

void heat_Solver::Prepare() {
  std::vector<heat_Elements> blocks;
  for (const pdm::Block& block : m_mesh.blocks()) {
    heat_RequireType(block.type(), block.nodes_per_element());
    blocks.push_back({block.number(),
                      block.type(),
                      block.nodes_per_element(),
                      block.connectivity().read<int>(), // 0-based
                      {}});
  }
  const heat_Matrices matrices = heat_Assemble(blocks, m_points);
  m_before = matrices.capacity - m_bar.Half() * matrices.conduction;
  Eigen::SparseMatrix<double> after = matrices.capacity + m_bar.Half() * matrices.conduction;
  m_before.prune([&](Eigen::Index row, Eigen::Index, double) { return !m_bar.AtEnd(row); });
  after.prune([&](Eigen::Index row, Eigen::Index column, double) {
    return row == column || (!m_bar.AtEnd(row) && !m_bar.AtEnd(column)); // the ends stay at 0
  });
  m_after.compute(after);
  if (m_after.info() != Eigen::Success)
    throw std::runtime_error("the matrix could not be factorised");
  m_ready = true;
}

Eigen::VectorXd heat_Solver::Next(const Eigen::VectorXd& now) {
  if (!m_ready)
    Prepare();
  return m_after.solve(m_before * now);
}
