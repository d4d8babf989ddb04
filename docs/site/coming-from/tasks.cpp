// The same three tasks with a simulation file: coordinates, a side set by name, a
// result at a time.
#include <PDM_Core/PDM_Core.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

// [coordinates]
std::vector<double> coordinates(const msfD_Mesh& mesh) {
  const ORXSimDistributionRef field(mesh.nodeFields().get("coordinates"));
  const ORXSimPersistentDrawerDesc drawer = field.Drawer(0);
  const auto count = static_cast<std::size_t>(drawer.Items());
  std::vector<double> xy(2 * count), x(count);
  if (!field.ReadItems(0, 0, drawer.Items(), xy.data(),
                       static_cast<std::int64_t>(8 * xy.size())))
    return {};
  for (std::size_t i = 0; i < count; ++i)
    x[i] = xy[2 * i];
  const auto [least, greatest] = std::minmax_element(x.begin(), x.end());
  std::printf("%zu nodes, x from %g to %g\n", count, *least, *greatest);
  return x;
}
// [coordinates]

// [side set]
void sideSet(const msfD_Mesh& mesh) {
  const ORXSimDistributionRef surface(mesh.surfaces().get("Inner.Wall"));
  const ORXSimPersistentDrawerDesc drawer = surface.Drawer(0);
  std::vector<int> elements(static_cast<std::size_t>(drawer.Items())),
      sides(elements.size());
  if (ORXSimCSet(drawer.CSet()).OrderedMembers(elements.data(), drawer.Items()) &&
      surface.ReadItems(0, 0, drawer.Items(), sides.data(), drawer.Bytes()))
    std::printf("%d sides, the first is side %d of element %d\n", drawer.Items(),
                sides[0], elements[0]);
}
// [side set]

// [result]
bool addResult(const msfD_Sim& sim, const std::vector<double>& x) {
  const msfD_Mesh mesh = sim.discreteModel().mesh();
  const ORXSimContextID file = sim.distributionService().Context();
  std::vector<double> values;
  for (const double one : x)
    values.push_back(20 + 10 * one);

  ORXSimUpdate update(file); // all of it, or nothing
  const ORXSimCollectionRef frames(ORXSimCollectionRef::Create(file, "frames", 1)),
      nodes(mesh.nodes());
  const ORXSimDrawerDescription row{.members = frames.FullCSet()},
      whole{.members = nodes.FullCSet()};
  const ORXSimDistributionRef time(
      ORXSimDistributionRef::Create(file, "time", "s", &row, 1));
  const ORXSimDistributionRef heat(
      ORXSimDistributionRef::Create(file, "heat", "degC", &whole, 1));
  const double now = 0.5;
  time.WriteItems(0, 0, 1, &now, sizeof now);
  heat.WriteItems(0, 0, nodes.NumItems(), values.data(),
                  static_cast<std::int64_t>(8 * values.size()));
  sim.discreteModel().Frames(frames.ID());
  auto frameFields = mesh.frameFields(), nodeFields = mesh.nodeFields();
  frameFields.insert("time", time.ID());
  nodeFields.insert("heat", heat.ID());
  mesh.FrameFields(frameFields);
  mesh.NodeFields(nodeFields);
  return update.Commit();
}
// [result]

bool use(const char* file) {
  msfD_Root root(0);
  const msfD_Sim sim = root.openSim(file, "", -1);
  if (!sim)
    return false;
  const std::vector<double> x = coordinates(sim.discreteModel().mesh());
  sideSet(sim.discreteModel().mesh());
  return addResult(sim, x);
}

} // namespace

int main(int count, char** arguments) {
  if (count != 2)
    return 2;
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  const bool good = use(arguments[1]);
  if (!good)
    std::fprintf(stderr, "tasks: %s\n", ORXSimManager::LastError());
  DDB_PDM_Core_finalize(modules);
  return good ? 0 : 1;
}
