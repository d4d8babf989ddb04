#include "read_Modes.h"

#include "modal_Assembly.h"
#include "modal_Store.h"
#include "read_Numbering.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <numbers>

namespace {

using Fields = kda_MapString<ORXSimDistributionID>;

std::string Text(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3g", value);
  return text;
}

/// The numbers of a field over the modes, or of a material.
std::vector<double> Numbers(const Fields& fields, const char* name) {
  return fields.isMember(name) ? modal_ReadReals(fields.get(name), 0, name) : std::vector<double>();
}

/// The shapes at the solver's DOFs, and the greatest displacement anywhere else.
struct Shapes {
  Eigen::MatrixXd atSolver; // [solver DOFs x modes]
  double elsewhere = 0;
};

Shapes ReadShapes(ORXSimDistributionID id, const fesD_NodalDofDefinition& dofs, int modes) {
  Shapes shapes{Eigen::MatrixXd(dofs.NumberOfSolverDofs(), modes), 0};
  for (int mode = 0; mode < modes; ++mode) {
    std::vector<double> values = modal_ReadReals(id, mode, modal_kShapes);
    if (values.size() != 3 * static_cast<std::size_t>(dofs.NumberOfNodes()))
      throw modal_Failure("expected 3 displacements a node in a mode shape, found " +
                          std::to_string(values.size()) + " numbers");
    for (int place = 0; place < dofs.NumberOfSolverDofs(); ++place) {
      const fesD_NodeDof dof = dofs.NodeDofFromSolverDof(place);
      double& value = values[static_cast<std::size_t>(3 * dof.node + dofs.DofLabel(dof.dofId) - 1)];
      shapes.atSolver(place, mode) = std::exchange(value, 0);
    }
    for (const double value : values)
      shapes.elsewhere = std::max(shapes.elsewhere, std::abs(value));
  }
  return shapes;
}

void CheckFrequencies(const std::vector<double>& eigenvalues, const std::vector<double>& frequencies,
                      double smallest, read_Checks& checks) {
  bool finite = !frequencies.empty() && frequencies.size() == eigenvalues.size(), ordered = true, same = true;
  for (std::size_t i = 0; finite && i < frequencies.size(); ++i) {
    finite = std::isfinite(frequencies[i]) && std::isfinite(eigenvalues[i]) && frequencies[i] >= 0;
    ordered = ordered && (i == 0 || eigenvalues[i] >= eigenvalues[i - 1]);
    const double omega = 2 * std::numbers::pi * frequencies[i];
    same = same && std::abs(omega * omega - std::max(0.0, eigenvalues[i])) <= 1e-9 * eigenvalues.back();
  }
  checks.Expect(finite, "frequencies are finite", std::to_string(frequencies.size()) + " modes");
  checks.Expect(ordered && eigenvalues.front() > -smallest, "frequencies ascend from zero",
                frequencies.empty() ? "none"
                                    : Text(frequencies.front()) + " to " + Text(frequencies.back()) + " Hz");
  checks.Expect(same, "frequencies and eigenvalues say the same", "omega = 2 pi f");
}

/// \param smallest an eigenvalue that counts as nothing.
void CheckShapes(const Shapes& shapes, const std::vector<double>& eigenvalues, const modal_Matrices& matrices,
                 double smallest, read_Checks& checks) {
  const Eigen::MatrixXd& x = shapes.atSolver;
  const Eigen::MatrixXd mass = x.transpose() * modal_Times(matrices.mass, x);
  const double offMass = (mass - Eigen::MatrixXd::Identity(x.cols(), x.cols())).cwiseAbs().maxCoeff();
  checks.Expect(offMass < 1e-8, "shapes are orthonormal in the mass, assembled once more",
                "off by " + Text(offMass));
  const Eigen::MatrixXd stiffness = x.transpose() * modal_Times(matrices.stiffness, x);
  // What rounding leaves of the highest eigenvalue, of which this is a lower bound.
  const double rounding =
      1e-13 * matrices.stiffness.diagonal().cwiseQuotient(matrices.mass.diagonal()).maxCoeff();
  double offStiffness = 0;
  for (Eigen::Index i = 0; i < x.cols(); ++i)
    for (Eigen::Index j = 0; j < x.cols(); ++j) {
      const double expected = i == j ? eigenvalues[static_cast<std::size_t>(i)] : 0;
      const double own = eigenvalues[static_cast<std::size_t>(i)],
                   other = eigenvalues[static_cast<std::size_t>(j)];
      const double off = std::max(0.0, std::abs(stiffness(i, j) - expected) - rounding);
      offStiffness = std::max(offStiffness, off / std::max({own, other, smallest}));
    }
  checks.Expect(offStiffness < 1e-6, "and give the eigenvalues with the stiffness",
                "off by " + Text(offStiffness));
  checks.Expect(shapes.elsewhere == 0, "nothing moves that is not free", "most " + Text(shapes.elsewhere));
}

void CheckEvents(const fesD_ModalSystem& system, int modes, read_Checks& checks) {
  for (int i = 0; i < system.events().count(); ++i) {
    const fesD_ModalEvent event = system.events().get(i);
    const std::vector<int> active = read_Members(event.activeModes());
    const ORXSimCSetID id = event.activeModes();
    checks.Expect(id.Collection() == system.modes() && std::is_sorted(active.begin(), active.end()) &&
                      (active.empty() || active.back() < modes),
                  "event '" + std::string(event.eventName().cStr()) + "' names modes of the system",
                  std::to_string(active.size()) + " active of " + std::to_string(modes));
  }
}

void PrintFrequencies(const std::vector<double>& frequencies) {
  for (std::size_t i = 0; i < frequencies.size(); ++i)
    std::cout << "  mode " << i + 1 << ": " << Text(frequencies[i]) << " Hz\n";
}

} // namespace

void read_CheckModes(const std::string& file, const msfD_Mesh& mesh, const fesD_ModalSystem& system,
                     const fesD_NodalDofDefinition& dofs, read_Checks& checks) {
  const Fields& fields = fesD_FESystem(gbb_Handle(system)).userDistributions();
  const std::vector<double> eigenvalues = Numbers(fields, modal_kEigenvalues);
  const std::vector<double> frequencies = Numbers(fields, modal_kFrequencies);
  const std::vector<double> young = Numbers(fields, modal_kYoung), poisson = Numbers(fields, modal_kPoisson),
                            density = Numbers(fields, modal_kDensity);
  const int modes = ORXSimCollectionRef(system.modes()).NumItems();
  const bool whole = fields.isMember(modal_kShapes) && young.size() == 1 && poisson.size() == 1 &&
                     density.size() == 1 && modes > 0 && static_cast<int>(eigenvalues.size()) == modes &&
                     static_cast<int>(frequencies.size()) == modes &&
                     ORXSimDistributionRef(fields.get(modal_kShapes)).NumDrawers() == modes &&
                     dofs.MaxNodalDof() == 3 && dofs.DofLabel(0) == 1 && dofs.DofLabel(2) == 3;
  checks.Expect(whole, "eigenvalues, frequencies, shapes and material are there",
                std::to_string(modes) + " modes");
  if (!whole)
    return;
  PrintFrequencies(frequencies);
  const modal_Mesh model = modal_ReadMesh(file, mesh);
  const modal_Matrices matrices =
      modal_Assemble(file, model, modal_Neighbours(model), dofs, {young[0], poisson[0], density[0]});
  const double diagonal = model.Box().diagonal().norm();
  const double smallest = 1e-6 * young[0] / density[0] / (diagonal * diagonal);
  CheckFrequencies(eigenvalues, frequencies, smallest, checks);
  CheckShapes(ReadShapes(fields.get(modal_kShapes), dofs, modes), eigenvalues, matrices, smallest, checks);
  const std::vector<int> structural = read_Members(system.structuralModes());
  checks.Expect(static_cast<int>(structural.size()) == modes, "all modes are structural ones",
                std::to_string(structural.size()));
  CheckEvents(system, modes, checks);
}
