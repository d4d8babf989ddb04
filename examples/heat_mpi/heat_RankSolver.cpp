#include "heat_RankSolver.h"

#include <utility>

namespace {
constexpr double kEnough = 1e-15; // of the right-hand side's norm: runs differ by round-off, not by this
constexpr int kMostRounds = 10000;
} // namespace

heat_RankSolver::heat_RankSolver(const heat_Halo& halo, const heat_Matrices& matrices, const heat_Bar& bar)
    : m_halo(&halo), m_before(matrices.capacity - bar.Half() * matrices.conduction),
      m_after(matrices.capacity + bar.Half() * matrices.conduction) {
  m_free.resize(m_after.rows());
  for (Eigen::Index node = 0; node < m_free.size(); ++node)
    m_free[node] = bar.AtEnd(node) ? 0 : 1;
  Eigen::VectorXd diagonal = m_after.diagonal();
  halo.Sum(diagonal);
  m_inverse = diagonal.array().inverse();
}

Eigen::VectorXd heat_RankSolver::Times(const Eigen::SparseMatrix<double>& matrix,
                                       const Eigen::VectorXd& values) const {
  Eigen::VectorXd product = matrix * values;
  m_halo->Sum(product);
  return product.array() * m_free;
}

Eigen::VectorXd heat_RankSolver::Next(const Eigen::VectorXd& now) const {
  const Eigen::VectorXd wanted = Times(m_before, now);
  Eigen::VectorXd result = now.array() * m_free, rest = wanted - Times(m_after, result);
  Eigen::VectorXd scaled = rest.array() * m_inverse, direction = scaled;
  const double enough = kEnough * kEnough * m_halo->Dot(wanted, (wanted.array() * m_inverse).matrix());
  double error = m_halo->Dot(rest, scaled);
  for (int round = 0; !(error <= enough); ++round) {
    if (round == kMostRounds)
      throw heat_Failure("the temperatures of a step could not be found in " + std::to_string(kMostRounds) +
                         " rounds");
    const Eigen::VectorXd pulled = Times(m_after, direction);
    const double length = error / m_halo->Dot(direction, pulled);
    result += length * direction;
    rest -= length * pulled;
    scaled = rest.array() * m_inverse;
    const double before = std::exchange(error, m_halo->Dot(rest, scaled));
    direction = scaled + error / before * direction;
  }
  return result;
}
