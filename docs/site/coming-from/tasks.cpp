// The same three tasks with a simulation file: coordinates, a
// side set by name, a result at a time.
#include <pdm/pdm.hpp>

#include <cstdio>

namespace {

// [coordinates]
std::vector<double> coordinates(const pdm::Mesh& mesh) {
  const auto xy =
      mesh.node_fields()["coordinates"].read<double>();
  std::vector<double> x;
  for (std::size_t at = 0; at < xy.size(); at += 2)
    x.push_back(xy[at]);
  const auto [least, greatest] =
      std::minmax_element(x.begin(), x.end());
  std::printf("%zu nodes, x from %g to %g\n", x.size(), *least,
              *greatest);
  return x;
}
// [coordinates]

// [side set]
void side_set(const pdm::Mesh& mesh) {
  const auto wall = mesh.surfaces()["Inner.Wall"];
  std::printf("%d sides, the first is side %d of element %d\n",
              wall.size(), wall.sides().front(),
              wall.elements().front());
}
// [side set]

// [result]
void add_result(const pdm::Sim& sim, std::vector<double> x) {
  for (double& value : x)
    value = 20 + 10 * value;
  auto update = sim.update(); // all of it, or nothing
  const auto mesh = sim.model().mesh();
  mesh.set_times(std::vector{0.5});
  mesh.node_fields().create("heat", x, {.unit = "degC"});
  update.commit();
}
// [result]

} // namespace

int main(int count, char** arguments) {
  if (count != 2)
    return 2;
  try {
    const auto sim = pdm::open(arguments[1], pdm::write);
    const auto x = coordinates(sim.model().mesh());
    side_set(sim.model().mesh());
    add_result(sim, x);
  } catch (const pdm::Error& error) {
    std::fprintf(stderr, "tasks: %s\n", error.what());
    return 1;
  }
}
