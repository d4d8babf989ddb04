// A plate in two materials that warms up, written and looked at by pdm. The same as
// first.py.
#include <pdm/pdm.hpp>

#include <cmath>
#include <cstdio>

static constexpr int kAlong = 24, kAcross = 8; // elements along x and y

static int node(int i, int j) {
  return j * (kAlong + 1) + i;
}

// [mesh]
static pdm::Mesh mesh_of(const pdm::Sim& sim) {
  const auto mesh = sim.create_mesh((kAlong + 1) * (kAcross + 1), kAlong * kAcross);
  std::vector<double> xy;
  for (int j = 0; j <= kAcross; ++j)
    for (int i = 0; i <= kAlong; ++i)
      xy.insert(xy.end(), {3.0 * i / kAlong, 1.0 * j / kAcross});
  mesh.node_fields().create("coordinates", xy,
                            {.unit = "m", .long_name = "x, y", .components = 2});
  return mesh;
}
// [mesh]

// [blocks]
static void add_blocks(const pdm::Mesh& mesh) {
  std::vector<int> quads;
  for (int j = 0; j < kAcross; ++j)
    for (int i = 0; i < kAlong; ++i)
      quads.insert(quads.end(), {node(i, j), node(i + 1, j), node(i + 1, j + 1),
                                 node(i, j + 1)});
  const auto half = std::span(quads).subspan(0, quads.size() / 2);
  mesh.create_block("steel", "QUAD4", 4, half);
  mesh.create_block("copper", "QUAD4", 4, std::span(quads).subspan(half.size()));
}
// [blocks]

// [sets]
static void add_sets(const pdm::Mesh& mesh) {
  std::vector<int> left, elements;
  for (int j = 0; j <= kAcross; ++j)
    left.push_back(node(0, j));
  for (int i = 0; i < kAlong; ++i)
    elements.push_back(i);
  mesh.node_sets().create("left", left);
  mesh.surfaces().create("bottom", elements, std::vector<int>(elements.size(), 0));
}
// [sets]

// [steps]
static void add_steps(const pdm::Sim& sim, const pdm::Mesh& mesh) {
  const std::vector<double> x = mesh.node_fields()["coordinates"].read<double>();
  const auto heat = mesh.node_fields().create_empty("heat", {.unit = "degC"});
  mesh.set_times({});
  for (int step = 0; step < 4; ++step) {
    std::vector<double> now;
    for (std::size_t at = 0; at < x.size(); at += 2)
      now.push_back(20 + 80 * std::exp(-x[at] / (0.25 + 0.5 * step)));
    auto update =
        sim.update(); // time and values reach the file together, or not at all
    mesh.append_time(10.0 * step);
    heat.append(now);
    update.commit();
  }
}
// [steps]

// [reads]
static void look(const char* file) {
  const auto sim = pdm::open(file);
  const auto mesh = sim.model().mesh();
  std::printf("%d nodes, %d elements\n", mesh.node_count(), mesh.element_count());
  for (const auto& block : mesh.blocks())
    std::printf("block %s: %d %s\n", block.name().c_str(), block.size(),
                block.type().c_str());
  const std::vector<int> left = mesh.node_sets()["left"].items();
  std::printf("%zu nodes at the left, %d sides at the bottom\n", left.size(),
              mesh.surfaces()["bottom"].size());
  const auto heat = mesh.node_fields()["heat"];
  for (const double time : mesh.times()) {
    const std::vector<double> values = heat.at(time).read<double>();
    std::printf("%4.0f s: %.4f %s at the last node\n", time, values.back(),
                heat.unit().c_str());
  }
}
// [reads]

// [main]
int main() {
  try {
    {
      const auto sim = pdm::create(
          "cpp.pdm"); // refused if it is there; {.replace = true} gives it up
      auto update = sim.update(); // all of the model is one commit point
      const auto mesh = mesh_of(sim);
      add_blocks(mesh);
      add_sets(mesh);
      update.commit();
      add_steps(sim, mesh);
    } // closed here
    look("cpp.pdm");
  } catch (const pdm::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
// [main]
