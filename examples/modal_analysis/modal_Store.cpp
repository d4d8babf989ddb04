#include "modal_Store.h"

#include <cmath>
#include <numbers>
#include <numeric>

namespace {

ORXSimContextID ContextOf(const msfD_Mesh& mesh) {
  return mesh.nodes().Context();
}

ORXSimCollectionID NewCollection(ORXSimContextID context, const char* name, int items) {
  const ORXSimCollectionID id = ORXSimCollectionRef::Create(context, name, items);
  if (id.IsNull())
    modal_FailInStore();
  return id;
}

/// A distribution of one number an item over a whole collection.
template <class T>
ORXSimDistributionID Store(ORXSimCollectionID over, const char* name, const char* unit, const T* values) {
  constexpr ORXSimItemType type = std::is_same_v<T, int> ? ORXSimItemType::kInt32 : ORXSimItemType::kDouble;
  const ORXSimCollectionRef collection(over);
  const ORXSimDrawerDescription drawer{collection.FullCSet(), type, 1};
  const auto id = ORXSimDistributionRef::Create(over.Context(), name, unit, &drawer, 1);
  const int items = collection.NumItems();
  if (id.IsNull() || !ORXSimDistributionRef(id).WriteItems(0, 0, items, values,
                                                           std::int64_t{items} * std::int64_t{sizeof(T)}))
    modal_FailInStore();
  return id;
}

/// The displacements of all nodes in one mode; nodes without DOFs stay at rest.
Eigen::Matrix3Xd NodalShape(const fesD_NodalDofDefinition& dofs, const Eigen::VectorXd& shape) {
  Eigen::Matrix3Xd result = Eigen::Matrix3Xd::Zero(3, dofs.NumberOfNodes());
  for (int place = 0; place < dofs.NumberOfSolverDofs(); ++place) {
    const fesD_NodeDof dof = dofs.NodeDofFromSolverDof(place);
    result(dofs.DofLabel(dof.dofId) - 1, dof.node) = shape[place];
  }
  return result;
}

ORXSimDistributionID StoreShapes(ORXSimCollectionID nodes, const fesD_NodalDofDefinition& dofs,
                                 const std::vector<double>& frequencies, const modal_Results& results) {
  std::vector<ORXSimDrawerDescription> drawers;
  for (std::size_t i = 0; i < frequencies.size(); ++i) {
    char text[64];
    std::snprintf(text, sizeof text, "mode %zu, %.6g Hz", i + 1, frequencies[i]);
    ORXSimDrawerDescription drawer{ORXSimCollectionRef(nodes).FullCSet(), ORXSimItemType::kDouble, 3};
    drawer.longName = text;
    drawers.push_back(drawer);
  }
  const auto id = ORXSimDistributionRef::Create(nodes.Context(), "mode shapes", results.units.shape,
                                                drawers.data(), static_cast<int>(drawers.size()));
  if (id.IsNull())
    modal_FailInStore();
  for (int i = 0; i < static_cast<int>(drawers.size()); ++i) {
    const Eigen::Matrix3Xd shape = NodalShape(dofs, results.modes.shapes.col(i));
    if (!ORXSimDistributionRef(id).WriteItems(i, 0, dofs.NumberOfNodes(), shape.data(),
                                              std::int64_t{shape.size()} * std::int64_t{sizeof(double)}))
      modal_FailInStore();
  }
  return id;
}

/// The event of free vibration, in which all modes that bend something take part.
void AddEvent(const fesD_ModalSystem& system, int rigid, int modes) {
  constexpr int kFreeVibration = 1;
  const fesD_ModalEvent event =
      system.events().add(fesD_ModalEvent::New("free vibration", kFreeVibration, {}, {}, 0));
  std::vector<int> active(static_cast<std::size_t>(modes - rigid));
  std::iota(active.begin(), active.end(), rigid);
  const ORXSimCSetID set =
      ORXSimCollectionRef(system.modes()).CreateOrderedCSet(active.data(), static_cast<int>(active.size()));
  if (set.IsNull())
    modal_FailInStore();
  event.ActiveModes(set);
}

} // namespace

bool modal_HasSystem(const msfD_Mesh& mesh, const std::string& name) {
  for (int i = 0; i < mesh.systems().count(); ++i)
    if (name == mesh.systems().get(i).systemName().cStr())
      return true;
  return false;
}

fesD_ModalSystem modal_AddSystem(const msfD_Mesh& mesh, const modal_Mesh& model, const std::string& name,
                                 const std::vector<int>& masks) {
  const ORXSimDistributionID labels = Store(mesh.nodes(), "node labels", "", model.labels.data());
  const ORXSimDistributionID activity = Store(mesh.nodes(), "activity masks", "", masks.data());
  return fesD_ModalSystem(
      mesh.systems().add(fesD_ModalSystem::New(name.c_str(), labels, activity, {}, {}, 0)));
}

void modal_StoreResults(const msfD_Mesh& mesh, const fesD_ModalSystem& system,
                        const fesD_NodalDofDefinition& dofs, const modal_Results& results) {
  const Eigen::VectorXd& eigenvalues = results.modes.eigenvalues;
  std::vector<double> frequencies;
  for (const double eigenvalue : eigenvalues)
    frequencies.push_back(std::sqrt(std::max(0.0, eigenvalue)) / (2 * std::numbers::pi));
  const auto count = static_cast<int>(frequencies.size());

  system.Dofs(NewCollection(ContextOf(mesh), "dofs", dofs.NumberOfDofs()));
  const ORXSimCSetID order = dofs.WritePermutation(system.dofs());
  if (order.IsNull())
    modal_FailInStore();
  system.SolverDofOrdering(order);
  system.Modes(NewCollection(ContextOf(mesh), "modes", count));
  system.StructuralModes(ORXSimCollectionRef(system.modes()).FullCSet());

  const ORXSimCollectionID materials = NewCollection(ContextOf(mesh), "materials", 1);
  const modal_Material& material = results.material;
  kda_MapString<ORXSimDistributionID> fields;
  fields.insert(modal_kEigenvalues, Store(system.modes(), "eigenvalues", "(rad/s)^2", eigenvalues.data()));
  fields.insert(modal_kFrequencies, Store(system.modes(), "frequencies", "Hz", frequencies.data()));
  fields.insert(modal_kShapes, StoreShapes(mesh.nodes(), dofs, frequencies, results));
  fields.insert(modal_kYoung, Store(materials, "Young's modulus", results.units.stress, &material.young));
  fields.insert(modal_kPoisson, Store(materials, "Poisson's ratio", "", &material.poisson));
  fields.insert(modal_kDensity, Store(materials, "density", results.units.density, &material.density));
  fesD_FESystem(gbb_Handle(system)).UserDistributions(fields);
  AddEvent(system, results.rigid, count);
}
