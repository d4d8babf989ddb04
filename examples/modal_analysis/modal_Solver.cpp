#include "modal_Solver.h"

#include <Eigen/Eigenvalues>
#include <Eigen/SparseCholesky>
#include <Spectra/MatOp/SparseSymMatProd.h>
#include <Spectra/SymGEigsShiftSolver.h>

#include <algorithm>
#include <cmath>
#include <variant>

namespace {

/// L D L' of a symmetric matrix. In the order that the DOFs have, as long as that is cheap; beyond, where a
/// band fills with millions of zeros, in an order of its own.
class Factors {
 public:
  Factors(const modal_Matrix& matrix, const modal_Envelope& envelope) {
    constexpr double kCheap = 1e11; // multiplications
    if (static_cast<double>(envelope.profile) * envelope.bandwidth > kCheap)
      m_factors.emplace<1>();
    std::visit([&](auto& factors) { factors.compute(matrix); }, m_factors);
    if (std::visit([](const auto& factors) { return factors.info(); }, m_factors) != Eigen::Success)
      throw modal_Failure("the stiffness matrix cannot be factorised");
  }
  Eigen::VectorXd Solve(const Eigen::VectorXd& right) const {
    return std::visit([&](const auto& factors) -> Eigen::VectorXd { return factors.solve(right); },
                      m_factors);
  }
  /// Number of negative eigenvalues of the matrix, by the law of inertia.
  Eigen::Index Negative() const {
    return std::visit([](const auto& factors) { return (factors.vectorD().array() < 0).count(); }, m_factors);
  }

 private:
  template <class Ordering>
  using Ldlt = Eigen::SimplicialLDLT<modal_Matrix, Eigen::Lower, Ordering>;
  std::variant<Ldlt<Eigen::NaturalOrdering<int>>, Ldlt<Eigen::AMDOrdering<int>>> m_factors;
};

/// y = (K - shift M)^-1 x without the modes that are known already, as Spectra asks for it.
class ShiftInverse {
 public:
  using Scalar = double;
  ShiftInverse(const Factors& factors, const modal_Matrix& mass, const Eigen::MatrixXd& known)
      : m_factors(factors), m_mass(mass), m_known(known) {}

  Eigen::Index rows() const { return m_mass.rows(); }
  Eigen::Index cols() const { return m_mass.cols(); }
  void set_shift(double) {} // the factors have it
  void perform_op(const double* x, double* y) const {
    const Eigen::VectorXd solution = m_factors.Solve(Eigen::Map<const Eigen::VectorXd>(x, rows()));
    Eigen::Map<Eigen::VectorXd>(y, rows()) =
        solution - m_known * (m_known.transpose() * modal_Times(m_mass, solution));
  }

 private:
  const Factors& m_factors;
  const modal_Matrix& m_mass;
  const Eigen::MatrixXd& m_known;
};

class Search {
 public:
  Search(const modal_Matrices& matrices, const modal_Envelope& envelope, double shift)
      : m_matrices(matrices), m_envelope(envelope), m_shift(shift),
        m_factors(matrices.stiffness - shift * matrices.mass, envelope), m_shapes(matrices.mass.rows(), 0) {}

  modal_Modes Lowest(Eigen::Index count) {
    constexpr int kRounds = 12; // each finds at least one mode of a group of equal ones
    Eigen::Index missing = count;
    for (int round = 0; missing > 0; ++round) {
      if (round == kRounds)
        throw modal_Failure("the search for modes has not come to an end: " + std::to_string(missing) +
                            " still missing");
      Find(std::min(missing, m_shapes.rows() - m_shapes.cols() - 1));
      missing = Missing(count);
    }
    return Result(count);
  }

 private:
  void Find(Eigen::Index count) {
    const Eigen::Index size = m_shapes.rows(), width = std::min(size, std::max<Eigen::Index>(3 * count, 30));
    ShiftInverse inverse(m_factors, m_matrices.mass, m_shapes);
    Spectra::SparseSymMatProd<double, Eigen::Lower> mass(m_matrices.mass);
    Spectra::SymGEigsShiftSolver<ShiftInverse, decltype(mass), Spectra::GEigsMode::ShiftInvert> solver(
        inverse, mass, count, width, m_shift);
    solver.init();
    solver.compute(Spectra::SortRule::LargestMagn, 1000, 1e-12);
    if (solver.info() != Spectra::CompInfo::Successful)
      throw modal_Failure("the search for modes does not converge");
    Eigen::MatrixXd all(size, m_shapes.cols() + count);
    all << m_shapes, solver.eigenvectors(count);
    Improve(std::move(all));
  }

  /// The best modes within the space of some columns, orthonormal in the mass.
  void Improve(Eigen::MatrixXd columns) {
    for (Eigen::Index i = 0; i < columns.cols(); ++i)
      columns.col(i).normalize();
    const Eigen::MatrixXd stiffness = columns.transpose() * modal_Times(m_matrices.stiffness, columns);
    const Eigen::MatrixXd mass = columns.transpose() * modal_Times(m_matrices.mass, columns);
    const Eigen::GeneralizedSelfAdjointEigenSolver<Eigen::MatrixXd> small(stiffness, mass);
    if (small.info() != Eigen::Success)
      throw modal_Failure("the modes that were found depend on each other");
    m_shapes = columns * small.eigenvectors();
    m_eigenvalues = small.eigenvalues();
  }

  /// How many modes below the highest of the first `count` have not been found.
  Eigen::Index Missing(Eigen::Index count) const {
    if (m_eigenvalues.size() < count)
      return count - m_eigenvalues.size();
    const double highest = m_eigenvalues[count - 1];
    const double above = highest + 1e-6 * (highest - m_shift);
    const Factors factors(m_matrices.stiffness - above * m_matrices.mass, m_envelope);
    return factors.Negative() - (m_eigenvalues.array() < above).count();
  }

  modal_Modes Result(Eigen::Index count) const {
    modal_Modes modes{m_eigenvalues.head(count), m_shapes.leftCols(count), 0};
    const Eigen::MatrixXd left = modal_Times(m_matrices.stiffness, modes.shapes);
    const Eigen::MatrixXd right = modal_Times(m_matrices.mass, modes.shapes);
    for (Eigen::Index i = 0; i < count; ++i) {
      const double scale = left.col(i).norm() + std::abs(m_shift) * right.col(i).norm();
      modes.residual =
          std::max(modes.residual, (left.col(i) - modes.eigenvalues[i] * right.col(i)).norm() / scale);
    }
    return modes;
  }

  const modal_Matrices& m_matrices;
  modal_Envelope m_envelope;
  double m_shift;
  Factors m_factors;
  Eigen::MatrixXd m_shapes;
  Eigen::VectorXd m_eigenvalues;
};

/// All modes of a small system.
modal_Modes SolveDense(const modal_Matrices& matrices, Eigen::Index count) {
  const Eigen::MatrixXd unit = Eigen::MatrixXd::Identity(matrices.mass.rows(), matrices.mass.cols());
  const Eigen::MatrixXd stiffness = modal_Times(matrices.stiffness, unit);
  const Eigen::MatrixXd mass = modal_Times(matrices.mass, unit);
  const Eigen::GeneralizedSelfAdjointEigenSolver<Eigen::MatrixXd> solver(stiffness, mass);
  if (solver.info() != Eigen::Success)
    throw modal_Failure("the mass matrix is not positive definite");
  modal_Modes modes{solver.eigenvalues().head(count), solver.eigenvectors().leftCols(count), 0};
  const Eigen::MatrixXd forces = stiffness * modes.shapes;
  modes.residual = (forces - mass * modes.shapes * modes.eigenvalues.asDiagonal()).norm() /
                   std::max(forces.norm(), 1e-300);
  return modes;
}

} // namespace

modal_Modes modal_Solve(const modal_Matrices& matrices, const modal_Envelope& envelope, int count,
                        double shift) {
  const Eigen::Index size = matrices.mass.rows(), wanted = std::min<Eigen::Index>(count, size);
  if (size <= 4 * wanted + 60)
    return SolveDense(matrices, wanted);
  // In units in which the shift is -1 and masses are about 1, for the thresholds of the iteration are
  // absolute.
  const double mass = matrices.mass.diagonal().mean();
  const modal_Matrices scaled{matrices.stiffness / (mass * -shift), matrices.mass / mass, matrices.volume};
  modal_Modes modes = Search(scaled, envelope, -1).Lowest(wanted);
  modes.eigenvalues *= -shift;
  modes.shapes /= std::sqrt(mass);
  return modes;
}
