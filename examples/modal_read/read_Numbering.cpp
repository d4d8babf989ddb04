#include "read_Numbering.h"

#include <fes/fesD_Utilities.h>

#include <algorithm>

namespace {

std::size_t At(int index) {
  return static_cast<std::size_t>(index);
}

/// Each once, and within [0, limit).
bool AreDistinct(const std::vector<int>& numbers, int limit) {
  std::vector<bool> seen(At(limit));
  for (const int number : numbers) {
    if (number < 0 || number >= limit || seen[At(number)])
      return false;
    seen[At(number)] = true;
  }
  return true;
}

/// The numbering would stop the process over masks that are not in order, so they are looked at first.
bool CheckMasks(ORXSimDistributionID masks, int nodes, read_Checks& checks) {
  const ORXSimDistributionRef distribution(masks);
  const ORXSimPersistentDrawerDesc drawer = distribution.Drawer(0);
  const bool fits = distribution.NumDrawers() == 1 && drawer.Components() == 1 &&
                    drawer.Type() == ORXSimItemType::kInt32 && drawer.Items() == nodes &&
                    nodes <= fesD_NodalDofDefinition::kMaxNodes;
  std::vector<int> values(fits ? At(nodes) : 0);
  const bool read =
      fits && distribution.ReadItems(0, 0, nodes, values.data(), std::int64_t{nodes} * std::int64_t{4});
  return checks.Expect(read && std::all_of(values.begin(), values.end(), [](int mask) { return mask >= 0; }),
                       "each node has an activity mask", std::to_string(values.size()) + " masks");
}

bool LeadsBackAndForth(const fesD_NodalDofDefinition& dofs) {
  for (int dof = 0; dof < dofs.NumberOfDofs(); ++dof) {
    const fesD_NodeDof place = dofs.NodeDofFromSystemDof(dof);
    if (dofs.SystemOrdinal(place.node, place.dofId) != dof)
      return false;
  }
  return true;
}

bool IsBijection(const fesD_NodalDofDefinition& dofs) {
  std::vector<int> places(At(dofs.NumberOfDofs()));
  dofs.MappingToSolverDofs(places.data());
  if (!AreDistinct(places, dofs.NumberOfDofs()))
    return false;
  for (int place = 0; place < dofs.NumberOfDofs(); ++place)
    if (places[At(dofs.SystemDofFromSolverDof(place))] != place)
      return false;
  return true;
}

} // namespace

void read_CheckLabels(const fesD_ModalSystem& system, int nodes, read_Checks& checks) {
  const fesD_FESystem base{gbb_Handle(system)};
  if (!checks.Expect(!base.nodalLabels().IsNull(), "the system has node labels", "nodalLabels"))
    return;
  int labelCount = 0, highest = 0;
  const fesD_IntArray labels(fesD_Utilities::InternalToUserNodes(base, labelCount));
  const fesD_IntArray back(fesD_Utilities::UserToInternalNodes(base, highest));
  int wrong = 0;
  for (int node = 0; node < labelCount; ++node) {
    const int label = labels[At(node)];
    wrong += label < 1 || label > highest || back[At(label)] != node;
  }
  checks.Expect(labelCount == nodes && wrong == 0, "each node is found again by its label",
                std::to_string(labelCount) + " labels up to " + std::to_string(highest) + ", " +
                    std::to_string(wrong) + " lost");
}

std::vector<int> read_Members(ORXSimCSetID id) {
  const ORXSimCSet set(id);
  std::vector<int> members(At(set.Size()));
  if (!set.OrderedMembers(members.data(), set.Size()))
    members.clear();
  return members;
}

std::unique_ptr<fesD_NodalDofDefinition> read_Numbering(const fesD_ModalSystem& system, int nodes,
                                                        read_Checks& checks) {
  const ORXSimDistributionID masks = fesD_FESystem(gbb_Handle(system)).nodalActivityMask();
  if (!CheckMasks(masks, nodes, checks))
    return nullptr;
  auto dofs = std::make_unique<fesD_NodalDofDefinition>(masks, 0, false);
  const int count = dofs->NumberOfDofs();
  checks.Expect(count == ORXSimCollectionRef(system.dofs()).NumItems() && LeadsBackAndForth(*dofs),
                "the collection of DOFs is what the masks number", std::to_string(count) + " DOFs");
  const std::vector<int> order = read_Members(system.solverDofOrdering());
  if (!checks.Expect(!order.empty() && AreDistinct(order, count), "the solver's order names DOFs, each once",
                     std::to_string(order.size()) + " solver DOFs"))
    return nullptr;
  dofs->SetupSolverDofs(system.solverDofOrdering());
  bool same = dofs->NumberOfSolverDofs() == static_cast<int>(order.size());
  for (int i = 0; same && i < dofs->NumberOfSolverDofs(); ++i)
    same = dofs->SystemDofFromSolverDof(i) == order[At(i)];
  checks.Expect(same && IsBijection(*dofs), "the order is a permutation, and its inverse leads back",
                std::to_string(count) + " places");
  return dofs;
}
