// dof_memory [NODES]: the peak of resident memory in each step, beside the size of the tables that are kept.

#include "dof_Model.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

double kilobytes(const char* field) {
  std::FILE* const status = std::fopen("/proc/self/status", "r");
  char line[256];
  double found = 0;
  while (status != nullptr && std::fgets(line, sizeof line, status) != nullptr)
    if (std::strncmp(line, field, std::strlen(field)) == 0)
      found = std::atof(line + std::strlen(field));
  if (status != nullptr)
    std::fclose(status);
  return found;
}

void forgetPeak() {
  if (std::FILE* const clear = std::fopen("/proc/self/clear_refs", "w")) {
    std::fputs("5", clear);
    std::fclose(clear);
  }
}

double g_start;

void show(const char* step, double tables) {
  std::printf("  %-30s peak %8.1f MB, tables %8.1f MB, ratio %.3f\n", step,
              (kilobytes("VmHWM:") - g_start) / 1024, tables / 1048576,
              (kilobytes("VmHWM:") - g_start) * 1024 / tables);
  forgetPeak();
}

void measure(int nodes, dof_Kind kind) {
  std::printf("%d nodes, %s masks\n", nodes, kind == kUniform ? "uniform" : "mixed");
  const std::vector<int> masks = dof_Masks(kind, nodes), ranks = dof_LocalRanks(nodes);
  forgetPeak();
  g_start = kilobytes("VmRSS:");
  fesD_NodalDofDefinition dofs(dof_GiveAway(masks), nodes, 0, false);
  const double system = 4.0 * nodes * (dofs.MaxNodalDof() + 1) + 4.0 * dofs.NumberOfDofs(),
               all = system + 4.0 * dofs.NumberOfDofs();
  show("building", system);
  dofs.SetupSolverDofs(ranks.data(), masks.data());
  show("order from ranks and masks", all);
  {
    const std::vector<int> list = dof_ByLocalNodes(dofs);
    forgetPeak();
    const double before = g_start;
    g_start += 4.0 * static_cast<double>(list.size()) / 1024;
    dofs.SetupSolverDofs(static_cast<int>(list.size()), list.data());
    show("order from a list", all);
    g_start = before;
  }
  const std::vector<char> half = dof_Selection(nodes, 50);
  forgetPeak();
  int count;
  int* const found = dofs.SolverDofsFromNodes(reinterpret_cast<const bool*>(half.data()), count);
  show("solver DOFs of half the nodes", all + 4.0 * count);
  mem_Free(found);
}

} // namespace

int main(int argc, char** argv) {
  const int nodes = argc > 1 ? std::atoi(argv[1]) : 10'000'000;
  measure(nodes, kUniform);
  measure(nodes, kMixed);
}
