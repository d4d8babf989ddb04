// The tables of a system's numbering by PETSc: a section that has one point a node gives the first DOF of
// each, and from it the same two tables are written.

#include "dof_Model.h"

#include <benchmark/benchmark.h>
#include <petscsection.h>

#include <bit>
#include <cstdlib>

namespace {

void must(PetscErrorCode error) {
  if (error != 0)
    std::abort();
}

void withSection(const std::vector<int>& masks, int columns, const int* idByLabel, std::vector<int>& ordinals,
                 std::vector<int>& codes) {
  const auto n = static_cast<PetscInt>(masks.size());
  PetscSection section;
  must(PetscSectionCreate(PETSC_COMM_SELF, &section));
  must(PetscSectionSetChart(section, 0, n));
  for (PetscInt node = 0; node < n; ++node)
    must(PetscSectionSetDof(section, node,
                            std::popcount(static_cast<unsigned>(masks[static_cast<std::size_t>(node)]))));
  must(PetscSectionSetUp(section));
  for (PetscInt node = 0; node < n; ++node) {
    PetscInt dof;
    must(PetscSectionGetOffset(section, node, &dof));
    int* const row = ordinals.data() + static_cast<std::ptrdiff_t>(node) * columns;
    for (int id = 0; id < columns; ++id)
      row[id] = -1;
    for (auto rest = static_cast<unsigned>(masks[static_cast<std::size_t>(node)]); rest != 0;
         rest &= rest - 1) {
      const int id = idByLabel[std::countr_zero(rest) + 1];
      row[id] = dof;
      codes[static_cast<std::size_t>(dof++)] = 128 * (node + 1) + id;
    }
  }
  must(PetscSectionDestroy(&section));
}

void buildPetsc(benchmark::State& state) {
  static const bool up = (must(PetscInitializeNoArguments()), true);
  benchmark::DoNotOptimize(up);
  dof_KeepMemory();
  const std::vector<int> masks =
      dof_Masks(static_cast<dof_Kind>(state.range(1)), static_cast<int>(state.range(0)));
  const fesD_NodalDofDefinition ours(dof_GiveAway(masks), static_cast<int>(masks.size()), 0, false);
  const int columns = ours.MaxNodalDof();
  int idByLabel[9];
  for (int label = 1; label <= ours.DofLabel(columns - 1); ++label)
    idByLabel[label] = ours.SystemDofId(label);
  std::vector<int> ordinals(masks.size() * static_cast<std::size_t>(columns)),
      codes(static_cast<std::size_t>(ours.NumberOfDofs()));
  for (auto _ : state)
    withSection(masks, columns, idByLabel, ordinals, codes);
  for (int dof = 0; dof < ours.NumberOfDofs(); ++dof) {
    const int code = codes[static_cast<std::size_t>(dof)];
    const fesD_NodeDof expected = ours.NodeDofFromSystemDof(dof);
    if ((code >> 7) - 1 != expected.node || (code & 63) != expected.dofId)
      state.SkipWithError("the tables differ");
  }
}

BENCHMARK(buildPetsc)
    ->Name("dof tables/petsc")
    ->ArgsProduct({{100'000, 1'000'000, 10'000'000}, {kUniform, kMixed}})
    ->ArgNames({"nodes", "mixed"})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();
} // namespace
