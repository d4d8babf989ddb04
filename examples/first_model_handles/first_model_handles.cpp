// The same first model by the handles, that everything else stands on.
#include <PDM_Core.h>

#include <cstdio>

static const char kFile[] = "first_model_handles.pdm";

static void build(msfD_Root& root) {
  msfD_Sim sim = root.createSim(kFile, "first", -1);
  const ORXSimContextID file = sim.distributionService().Context();
  ORXSimUpdate update(file); // everything up to Commit() reaches the file as one change

  const ORXSimCollectionID nodes = ORXSimCollectionRef::Create(file, "nodes", 4);
  const ORXSimCollectionID elements = ORXSimCollectionRef::Create(file, "elements", 1);
  msfD_DiscreteModel model = sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
  msfD_Mesh mesh = model.Mesh(msfD_Mesh::New(nodes, elements, 0));

  const int base[] = {0, 1, 2};
  kda_MapString<ORXSimCSetID> sets;
  sets.insert("base", ORXSimCollectionRef(nodes).CreateOrderedCSet(base, 3));
  mesh.NodeSets(sets); // every setter is one committed write

  const double xyz[4][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  const ORXSimDrawerDescription drawer{ORXSimCollectionRef(nodes).FullCSet(), ORXSimItemType::kDouble, 3};
  kda_MapString<ORXSimDistributionID> fields;
  fields.insert("coordinates", ORXSimDistributionRef::Create(file, "coordinates", "m", &drawer, 1));
  ORXSimDistributionRef(fields.get("coordinates")).WriteItems(0, 0, 4, xyz, sizeof xyz);
  mesh.NodeFields(fields);

  mesh.systems().add(fesD_FESystem::New("statics", {}, {}, 0));
  update.Commit();
  root.closeSim(sim);
}

int main() {
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  {
    msfD_Root root(0);
    build(root);
    msfD_Sim sim = root.openSimReadOnly(kFile, "", -1);
    if (!sim) {
      std::fprintf(stderr, "%s\n", ORXSimManager::LastError());
      return 1;
    }
    msfD_Mesh mesh = sim.discreteModel().mesh();
    std::printf("%d nodes, system \"%s\"\n", ORXSimCollectionRef(mesh.nodes()).NumItems(),
                mesh.systems().get(0).systemName().cStr());
  }
  DDB_PDM_Core_finalize(modules);
}
