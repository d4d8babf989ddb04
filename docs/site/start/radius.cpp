// Adds a field to the mesh of a file: how far each node is from the origin. Usage:
// radius FILE
#include <PDM_Core/PDM_Core.h>

#include <cmath>
#include <cstdio>
#include <vector>

// [adds a field]
static bool addRadius(const msfD_Sim& sim) {
  const msfD_Mesh mesh = sim.discreteModel().mesh();
  const ORXSimContextID file = sim.distributionService().Context();
  const ORXSimCollectionRef nodes(mesh.nodes());
  const auto count = static_cast<std::size_t>(nodes.NumItems());

  std::vector<double> xy(2 * count), radius(count);
  const ORXSimDistributionRef coordinates(mesh.nodeFields().get("coordinates"));
  if (!coordinates.ReadItems(0, 0, nodes.NumItems(), xy.data(),
                             std::int64_t{16} * nodes.NumItems()))
    return false; // not two numbers for each node, or damaged: LastError() says
                  // which
  for (std::size_t i = 0; i < count; ++i)
    radius[i] = std::hypot(xy[2 * i], xy[2 * i + 1]);

  ORXSimUpdate update(
      file); // everything up to Commit() reaches the file as one change
  const ORXSimDrawerDescription drawer{.members = nodes.FullCSet()};
  const ORXSimDistributionRef field(
      ORXSimDistributionRef::Create(file, "radius", "m", &drawer, 1));
  field.WriteItems(0, 0, nodes.NumItems(), radius.data(),
                   std::int64_t{8} * nodes.NumItems());
  auto fields = mesh.nodeFields();
  fields.insert("radius", field.ID());
  mesh.NodeFields(fields);
  return update.Commit();
}
// [adds a field]

int main(int count, char** arguments) {
  if (count != 2)
    return 2;
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  bool good = false;
  {
    msfD_Root root(0);
    const msfD_Sim sim = root.openSim(arguments[1], "", -1);
    good = !!sim && addRadius(sim);
    if (!good)
      std::fprintf(stderr, "radius: %s\n", ORXSimManager::LastError());
  }
  DDB_PDM_Core_finalize(modules);
  return good ? 0 : 1;
}
