#include <pdmsim/dofs/dofs_Numbering.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Input.h>

#include <algorithm>
#include <numeric>

namespace {

std::size_t At(int index) {
  return static_cast<std::size_t>(index);
}

[[noreturn]] void Refuse(const std::string& file, const std::string& expected, const std::string& found) {
  throw cli_Failure(cli_Exit::kUnusable, file + ": expected " + expected + ", found " + found);
}

[[noreturn]] void FailToRead() {
  throw cli_Failure(cli_Exit::kUnusable, cli_LastError());
}

/// One drawer of one int a row.
fesD_IntArray ReadInts(const std::string& file, ORXSimDistributionID id, const char* what, int& count) {
  const ORXSimDistributionRef distribution(id);
  const int drawers = distribution.NumDrawers();
  if (drawers != 1)
    Refuse(file, std::string(what) + " in one drawer", std::to_string(drawers) + " drawers");
  const ORXSimPersistentDrawerDesc drawer = distribution.Drawer(0);
  if (drawer.Type() != ORXSimItemType::kInt32 || drawer.Components() != 1)
    Refuse(file, std::string(what) + " of one 32-bit integer", "another type");
  count = drawer.Items();
  fesD_IntArray values(static_cast<int*>(mem_OperatorNewThrowBuiltin(sizeof(int) * At(count))));
  if (!distribution.ReadItems(0, 0, count, values.get(), drawer.Bytes()))
    FailToRead();
  return values;
}

std::unique_ptr<fesD_NodalDofDefinition> NumberByMasks(const std::string& file, const fesD_FESystem& system) {
  const ORXSimDistributionID id = system.nodalActivityMask();
  if (id.IsNull())
    throw cli_Failure(cli_Exit::kNotThere,
                      file + ": expected activity masks in the system, found none: it numbers no DOFs");
  int nodes = 0;
  fesD_IntArray masks = ReadInts(file, id, "activity masks", nodes);
  if (nodes > fesD_NodalDofDefinition::kMaxNodes)
    Refuse(file, "at most " + std::to_string(fesD_NodalDofDefinition::kMaxNodes) + " nodes",
           std::to_string(nodes));
  const int* negative = std::find_if(masks.get(), masks.get() + nodes, [](int mask) { return mask < 0; });
  if (negative != masks.get() + nodes)
    Refuse(file, "activity masks of labels 1 to 31",
           "label 32 at node item " + std::to_string(negative - masks.get()));
  return std::make_unique<fesD_NodalDofDefinition>(masks.release(), nodes, 0, false);
}

/// The first entry that keeps a list from being an order of some of DOFs 0 to dofs - 1. The list must have
/// one.
int FirstWrong(const std::vector<int>& order, int dofs) {
  std::vector<bool> seen(At(dofs));
  std::size_t i = 0;
  for (; order[i] >= 0 && order[i] < dofs && !seen[At(order[i])]; ++i)
    seen[At(order[i])] = true;
  return order[i];
}

/// Sets the order up that the file has.
void SetupOrder(const std::string& file, ORXSimCSetID id, dofs_Numbering& numbering) {
  const ORXSimCSet set(id);
  const int count = set.Size(); // every call opens the set
  std::vector<int> order(At(count));
  if (!set.OrderedMembers(order.data(), count))
    FailToRead();
  fesD_NodalDofDefinition& dofs = *numbering.dofs;
  if (!dofs.TrySetupSolverDofs(count, order.data()))
    Refuse(file, "a solver order of DOFs 0 to " + std::to_string(dofs.NumberOfDofs() - 1) + ", each once",
           "DOF " + std::to_string(FirstWrong(order, dofs.NumberOfDofs())));
  numbering.hasOrder = true;
  numbering.places.assign(At(dofs.NumberOfDofs()), -1);
  for (int place = 0; place < count; ++place)
    numbering.places[At(order[At(place)])] = place;
}

/// The distance between the first and the last place of the nodes of one element.
class Extent {
 public:
  explicit Extent(const fesD_NodalDofDefinition& dofs) : m_dofs(dofs) {}

  int Of(const int* nodes, int count, const std::vector<int>& places) const {
    int first = m_dofs.NumberOfDofs(), last = -1;
    for (int i = 0; i < count; ++i)
      for (int id = 0; nodes[i] >= 0 && id < m_dofs.MaxNodalDof(); ++id) {
        const int dof = m_dofs.SystemOrdinal(nodes[i], id);
        const int place = dof < 0 ? -1 : places[At(dof)];
        first = place < 0 ? first : std::min(first, place);
        last = std::max(last, place);
      }
    return std::max(0, last - first);
  }

 private:
  const fesD_NodalDofDefinition& m_dofs;
};

/// Calls f(nodes, count) for each element of a drawer; reads a few MiB at a time.
template <class F>
void ForEachElement(const std::string& file, ORXSimDistributionID connectivity, int drawer, int nodes,
                    F&& f) {
  const ORXSimDistributionRef distribution(connectivity);
  const ORXSimPersistentDrawerDesc description = distribution.Drawer(drawer);
  if (description.Type() != ORXSimItemType::kInt32 || description.Components() < 1)
    Refuse(file, "a connectivity of 32-bit integers", "another type");
  const int width = description.Components(), step = std::max(1, (1 << 20) / width);
  std::vector<int> rows;
  for (int first = 0; first < description.Items(); first += step) {
    const int count = std::min(step, description.Items() - first);
    rows.resize(At(count) * At(width));
    if (!distribution.ReadItems(drawer, first, count, rows.data(),
                                static_cast<std::int64_t>(sizeof(int) * rows.size())))
      FailToRead();
    for (const int node : rows)
      if (node >= nodes)
        Refuse(file, "nodes 0 to " + std::to_string(nodes - 1) + " in the connectivity",
               std::to_string(node));
    for (int i = 0; i < count; ++i)
      f(rows.data() + At(i) * At(width), width);
  }
}

} // namespace

dofs_Numbering dofs_Number(const std::string& file, const fesD_FESystem& system) {
  dofs_Numbering numbering;
  numbering.dofs = NumberByMasks(file, system);
  if (const fesD_ModalSystem modal(system); modal && !modal.solverDofOrdering().IsNull())
    SetupOrder(file, modal.solverDofOrdering(), numbering);
  if (!system.nodalLabels().IsNull()) {
    int count = 0;
    const fesD_IntArray labels = ReadInts(file, system.nodalLabels(), "node labels", count);
    if (count != numbering.dofs->NumberOfNodes())
      Refuse(file, "a label for each of " + std::to_string(numbering.dofs->NumberOfNodes()) + " nodes",
             std::to_string(count));
    numbering.labels.assign(labels.get(), labels.get() + count);
  }
  return numbering;
}

std::optional<dofs_Bandwidth> dofs_FindBandwidth(const std::string& file, const msfD_Mesh& mesh,
                                                 const dofs_Numbering& numbering) {
  if (!mesh.elementFields().isMember("connectivity"))
    return std::nullopt;
  const ORXSimDistributionID connectivity = mesh.elementFields().get("connectivity");
  const fesD_NodalDofDefinition& dofs = *numbering.dofs;
  std::vector<int> inSystem(At(dofs.NumberOfDofs()));
  std::iota(inSystem.begin(), inSystem.end(), 0);
  if (numbering.hasOrder) // the solver's own DOFs, without gaps
    for (int dof = 0, next = 0; dof < dofs.NumberOfDofs(); ++dof)
      inSystem[At(dof)] = numbering.places[At(dof)] < 0 ? -1 : next++;
  dofs_Bandwidth bandwidth;
  if (numbering.hasOrder)
    bandwidth.solver = 0;
  const Extent extent(dofs);
  const int drawers = ORXSimDistributionRef(connectivity).NumDrawers();
  for (int drawer = 0; drawer < drawers; ++drawer)
    ForEachElement(file, connectivity, drawer, dofs.NumberOfNodes(), [&](const int* nodes, int count) {
      bandwidth.system = std::max(bandwidth.system, extent.Of(nodes, count, inSystem));
      if (bandwidth.solver)
        bandwidth.solver = std::max(*bandwidth.solver, extent.Of(nodes, count, numbering.places));
    });
  return bandwidth;
}
