#include "modal_Compare.h"

#include <Eigen/Cholesky>

#include <array>
#include <map>
#include <numbers>

namespace {

enum Family { kBendingFirst, kBendingSecond, kAxial, kTorsion, kFamilies };

/// Motions of a beam whose sections stay plane: of each family a few smooth ones along the beam.
class Motions {
 public:
  Motions(const modal_Mesh& mesh, const fesD_NodalDofDefinition& dofs, const modal_Matrix& mass,
          const modal_Beam& beam)
      : m_mesh(mesh), m_dofs(dofs), m_beam(beam) {
    for (int family = 0; family < kFamilies; ++family) {
      const Eigen::MatrixXd columns = Columns(static_cast<Family>(family));
      m_weighted[static_cast<std::size_t>(family)] = modal_Times(mass, columns);
      m_gram[static_cast<std::size_t>(family)] =
          (columns.transpose() * m_weighted[static_cast<std::size_t>(family)]).ldlt();
    }
  }

  /// The part of a mode's kinetic energy that motions of a family have. \param shape of mass 1.
  double Share(Family family, const Eigen::VectorXd& shape) const {
    const auto i = static_cast<std::size_t>(family);
    const Eigen::VectorXd onto = m_weighted[i].transpose() * shape;
    return onto.dot(m_gram[i].solve(onto));
  }

 private:
  static constexpr int kTerms = 10; // polynomials along the beam

  /// Displacement of a point by function 0 or 1 of a family, before it varies along the beam.
  Eigen::Vector3d Displacement(Family family, int function, const Eigen::Vector3d& arm) const {
    Eigen::Vector3d result = Eigen::Vector3d::Zero();
    const int a = m_beam.across[0], b = m_beam.across[1];
    if (family == kAxial) {
      result[m_beam.axis] = 1;
    } else if (family == kTorsion) {
      result[a] = -arm[b];
      result[b] = arm[a];
    } else if (const int across = m_beam.across[family]; function == 0) {
      result[across] = 1;
    } else {
      result[m_beam.axis] = arm[across]; // the section turns
    }
    return result;
  }

  Eigen::MatrixXd Columns(Family family) const {
    const int functions = family == kBendingFirst || family == kBendingSecond ? 2 : 1;
    Eigen::MatrixXd columns(m_dofs.NumberOfSolverDofs(), functions * kTerms);
    for (int place = 0; place < columns.rows(); ++place) {
      const fesD_NodeDof dof = m_dofs.NodeDofFromSolverDof(place);
      const Eigen::Vector3d arm = m_mesh.points.col(dof.node) - m_beam.centre;
      const int axis = m_dofs.DofLabel(dof.dofId) - 1;
      for (int f = 0; f < functions; ++f) {
        const double value = Displacement(family, f, arm)[axis];
        const double at = 2 * arm[m_beam.axis] / m_beam.length; // -1 to 1
        double before = 0, polynomial = 1;                      // Chebyshev's
        for (int term = 0; term < kTerms; ++term) {
          columns(place, f * kTerms + term) = value * polynomial;
          const double next = (term == 0 ? 1 : 2) * at * polynomial - before;
          before = polynomial;
          polynomial = next;
        }
      }
    }
    return columns;
  }

  const modal_Mesh& m_mesh;
  const fesD_NodalDofDefinition& m_dofs;
  const modal_Beam& m_beam;
  std::array<Eigen::MatrixXd, kFamilies> m_weighted;
  std::array<Eigen::LDLT<Eigen::MatrixXd>, kFamilies> m_gram;
};

/// Names modes and counts those of each kind.
class Namer {
 public:
  explicit Namer(const modal_Beam& beam) : m_beam(beam) {}

  void Name(const Motions& motions, const Eigen::VectorXd& shape, modal_Comparison& mode) {
    std::array<double, kFamilies> shares{};
    for (int i = 0; i < kFamilies; ++i)
      shares[static_cast<std::size_t>(i)] = motions.Share(static_cast<Family>(i), shape);
    const double bending = shares[kBendingFirst] + shares[kBendingSecond];
    if (bending > 0.75)
      NameBending(shares[kBendingFirst] < shares[kBendingSecond] ? 1 : 0, mode);
    else if (shares[kAxial] > 0.75)
      NameWave("axial", &modal_Axial, mode);
    else if (shares[kTorsion] > 0.75)
      NameWave("torsion", &modal_Torsion, mode);
    else
      mode.kind = "other";
  }

 private:
  void NameBending(int plane, modal_Comparison& mode) {
    // The modes of a square section come in pairs and may lie in any two planes: they are named in turn.
    if (std::abs(m_beam.width[0] - m_beam.width[1]) < 1e-6 * m_beam.width[0])
      plane = m_bending++ % 2;
    mode.kind = std::string("bending ") + static_cast<char>('x' + m_beam.across[plane]);
    mode.number = ++m_numbers[mode.kind];
    mode.euler = Last(modal_EulerBending(m_beam, plane, mode.number), mode.number);
    mode.timoshenko = Last(modal_TimoshenkoBending(m_beam, plane, mode.number), mode.number);
  }
  void NameWave(const char* kind, std::vector<double> (*theory)(const modal_Beam&, int),
                modal_Comparison& mode) {
    mode.kind = kind;
    mode.number = ++m_numbers[mode.kind];
    mode.euler = theory(m_beam, mode.number).back();
  }
  static std::optional<double> Last(const std::vector<double>& frequencies, int wanted) {
    return static_cast<int>(frequencies.size()) == wanted ? std::optional(frequencies.back()) : std::nullopt;
  }

  const modal_Beam& m_beam;
  int m_bending = 0;
  std::map<std::string, int> m_numbers;
};

} // namespace

std::vector<modal_Comparison> modal_Compare(const modal_Mesh& mesh, const fesD_NodalDofDefinition& dofs,
                                            const modal_Matrices& matrices, const modal_Modes& modes,
                                            int rigid, const std::optional<modal_Beam>& beam) {
  std::optional<Motions> motions;
  std::optional<Namer> namer;
  if (beam) {
    motions.emplace(mesh, dofs, matrices.mass, *beam);
    namer.emplace(*beam);
  }
  std::vector<modal_Comparison> result;
  for (int i = 0; i < modes.eigenvalues.size(); ++i) {
    modal_Comparison& mode = result.emplace_back();
    mode.frequency = std::sqrt(std::max(0.0, modes.eigenvalues[i])) / (2 * std::numbers::pi);
    mode.kind = i < rigid ? "rigid" : "other";
    if (i >= rigid && beam)
      namer->Name(*motions, modes.shapes.col(i), mode);
  }
  return result;
}
