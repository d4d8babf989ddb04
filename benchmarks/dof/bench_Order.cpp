// Solver orders and what is asked of them, ours beside the passes as one first writes them: a flag a DOF, a
// decoded code for each entry, an inverse and a sort.

#include "dof_Model.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {
using Ints = std::vector<int>;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

void require(bool good) {
  if (!good)
    std::abort();
}

enum ListKind { kLocal, kAnywhere, kHalf };

// One model with everything that the runs need; the last one used is kept, since it is dear to make.
struct Model {
  Model(int nodes, dof_Kind kind)
      : masks(dof_Masks(kind, nodes)), dofs(dof_GiveAway(masks), nodes, 0, false) {
    codes.resize(at(dofs.NumberOfDofs()));
    for (int dof = 0; dof < dofs.NumberOfDofs(); ++dof) {
      const fesD_NodeDof of = dofs.NodeDofFromSystemDof(dof);
      codes[at(dof)] = 128 * (of.node + 1) + of.dofId;
    }
  }
  static Model& Of(const benchmark::State& state) {
    static std::unique_ptr<Model> kept;
    static int nodes = 0, kind = 0;
    if (kept == nullptr || nodes != state.range(0) || kind != state.range(1)) {
      dof_KeepMemory();
      kept.reset();
      nodes = static_cast<int>(state.range(0));
      kind = static_cast<int>(state.range(1));
      kept = std::make_unique<Model>(nodes, static_cast<dof_Kind>(kind));
    }
    return *kept;
  }
  Ints List(std::int64_t listKind) const {
    Ints list = listKind == kLocal ? dof_ByLocalNodes(dofs) : dof_Shuffled(dofs.NumberOfDofs());
    if (listKind == kHalf)
      list.resize(list.size() / 2);
    return list;
  }

  Ints masks;
  fesD_NodalDofDefinition dofs;
  Ints codes;
};

// Completes an order as the documentation tells it; answers its length.
std::size_t complete(Ints& order, std::size_t count, std::vector<char>& flags) {
  std::fill(flags.begin(), flags.end(), char{0});
  for (std::size_t i = 0; i < count; ++i) {
    require(at(order[i]) < flags.size());
    flags[at(order[i])] = 1;
  }
  for (std::size_t dof = 0; dof < flags.size(); ++dof)
    if (flags[dof] == 0)
      order[count++] = static_cast<int>(dof);
  return count;
}

void orderListOurs(benchmark::State& state) {
  Model& model = Model::Of(state);
  const Ints list = model.List(state.range(2));
  for (auto _ : state)
    model.dofs.SetupSolverDofs(static_cast<int>(list.size()), list.data());
}

void orderListNaive(benchmark::State& state) {
  const Model& model = Model::Of(state);
  const Ints list = model.List(state.range(2));
  Ints order(model.codes.size());
  std::vector<char> flags(order.size());
  for (auto _ : state) {
    std::copy(list.begin(), list.end(), order.begin());
    unsigned labels = 0;
    int acoustic = 0;
    for (std::size_t i = 0; i < list.size(); ++i) {
      const int label = model.dofs.DofLabel(model.codes[at(order[i])] & 63);
      labels |= 1u << (label - 1);
      acoustic += label == 8;
    }
    require(complete(order, list.size(), flags) == order.size());
    benchmark::DoNotOptimize(labels + static_cast<unsigned>(acoustic));
  }
}

// The solver takes the translations of the second half of the nodes only.
Ints solverMasks(const Model& model) {
  Ints masks = model.masks;
  for (std::size_t node = masks.size() / 2; node < masks.size(); ++node)
    masks[node] &= 7;
  return masks;
}

void orderRanksOurs(benchmark::State& state) {
  Model& model = Model::Of(state);
  const Ints masks = solverMasks(model), ranks = dof_LocalRanks(static_cast<int>(masks.size()));
  for (auto _ : state)
    model.dofs.SetupSolverDofs(ranks.data(), masks.data());
}

void orderRanksNaive(benchmark::State& state) {
  const Model& model = Model::Of(state);
  const Ints masks = solverMasks(model), ranks = dof_LocalRanks(static_cast<int>(masks.size()));
  Ints order(model.codes.size()), inverse(masks.size());
  std::vector<char> flags(order.size());
  for (auto _ : state) {
    for (std::size_t node = 0; node < ranks.size(); ++node)
      inverse[at(ranks[node] - 1)] = static_cast<int>(node);
    std::size_t count = 0;
    for (const int node : inverse)
      for (int label = 1, rest = masks[at(node)]; rest != 0; ++label, rest >>= 1)
        if ((rest & 1) != 0) {
          const int dof = model.dofs.SystemOrdinal(node, model.dofs.SystemDofId(label));
          require(dof >= 0);
          order[count++] = dof;
        }
    require(complete(order, count, flags) == order.size());
  }
}

void inverseOurs(benchmark::State& state) {
  Model& model = Model::Of(state);
  const Ints list = model.List(state.range(2));
  model.dofs.SetupSolverDofs(static_cast<int>(list.size()), list.data());
  Ints places(list.size());
  for (auto _ : state)
    model.dofs.MappingToSolverDofs(places.data());
}

void inverseCopy(benchmark::State& state) {
  const Ints list = Model::Of(state).List(state.range(2));
  Ints places(list.size());
  for (auto _ : state) {
    std::memcpy(places.data(), list.data(), list.size() * sizeof(int));
    benchmark::ClobberMemory();
  }
}

struct Selection {
  Selection(benchmark::State& state)
      : model(Model::Of(state)),
        flags(dof_Selection(static_cast<int>(state.range(0)), static_cast<int>(state.range(2)))),
        nodes(reinterpret_cast<const bool*>(flags.data())), order(model.List(kLocal)) {
    model.dofs.SetupSolverDofs(static_cast<int>(order.size()), order.data());
  }
  Model& model;
  std::vector<char> flags;
  const bool* nodes;
  Ints order;
};

void selectOurs(benchmark::State& state) {
  const Selection of(state);
  for (auto _ : state) {
    int count;
    mem_Free(of.model.dofs.SolverDofsFromNodes(of.nodes, count));
  }
}

int extract(const Selection& of, Ints& out) {
  int count = 0;
  for (int node = 0; node < of.model.dofs.NumberOfNodes(); ++node)
    for (int id = 0; of.nodes[node] && id < of.model.dofs.MaxNodalDof(); ++id)
      if (const int dof = of.model.dofs.SystemOrdinal(node, id); dof >= 0)
        out[at(count++)] = dof;
  return count;
}

void selectStd(benchmark::State& state) {
  const Selection of(state);
  Ints out(of.order.size()), places(of.order.size());
  for (auto _ : state) {
    const int count = extract(of, out);
    of.model.dofs.MappingToSolverDofs(places.data());
    for (int i = 0; i < count; ++i)
      out[at(i)] = places[at(out[at(i)])];
    std::sort(out.begin(), out.begin() + count);
  }
}

// The sorting alone, of what is extracted and mapped already.
void selectSortOnly(benchmark::State& state) {
  const Selection of(state);
  Ints mapped(of.order.size());
  mapped.resize(at(extract(of, mapped)));
  of.model.dofs.MapToSolverDofs(mapped.data(), static_cast<int>(mapped.size()));
  Ints sorted = mapped;
  for (auto _ : state) {
    state.PauseTiming();
    sorted = mapped;
    state.ResumeTiming();
    std::sort(sorted.begin(), sorted.end());
  }
  int count;
  int* const ours = of.model.dofs.SolverDofsFromNodes(of.nodes, count);
  if (!std::equal(sorted.begin(), sorted.end(), ours, ours + count))
    state.SkipWithError("the selections differ");
  mem_Free(ours);
}

void extractOurs(benchmark::State& state) {
  const Selection of(state);
  for (auto _ : state) {
    int count;
    mem_Free(of.model.dofs.SystemDofsFromNodes(of.nodes, count));
  }
}

void extractLoop(benchmark::State& state) {
  const Selection of(state);
  Ints out(of.order.size());
  for (auto _ : state)
    benchmark::DoNotOptimize(extract(of, out));
}

template <int... Thirds>
void sizes(benchmark::internal::Benchmark* one) {
  for (const int nodes : {100'000, 1'000'000, 10'000'000})
    for (const int kind : {kUniform, kMixed})
      (one->Args({nodes, kind, Thirds}), ...);
  one->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
}

#define PDM_BENCH(function, name, third, ...)                                                                \
  BENCHMARK(function)->Name(name)->ArgNames({"nodes", "mixed", third})->Apply(sizes<__VA_ARGS__>)
PDM_BENCH(orderListOurs, "dof order from list/ours", "list", kLocal, kAnywhere, kHalf);
PDM_BENCH(orderListNaive, "dof order from list/three passes", "list", kLocal, kAnywhere, kHalf);
PDM_BENCH(orderRanksOurs, "dof order from ranks/ours", "", 0);
PDM_BENCH(orderRanksNaive, "dof order from ranks/loop", "", 0);
PDM_BENCH(inverseOurs, "dof order inverse/ours", "list", kLocal, kAnywhere);
PDM_BENCH(inverseCopy, "dof order inverse/memcpy", "list", kLocal, kAnywhere);
PDM_BENCH(selectOurs, "solver dofs of nodes/ours", "percent", 50, 1);
PDM_BENCH(selectStd, "solver dofs of nodes/inverse and std::sort", "percent", 50, 1);
PDM_BENCH(selectSortOnly, "solver dofs of nodes/std::sort alone", "percent", 50, 1);
PDM_BENCH(extractOurs, "system dofs of nodes/ours", "percent", 50, 1);
PDM_BENCH(extractLoop, "system dofs of nodes/loop", "percent", 50, 1);
} // namespace
