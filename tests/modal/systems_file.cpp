// Writes a simulation file with one system of each kind, for a reader that knows nothing of this library.
// Usage: modal_systems_file FILE [THREES], where THREES repeats the systems' three nodes so many times.
#include <PDM_Core.h>

#include <cstdlib>
#include <vector>

namespace {

struct Store {
  ORXSimContextID context;
  int threes;
  ORXSimCollectionID Collection(const char* name, int items) const {
    return ORXSimCollectionRef::Create(context, name, items);
  }
  ORXSimDistributionID Ints(ORXSimCollectionID over, const char* name, const int* values, int n) const {
    const ORXSimDrawerDescription drawer{ORXSimCollectionRef(over).FullCSet(), ORXSimItemType::kInt32};
    const auto id = ORXSimDistributionRef::Create(context, name, "", &drawer, 1);
    ORXSimDistributionRef(id).WriteItems(0, 0, n, values, 4 * n);
    return id;
  }
};

// Of each three nodes, node by node.
ORXSimDistributionID Labels(const Store& store, const msfD_Mesh& mesh) {
  std::vector<int> labels{10, 20, 40};
  for (int node = 3; node < 3 * store.threes; ++node)
    labels.push_back(50 + node);
  return store.Ints(mesh.nodes(), "labels", labels.data(), 3 * store.threes);
}
ORXSimDistributionID Masks(const Store& store, const msfD_Mesh& mesh) {
  std::vector<int> masks;
  for (int i = 0; i < store.threes; ++i)
    masks.insert(masks.end(), {0b111, 0, 0b10000111});
  return store.Ints(mesh.nodes(), "masks", masks.data(), 3 * store.threes);
}

void AddGeneric(const Store& store, const msfD_Mesh& mesh) {
  const ORXSimCollectionID loads = store.Collection("g loads", 2), dofs = store.Collection("g dofs", 6);
  const ORXSimDistributionID masks = Masks(store, mesh), labels = Labels(store, mesh);
  const fesD_GenericSystem generic(
      mesh.systems().add(fesD_GenericSystem::New("statics", labels, masks, dofs, loads, 0)));
  kda_MapInt<ORXSimDistributionID> numbered;
  numbered.insert(-7, fesD_FESystem(gbb_Handle(generic)).nodalLabels());
  numbered.insert(70000, {});
  fesD_FESystem(gbb_Handle(generic)).Distributions(numbered);
}

void AddEvents(const Store& store, const fesD_ModalSystem& modal) {
  const ORXSimCollectionID cases = store.Collection("crash cases", 4),
                           frames = store.Collection("crash frames", 3);
  const fesD_ModalEvent crash = modal.events().add(fesD_ModalEvent::New("crash", 11, frames, cases, 0));
  crash.ActiveModes(ORXSimCollectionRef(modal.modes()).FullCSet());
  kda_MapString<ORXSimDistributionID> fields;
  const int gains[] = {5, 6};
  fields.insert("gain", store.Ints(modal.modes(), "gain", gains, 2));
  crash.UserDistributions(fields);
  modal.events().add(fesD_ModalEvent::New("idle", 12, {}, {}, 0));
}

void AddModal(const Store& store, const msfD_Mesh& mesh) {
  const ORXSimCollectionID dofs = store.Collection("m dofs", 7 * store.threes),
                           modes = store.Collection("m modes", 2);
  const ORXSimDistributionID masks = Masks(store, mesh), labels = Labels(store, mesh);
  const fesD_ModalSystem modal(
      mesh.systems().add(fesD_ModalSystem::New("modes", labels, masks, dofs, modes, 0)));
  std::vector<int> order{6, 2, 0, 4};
  for (int dof = 7; dof < 7 * store.threes; ++dof)
    order.push_back(dof);
  modal.SolverDofOrdering(
      ORXSimCollectionRef(dofs).CreateOrderedCSet(order.data(), static_cast<int>(order.size())));
  modal.PropertyEvaluation(2.5);
  AddEvents(store, modal);
}

void AddSubstructure(const Store& store, const msfD_Mesh& mesh) {
  const ORXSimCollectionID modes = store.Collection("s modes", 4), dofs = store.Collection("s dofs", 5),
                           types = store.Collection("s types", 3);
  const fesD_SubstructureSystem substructure(
      mesh.systems().add(fesD_SubstructureSystem::New("part", {}, {}, types, dofs, modes, 0)));
  substructure.RecoveryElements(ORXSimCollectionRef(mesh.elements()).FullCSet());
  substructure.Damping(fesD_SubDamp::New(0)).Volume(4.5);
}

} // namespace

int main(int argc, char** argv) {
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  if (argc > 1) {
    msfD_Root root(0);
    const msfD_Sim sim = root.createSim(argv[1], "", -1);
    const Store store{sim.distributionService().Context(), argc > 2 ? std::atoi(argv[2]) : 1};
    ORXSimUpdate update(store.context);
    const ORXSimCollectionID elements = store.Collection("elements", 1),
                             nodes = store.Collection("nodes", 3 * store.threes);
    const msfD_Mesh mesh =
        sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)).Mesh(msfD_Mesh::New(nodes, elements, 0));
    AddGeneric(store, mesh);
    AddModal(store, mesh);
    AddSubstructure(store, mesh);
    update.Commit();
  }
  DDB_PDM_Core_finalize(modules);
  return argc > 1 ? 0 : 1;
}
