// A solver that keeps its steps in the file of its mesh: heat spreads from the
// inner wall of a ring. Usage: heat FILE STEPS SECONDS, with a step every so many
// seconds
#include <PDM_Core/PDM_Core.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <thread>
#include <vector>

namespace {

using Numbers = std::vector<double>;

// The first drawer of a field, as a row of components for each item.
template <class T>
std::vector<T> readField(const kda_MapString<ORXSimDistributionID>& fields,
                         const char* name) {
  const ORXSimDistributionRef field(fields.get(name));
  const ORXSimPersistentDrawerDesc drawer = field.Drawer(0);
  std::vector<T> values(static_cast<std::size_t>(drawer.Bytes()) / sizeof(T));
  if (!field.ReadItems(0, 0, drawer.Items(), values.data(), drawer.Bytes()))
    values.clear();
  return values;
}

// Nodes exchange heat along the sides of the elements; those of the inner wall, one
// length unit from the centre, stay hot.
void spread(Numbers& heat, const Numbers& xy, const std::vector<int>& quads) {
  Numbers flow(heat.size(), 0.0);
  for (std::size_t i = 0; i < quads.size(); ++i) {
    const auto a = static_cast<std::size_t>(quads[i]);
    const auto b = static_cast<std::size_t>(quads[i % 4 == 3 ? i - 3 : i + 1]);
    flow[a] += 0.1 * (heat[b] - heat[a]);
    flow[b] += 0.1 * (heat[a] - heat[b]);
  }
  for (std::size_t node = 0; node < heat.size(); ++node)
    heat[node] = std::hypot(xy[2 * node], xy[2 * node + 1]) < 1.01
                     ? 100
                     : heat[node] + flow[node];
}

// [makes the fields]
struct Results {
  ORXSimDistributionRef heat; // of the nodes: a drawer for each step
  ORXSimDistributionRef mean; // of the frames: a row for each step
};

// A number for each frame.
ORXSimDistributionRef makeHistory(ORXSimCollectionRef frames, const char* name,
                                  const char* unit, const Numbers& values) {
  const ORXSimDrawerDescription row{.members = frames.FullCSet()};
  const ORXSimDistributionRef history(
      ORXSimDistributionRef::Create(frames.ID().Context(), name, unit, &row, 1));
  history.WriteItems(0, 0, frames.NumItems(), values.data(),
                     std::int64_t{8} * frames.NumItems());
  return history;
}

// Fields without steps yet, and the times of the steps to come.
Results makeFields(const msfD_Sim& sim, int steps) {
  const ORXSimContextID file = sim.distributionService().Context();
  const msfD_DiscreteModel model = sim.discreteModel();
  const msfD_Mesh mesh = model.mesh();
  ORXSimUpdate update(file);

  Numbers times;
  for (int step = 0; step < steps; ++step)
    times.push_back(0.5 * step);
  const ORXSimCollectionRef frames(
      ORXSimCollectionRef::Create(file, "frames", steps));
  const Results made{
      ORXSimDistributionRef(
          ORXSimDistributionRef::Create(file, "heat", "degC", nullptr, 0)),
      makeHistory(frames, "mean", "degC", Numbers(times.size(), std::nan("")))};
  model.Frames(frames.ID());
  auto frameFields = mesh.frameFields();
  frameFields.insert("time", makeHistory(frames, "time", "s", times).ID());
  frameFields.insert("mean", made.mean.ID());
  mesh.FrameFields(frameFields);
  auto nodeFields = mesh.nodeFields();
  nodeFields.insert("heat", made.heat.ID());
  mesh.NodeFields(nodeFields);
  update.Commit();
  return made;
}
// [makes the fields]

// [writes a step]
// A step is a commit point: whoever looks sees it as a whole, and it is still there
// when this program dies.
bool writeStep(const msfD_Sim& sim, const Results& results, const Numbers& heat) {
  const ORXSimCollectionRef nodes(sim.discreteModel().mesh().nodes());
  ORXSimUpdate update(sim.distributionService().Context());
  const int step =
      results.heat.AddDrawer({.members = nodes.FullCSet(), .unit = "degC"});
  const double mean = std::accumulate(heat.begin(), heat.end(), 0.0) /
                      static_cast<double>(heat.size());
  const auto bytes = static_cast<std::int64_t>(sizeof(double) * heat.size());
  return results.heat.WriteItems(step, 0, nodes.NumItems(), heat.data(), bytes) &&
         results.mean.WriteItems(0, step, 1, &mean, sizeof mean) && update.Commit();
}
// [writes a step]

bool solve(const char* file, int steps, double seconds) {
  msfD_Root root(0);
  const msfD_Sim sim = root.openSim(file, "", -1);
  if (!sim)
    return false;
  const msfD_Mesh mesh = sim.discreteModel().mesh();
  const auto xy = readField<double>(mesh.nodeFields(), "coordinates");
  const auto quads = readField<int>(mesh.elementFields(), "connectivity");
  const Results results = makeFields(sim, steps);
  Numbers heat(xy.size() / 2, 20.0);
  for (int step = 0; step < steps; ++step) {
    spread(heat, xy, quads);
    if (!writeStep(sim, results, heat))
      return false;
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  }
  root.closeSim(sim);
  return true;
}

} // namespace

int main(int count, char** arguments) {
  if (count != 4)
    return 2;
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  const bool good =
      solve(arguments[1], std::atoi(arguments[2]), std::atof(arguments[3]));
  if (!good)
    std::fprintf(stderr, "heat: %s\n", ORXSimManager::LastError());
  DDB_PDM_Core_finalize(modules);
  return good ? 0 : 1;
}
