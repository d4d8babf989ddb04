#include "fuzz_Model.h"

#include "fuzz_Common.h"

#include <numeric>

namespace {
// Three numbers for each of the items, in a drawer of its own.
ORXSimDistributionID field(ORXSimContextID file, const char* name, ORXSimCSetID rows, int deflate) {
  ORXSimDrawerDescription drawer{rows, ORXSimItemType::kDouble, 3};
  drawer.unit = "m";
  drawer.longName = "a field";
  drawer.deflate = deflate;
  const ORXSimDistributionID made = ORXSimDistributionRef::Create(file, name, "m", &drawer, 1);
  const int n = ORXSimDistributionRef(made).DataSizeItems(0);
  std::vector<double> values(3 * static_cast<std::size_t>(n));
  std::iota(values.begin(), values.end(), 0.5);
  fuzz_Require(ORXSimDistributionRef(made).WriteItems(
                   0, 0, n, values.data(), static_cast<std::int64_t>(values.size() * sizeof(double))),
               "a field with data");
  return made;
}

void addSystems(const msfD_Mesh& mesh, ORXSimCollectionID nodes, ORXSimDistributionID labels) {
  const auto systems = mesh.systems();
  systems.add(fesD_GenericSystem::New("generic", labels, {}, nodes, nodes, 0));
  const fesD_ModalSystem modal = systems.add(fesD_ModalSystem::New("modal", labels, {}, nodes, nodes, 0));
  modal.PropertyEvaluation(2.5);
  kda_MapInt<ORXSimDistributionID> byNumber;
  for (const int number : {-3, 0, 17})
    byNumber.insert(number, labels);
  modal.events().add(fesD_ModalEvent::New("event", 3, nodes, {}, 0)).Distributions(byNumber);
  const fesD_SubstructureSystem sub =
      systems.add(fesD_SubstructureSystem::New("substructure", {}, {}, nodes, nodes, nodes, 0));
  sub.Damping(fesD_SubDamp::New(0)).Alpha(0.25);
  systems.add(fesD_FESystem::New("plain", {}, {}, 0));
}
} // namespace

msfD_Sim fuzz_MakeModel(msfD_Root& root, const std::string& path, const char* alias, int contextOption) {
  const msfD_Sim sim = root.createSim(path.c_str(), alias, contextOption);
  const ORXSimContextID file = sim.distributionService().Context();
  ORXSimUpdate update(file);
  const ORXSimCollectionID nodes = ORXSimCollectionRef::Create(file, "nodes", 5);
  const int members[] = {4, 0, 2};
  const ORXSimCSetID some = ORXSimCollectionRef(nodes).CreateOrderedCSet(members, 3);
  const msfD_DiscreteModel model = sim.DiscreteModel(msfD_DiscreteModel::New(nodes, {}, 0));
  const msfD_Mesh mesh =
      model.Mesh(msfD_Mesh::New(nodes, ORXSimCollectionRef::Create(file, "elements", 1), 0));
  kda_MapString<ORXSimCSetID> sets;
  sets.insert("all of them", ORXSimCollectionRef(nodes).FullCSet());
  sets.insert("some", some);
  mesh.NodeSets(sets);
  kda_MapString<ORXSimDistributionID> fields;
  fields.insert("coordinates", field(file, "coordinates", ORXSimCollectionRef(nodes).FullCSet(), 0));
  fields.insert("displacement", field(file, "displacement", some, 1));
  mesh.NodeFields(fields);
  addSystems(mesh, nodes, fields.get("coordinates"));
  fuzz_Require(update.Commit() && !!mesh, "a model");
  return sim;
}
