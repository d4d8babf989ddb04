// A plate in two materials that warms up, written and looked at
// by pdm. The same as first.py.
#include <pdm/pdm.hpp>

#include <cmath>
#include <cstdio>

// Elements along x and y.
static constexpr int kAlong = 24, kAcross = 8;

static int node(int i, int j) {
  return j * (kAlong + 1) + i;
}

// [mesh]
static pdm::Mesh mesh_of(const pdm::Sim& sim) {
  const auto mesh = sim.create_mesh(
      (kAlong + 1) * (kAcross + 1), kAlong * kAcross);
  std::vector<double> xy;
  for (int j = 0; j <= kAcross; ++j)
    for (int i = 0; i <= kAlong; ++i)
      xy.insert(xy.end(),
                {3.0 * i / kAlong, 1.0 * j / kAcross});
  const pdm::FieldOptions options{
      .unit = "m", .long_name = "x, y", .components = 2};
  mesh.node_fields().create("coordinates", xy, options);
  return mesh;
}
// [mesh]

// [blocks]
static void add_blocks(const pdm::Mesh& mesh) {
  std::vector<int> quads;
  for (int j = 0; j < kAcross; ++j)
    for (int i = 0; i < kAlong; ++i)
      quads.insert(quads.end(),
                   {node(i, j), node(i + 1, j),
                    node(i + 1, j + 1), node(i, j + 1)});
  const std::span all(quads);
  const auto half = quads.size() / 2;
  mesh.create_block("steel", "QUAD4", 4, all.first(half));
  mesh.create_block("copper", "QUAD4", 4, all.last(half));
}
// [blocks]

// [sets]
static void add_sets(const pdm::Mesh& mesh) {
  std::vector<int> left, elements, sides(kAlong, 0);
  for (int j = 0; j <= kAcross; ++j)
    left.push_back(node(0, j));
  for (int i = 0; i < kAlong; ++i)
    elements.push_back(i);
  mesh.node_sets().create("left", left);
  mesh.surfaces().create("bottom", elements, sides);
}
// [sets]

// [steps]
static void add_steps(const pdm::Sim& sim,
                      const pdm::Mesh& mesh) {
  const auto fields = mesh.node_fields();
  const auto x = fields["coordinates"].read<double>();
  const auto heat =
      fields.create_empty("heat", {.unit = "degC"});
  mesh.set_times({});
  for (int step = 0; step < 4; ++step) {
    const double far = 0.25 + 0.5 * step;
    std::vector<double> now;
    for (std::size_t at = 0; at < x.size(); at += 2)
      now.push_back(20 + 80 * std::exp(-x[at] / far));
    auto update = sim.update(); // time and values, or nothing
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
  const int nodes = mesh.node_count(),
            elements = mesh.element_count();
  std::printf("%d nodes, %d elements\n", nodes, elements);
  for (const auto& block : mesh.blocks())
    std::printf("block %s: %d %s\n", block.name().c_str(),
                block.size(), block.type().c_str());
  const std::vector<int> left =
      mesh.node_sets()["left"].items();
  const auto bottom = mesh.surfaces()["bottom"];
  std::printf("%zu nodes at the left\n", left.size());
  std::printf("%d sides at the bottom\n", bottom.size());
  const auto heat = mesh.node_fields()["heat"];
  for (const double time : mesh.times()) {
    const double last = heat.at(time).read<double>().back();
    std::printf("%4.0f s: %.4f %s\n", time, last,
                heat.unit().c_str());
  }
}
// [reads]

// [main]
int main() {
  try {
    {
      // refused if it is there; {.replace = true} gives it up
      const auto sim = pdm::create("cpp.pdm");
      auto update = sim.update(); // the model is one change
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
