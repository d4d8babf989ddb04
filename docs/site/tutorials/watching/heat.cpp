// A solver that keeps its steps in the file of its mesh: heat spreads from the
// inner wall of a ring. Usage: heat FILE STEPS SECONDS, with a step every so many
// seconds
#include <pdm/pdm.hpp>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <thread>

namespace {

using Numbers = std::vector<double>;

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
  pdm::Field heat; // of the nodes: a drawer for each step
  pdm::Field mean; // of the steps: a row for each
};

// Fields without numbers yet, and the times of the steps to come.
Results make_fields(const pdm::Sim& sim, std::size_t steps) {
  const auto mesh = sim.model().mesh();
  Numbers times(steps);
  for (std::size_t step = 0; step < steps; ++step)
    times[step] = 0.5 * static_cast<double>(step);
  auto update = sim.update();
  mesh.set_times(times);
  const Numbers none(steps, std::nan(""));
  Results made{mesh.node_fields().create_empty("heat", {.unit = "degC"}),
               mesh.frame_fields().create("mean", none, {.unit = "degC"})};
  update.commit();
  return made;
}
// [makes the fields]

// [writes a step]
// A step is a commit point: whoever looks sees it as a whole, and it is still there
// when this program dies.
void write_step(const pdm::Sim& sim, const Results& results, const Numbers& heat) {
  Numbers means = results.mean.read<double>();
  means[static_cast<std::size_t>(results.heat.size())] =
      std::accumulate(heat.begin(), heat.end(), 0.0) /
      static_cast<double>(heat.size());
  auto update = sim.update();
  results.heat.append(heat, {.unit = "degC"});
  results.mean.write(means);
  update.commit();
}
// [writes a step]

void solve(const char* file, std::size_t steps, double seconds) {
  const auto sim = pdm::open(file, pdm::write);
  const auto mesh = sim.model().mesh();
  const auto xy = mesh.node_fields()["coordinates"].read<double>();
  const auto quads = mesh.blocks()[0].connectivity().read<int>();
  const Results results = make_fields(sim, steps);
  Numbers heat(xy.size() / 2, 20.0);
  for (std::size_t step = 0; step < steps; ++step) {
    spread(heat, xy, quads);
    write_step(sim, results, heat);
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  }
}

} // namespace

int main(int count, char** arguments) {
  if (count != 4)
    return 2;
  try {
    const auto steps = static_cast<std::size_t>(std::atoi(arguments[2]));
    solve(arguments[1], steps, std::atof(arguments[3]));
  } catch (const pdm::Error& error) {
    std::fprintf(stderr, "heat: %s\n", error.what());
    return 1;
  }
}
