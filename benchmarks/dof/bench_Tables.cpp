// The tables of a system's numbering: ours, the same bytes written by memset and memcpy, the loop that
// first comes to mind, and one that goes from set bit to set bit.
//
// In resident memory the floor is a plain loop of stores of the same bytes (1.0 to 1.25 of memset, 10
// million nodes, CPU time) and the one pass over the masks that counts them (0.15 to 0.2). Ours is a fifth
// above it: a row and its codes are four stores that mostly lie across the machine's boundaries. AVX2
// would halve their number and save a tenth, which is not worth a second set of functions. Non-temporal
// stores, straight or by way of a buffer in the cache, take longer than plain ones; unrolling changes
// nothing.
//
// In new memory, which a host has that numbers once, nine tenths of the time are the first touch of 4-KiB
// pages: there ours and plain stores take the same. Huge pages (MADV_HUGEPAGE) take a quarter of that
// where the machine has them at hand, but up to six times as long in a virtual machine that has given its
// free memory back to its host; so the tables do not ask for them.

#include "dof_Model.h"

#include <benchmark/benchmark.h>

#include <bit>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

dof_Kind kindOf(const benchmark::State& state) {
  return static_cast<dof_Kind>(state.range(1));
}

void perNode(benchmark::State& state) {
  state.counters["per node"] =
      benchmark::Counter(static_cast<double>(state.range(0)),
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// What a numbering consists of, as a host would keep it.
struct Tables {
  explicit Tables(const std::vector<int>& masks) {
    const fesD_NodalDofDefinition dofs(dof_GiveAway(masks), static_cast<int>(masks.size()), 0, false);
    columns = dofs.MaxNodalDof();
    ordinals.resize(masks.size() * static_cast<std::size_t>(columns));
    codes.resize(static_cast<std::size_t>(dofs.NumberOfDofs()));
    for (int label = 1; label <= 8; ++label)
      idByLabel[label] = label <= dofs.DofLabel(columns - 1) ? dofs.SystemDofId(label) : -1;
  }
  std::vector<int> ordinals, codes;
  int columns, idByLabel[9];
};

template <class KeepOrGiveBack>
void buildOurs(benchmark::State& state, KeepOrGiveBack setMemory) {
  setMemory();
  const int n = static_cast<int>(state.range(0));
  const std::vector<int> masks = dof_Masks(kindOf(state), n);
  for (auto _ : state) {
    state.PauseTiming();
    int* const given = dof_GiveAway(masks);
    state.ResumeTiming();
    const auto* const dofs = new fesD_NodalDofDefinition(given, n, 0, false);
    state.PauseTiming();
    benchmark::DoNotOptimize(dofs->NumberOfDofs());
    delete dofs;
    state.ResumeTiming();
  }
  perNode(state);
}

// Writes so many ints, of which each is another one.
void stores(int* to, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i)
    to[i] = static_cast<int>(i);
}

void storeAll(const std::vector<int>&, Tables& tables) {
  stores(tables.ordinals.data(), tables.ordinals.size());
  stores(tables.codes.data(), tables.codes.size());
}

template <class Work>
void build(benchmark::State& state, Work work) {
  dof_KeepMemory();
  const std::vector<int> masks = dof_Masks(kindOf(state), static_cast<int>(state.range(0)));
  Tables tables(masks);
  for (auto _ : state) {
    work(masks, tables);
    benchmark::ClobberMemory();
  }
  perNode(state);
}

void set(const std::vector<int>&, Tables& tables) {
  std::memset(tables.ordinals.data(), 1, tables.ordinals.size() * sizeof(int));
  std::memset(tables.codes.data(), 1, tables.codes.size() * sizeof(int));
}

// The same into memory that is not there yet, and is gone afterwards.
void buildNew(benchmark::State& state) {
  dof_GiveMemoryBack();
  const Tables tables(dof_Masks(kindOf(state), static_cast<int>(state.range(0))));
  for (auto _ : state) {
    std::unique_ptr<int[]> ordinals(new int[tables.ordinals.size()]), codes(new int[tables.codes.size()]);
    stores(ordinals.get(), tables.ordinals.size());
    stores(codes.get(), tables.codes.size());
    benchmark::ClobberMemory();
    state.PauseTiming();
    ordinals.reset();
    codes.reset();
    state.ResumeTiming();
  }
  perNode(state);
}

// From a source in the cache, so that only the writing counts.
void copy(const std::vector<int>&, Tables& tables) {
  static const std::vector<char> source(1 << 16, 1);
  for (std::vector<int>* table : {&tables.ordinals, &tables.codes}) {
    char* to = reinterpret_cast<char*>(table->data());
    for (std::size_t left = table->size() * sizeof(int), part; left > 0; left -= part, to += part)
      std::memcpy(to, source.data(), part = std::min(left, source.size()));
  }
}

void loop(const std::vector<int>& masks, Tables& tables) {
  std::fill(tables.ordinals.begin(), tables.ordinals.end(), -1);
  int dof = 0;
  for (std::size_t node = 0; node < masks.size(); ++node)
    for (int label = 1; label <= 31; ++label)
      if ((masks[node] & 1 << (label - 1)) != 0) {
        const int id = tables.idByLabel[label];
        tables.ordinals[node * static_cast<std::size_t>(tables.columns) + static_cast<std::size_t>(id)] = dof;
        tables.codes[static_cast<std::size_t>(dof++)] = 128 * (static_cast<int>(node) + 1) + id;
      }
}

void bitLoop(const std::vector<int>& masks, Tables& tables) {
  int* row = tables.ordinals.data();
  int dof = 0, code = 128;
  for (const int mask : masks) {
    for (int id = 0; id < tables.columns; ++id)
      row[id] = -1;
    for (auto rest = static_cast<unsigned>(mask); rest != 0; rest &= rest - 1) {
      const int id = tables.idByLabel[std::countr_zero(rest) + 1];
      row[id] = dof;
      tables.codes[static_cast<std::size_t>(dof++)] = code + id;
    }
    row += tables.columns;
    code += 128;
  }
}

void sizes(benchmark::internal::Benchmark* one) {
  one->ArgsProduct({{100'000, 1'000'000, 10'000'000}, {kUniform, kMixed}})
      ->ArgNames({"nodes", "mixed"})
      ->Unit(benchmark::kMillisecond)
      ->MeasureProcessCPUTime();
}

BENCHMARK_CAPTURE(buildOurs, kept, dof_KeepMemory)->Name("dof tables/ours")->Apply(sizes);
BENCHMARK_CAPTURE(build, memset, set)->Name("dof tables/memset")->Apply(sizes);
BENCHMARK_CAPTURE(build, memcpy, copy)->Name("dof tables/memcpy")->Apply(sizes);
BENCHMARK_CAPTURE(build, stores, storeAll)->Name("dof tables/plain stores")->Apply(sizes);
BENCHMARK_CAPTURE(build, loop, loop)->Name("dof tables/textbook loop")->Apply(sizes);
BENCHMARK_CAPTURE(build, bits, bitLoop)->Name("dof tables/bit loop")->Apply(sizes);
BENCHMARK_CAPTURE(buildOurs, new, dof_GiveMemoryBack)->Name("dof tables in new memory/ours")->Apply(sizes);
BENCHMARK(buildNew)->Name("dof tables in new memory/plain stores")->Apply(sizes);
} // namespace
