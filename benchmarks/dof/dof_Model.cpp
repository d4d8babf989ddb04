#include "dof_Model.h"

#include <algorithm>
#include <cstring>
#include <malloc.h>
#include <numeric>
#include <random>

std::vector<int> dof_Masks(dof_Kind kind, int n) {
  constexpr int mixed[8] = {0x3f, 0x07, 0x3f, 0x07, 0x80, 0x87, 0x07, 0};
  std::mt19937 random(1);
  std::vector<int> masks(static_cast<std::size_t>(n));
  for (int& mask : masks)
    mask = kind == kUniform ? 0x3f : mixed[random() >> 29];
  return masks;
}

int* dof_GiveAway(const std::vector<int>& masks) {
  void* const given = mem_OperatorNewThrowBuiltin(masks.size() * sizeof(int));
  std::memcpy(given, masks.data(), masks.size() * sizeof(int));
  return static_cast<int*>(given);
}

std::vector<int> dof_Shuffled(int n) {
  std::vector<int> order(static_cast<std::size_t>(n));
  std::iota(order.begin(), order.end(), 0);
  std::shuffle(order.begin(), order.end(), std::mt19937(2));
  return order;
}

namespace {
std::vector<int> localNodes(int n) {
  std::vector<int> nodes(static_cast<std::size_t>(n));
  std::iota(nodes.begin(), nodes.end(), 0);
  std::mt19937 random(3);
  for (int start = 0; start < n; start += 1000)
    std::shuffle(nodes.begin() + start, nodes.begin() + std::min(start + 1000, n), random);
  return nodes;
}
} // namespace

std::vector<int> dof_ByLocalNodes(const fesD_NodalDofDefinition& dofs) {
  std::vector<int> order;
  order.reserve(static_cast<std::size_t>(dofs.NumberOfDofs()));
  for (const int node : localNodes(dofs.NumberOfNodes()))
    for (int id = 0; id < dofs.MaxNodalDof(); ++id)
      if (const int dof = dofs.SystemOrdinal(node, id); dof >= 0)
        order.push_back(dof);
  return order;
}

std::vector<int> dof_LocalRanks(int n) {
  const std::vector<int> nodes = localNodes(n);
  std::vector<int> ranks(nodes.size());
  for (int place = 0; place < n; ++place)
    ranks[static_cast<std::size_t>(nodes[static_cast<std::size_t>(place)])] = place + 1;
  return ranks;
}

std::vector<char> dof_Selection(int n, int percent) {
  std::mt19937 random(4);
  std::vector<char> selected(static_cast<std::size_t>(n));
  for (char& flag : selected)
    flag = static_cast<int>(random() % 100) < percent;
  return selected;
}

void dof_KeepMemory() {
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, -1);
}

void dof_GiveMemoryBack() {
  mallopt(M_MMAP_MAX, 65536);
  mallopt(M_MMAP_THRESHOLD, 1 << 17);
  malloc_trim(0);
}
