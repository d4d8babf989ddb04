#include "modal_Analysis.h"

#include <algorithm>
#include <cstring>

namespace {

/// A numbering from an array of masks.
std::unique_ptr<fesD_NodalDofDefinition> Number(const std::vector<int>& masks) {
  const std::size_t bytes = sizeof(int) * masks.size();
  auto* owned = static_cast<int*>(mem_OperatorNewThrowBuiltin(bytes));
  std::memcpy(owned, masks.data(), bytes);
  return std::make_unique<fesD_NodalDofDefinition>(owned, static_cast<int>(masks.size()), 0, false);
}

void FixNodes(const modal_Job& job, const msfD_Mesh& mesh, modal_Analysis& analysis) {
  const std::vector<bool> fixed = modal_FindNodes(job.file, mesh, analysis.mesh, job.clamp);
  analysis.masks = modal_ActivityMasks(analysis.mesh);
  analysis.solverMasks = modal_SolverMasks(analysis.mesh, fixed);
  for (std::size_t i = 0; i < fixed.size(); ++i)
    analysis.clamped += analysis.masks[i] != analysis.solverMasks[i];
  if (std::all_of(analysis.solverMasks.begin(), analysis.solverMasks.end(), [](int m) { return m == 0; }))
    throw modal_Failure(job.file + ": expected nodes that can move, found all clamped at '" + job.clamp +
                        "'");
  if (job.clamp != "none" && analysis.clamped == 0)
    throw modal_Failure(job.file + ": expected nodes of solids at '" + job.clamp + "', found none");
}

/// Of two reverse Cuthill-McKee orders the one with the smaller envelope: from a node far out, as is usual,
/// or from one end of the body, which suits what is long.
void ChooseOrder(const modal_Neighbours& neighbours, modal_Analysis& analysis) {
  fesD_NodalDofDefinition& dofs = *analysis.dofs;
  for (const std::vector<int>& start : {std::vector<int>(), modal_EndNodes(analysis.mesh)}) {
    std::vector<int> ranks = modal_ReverseCuthillMcKee(neighbours, start);
    dofs.SetupSolverDofs(ranks.data(), analysis.solverMasks.data());
    const modal_Envelope envelope = modal_EnvelopeOf(neighbours, dofs, modal_PlacesInSolverOrder(dofs));
    if (analysis.ranks.empty() || envelope.profile < analysis.after.profile) {
      analysis.ranks = std::move(ranks);
      analysis.after = envelope;
    }
  }
  dofs.SetupSolverDofs(analysis.ranks.data(), analysis.solverMasks.data());
  analysis.before = modal_EnvelopeOf(neighbours, dofs, modal_PlacesInSystemOrder(dofs));
}

} // namespace

modal_Analysis modal_Analyse(const modal_Job& job, const msfD_Mesh& mesh) {
  modal_Analysis analysis;
  analysis.mesh = modal_ReadMesh(job.file, mesh);
  if (analysis.mesh.Nodes() > fesD_NodalDofDefinition::kMaxNodes)
    throw modal_Failure(job.file + ": expected at most " +
                        std::to_string(fesD_NodalDofDefinition::kMaxNodes) + " nodes, found " +
                        std::to_string(analysis.mesh.Nodes()));
  FixNodes(job, mesh, analysis);

  const modal_Neighbours neighbours(analysis.mesh);
  analysis.dofs = Number(analysis.masks);
  fesD_NodalDofDefinition& dofs = *analysis.dofs;
  ChooseOrder(neighbours, analysis);

  const modal_Matrices matrices = modal_Assemble(job.file, analysis.mesh, neighbours, dofs, job.material);
  // The square of the frequency with which a wave would cross the whole body: what is small, is small beside
  // it.
  const double diagonal = analysis.mesh.Box().diagonal().norm();
  const double scale = job.material.young / job.material.density / (diagonal * diagonal);
  analysis.modes = modal_Solve(matrices, analysis.after, job.modes, -1e-3 * scale);
  analysis.rigid = static_cast<int>((analysis.modes.eigenvalues.array() < 1e-8 * scale).count());
  analysis.beam = modal_RecogniseBeam(analysis.mesh, matrices.volume, job.clamp, job.material);
  analysis.comparison =
      modal_Compare(analysis.mesh, dofs, matrices, analysis.modes, analysis.rigid, analysis.beam);
  return analysis;
}
