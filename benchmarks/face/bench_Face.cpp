// What the face of C++20 costs above the plain calls that it makes.

#include <pdm/pdm.hpp>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace {

constexpr int kNodes = 1'000'000, kMembers = 10'000;

void require(bool good) {
  if (!good)
    std::abort();
}

/// A mesh of 1e6 nodes, open for reading in both ways.
struct Model {
  Model() {
    const std::string file =
        (std::filesystem::temp_directory_path() / ("pdm_bench_face_" + std::to_string(::getpid()))).string();
    {
      const pdm::Sim made = pdm::create(file, {.durability = pdm::Durability::scratch});
      const pdm::Mesh fresh = made.create_mesh(kNodes, 1);
      std::vector<double> xyz(3 * std::size_t{kNodes});
      for (std::size_t i = 0; i < xyz.size(); ++i)
        xyz[i] = 0.5 * static_cast<double>(i);
      fresh.node_fields().create("coordinates", xyz, {.components = 3});
      std::vector<int> members(kMembers);
      for (std::size_t i = 0; i < members.size(); ++i)
        members[i] = 7 * static_cast<int>(i);
      fresh.node_sets().create("some", members);
    }
    sim = pdm::open(file);
    std::filesystem::remove(file);
    mesh = sim.model().mesh();
    plain = mesh.handle();
  }
  static const Model& Get() {
    static const Model model;
    return model;
  }

  pdm::Sim sim;
  pdm::Mesh mesh;
  msfD_Mesh plain;
};

void readOurs(benchmark::State& state) {
  const pdm::Mesh mesh = Model::Get().mesh;
  for (auto _ : state)
    benchmark::DoNotOptimize(mesh.node_fields()["coordinates"].read<double>().data());
}
void readPlain(benchmark::State& state) {
  const msfD_Mesh mesh = Model::Get().plain;
  for (auto _ : state) {
    const ORXSimDistributionRef field(mesh.nodeFields().get("coordinates"));
    const ORXSimPersistentDrawerDesc drawer = field.Drawer(0);
    std::vector<double> values(static_cast<std::size_t>(drawer.Items()) *
                               static_cast<std::size_t>(drawer.Components()));
    require(field.ReadItems(0, 0, drawer.Items(), values.data(), drawer.Bytes()));
    benchmark::DoNotOptimize(values.data());
  }
}

std::vector<double>& memory() {
  static std::vector<double> values(3 * std::size_t{kNodes});
  return values;
}
void fillOurs(benchmark::State& state) {
  const pdm::Mesh mesh = Model::Get().mesh;
  for (auto _ : state)
    mesh.node_fields()["coordinates"].read(memory());
}
void fillPlain(benchmark::State& state) {
  const msfD_Mesh mesh = Model::Get().plain;
  for (auto _ : state) {
    const ORXSimDistributionRef field(mesh.nodeFields().get("coordinates"));
    const ORXSimPersistentDrawerDesc drawer = field.Drawer(0);
    require(field.ReadItems(0, 0, drawer.Items(), memory().data(), drawer.Bytes()));
  }
}

void setOurs(benchmark::State& state) {
  const pdm::Mesh mesh = Model::Get().mesh;
  for (auto _ : state)
    benchmark::DoNotOptimize(mesh.node_sets()["some"].items().data());
}
void setPlain(benchmark::State& state) {
  const msfD_Mesh mesh = Model::Get().plain;
  for (auto _ : state) {
    const ORXSimCSet set(mesh.nodeSets().get("some"));
    std::vector<int> items(static_cast<std::size_t>(set.Size()));
    require(set.OrderedMembers(items.data(), static_cast<int>(items.size())));
    benchmark::DoNotOptimize(items.data());
  }
}

} // namespace

BENCHMARK(readOurs)->Name("coordinates/ours")->MeasureProcessCPUTime();
BENCHMARK(readPlain)->Name("coordinates/plain")->MeasureProcessCPUTime();
BENCHMARK(fillOurs)->Name("coordinates_into/ours")->MeasureProcessCPUTime();
BENCHMARK(fillPlain)->Name("coordinates_into/plain")->MeasureProcessCPUTime();
BENCHMARK(setOurs)->Name("set/ours")->MeasureProcessCPUTime();
BENCHMARK(setPlain)->Name("set/plain")->MeasureProcessCPUTime();
