// A first model: four nodes and one tetrahedron go into a simulation file and come back out of it.
#include <pdm/pdm.hpp>

#include <cstdio>

static void build(const char* file) {
  const auto sim = pdm::create(file, {.replace = true});
  auto update = sim.update(); // left without commit(), as by an exception: taken back
  const auto mesh = sim.create_mesh(4, 1);
  const double xyz[4][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  mesh.node_fields().create("coordinates", xyz, {.unit = "m"});
  mesh.node_sets().create("base", {0, 1, 2});
  mesh.systems().create("statics");
  update.commit();
}

int main() {
  try {
    build("first_model.pdm");
    const auto sim = pdm::open("first_model.pdm");
    const auto mesh = sim.model().mesh();
    const std::vector<double> x = mesh.node_fields()["coordinates"].read<double>(); // [nodes][3], checked
    std::printf("%d nodes, the last at z = %g, system \"%s\"\n", mesh.node_count(), x[11],
                mesh.systems()[0].name().c_str());
  } catch (const pdm::Error& error) { // has file(), path(), operation() and cause()
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
