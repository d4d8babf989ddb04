#include <dof/dof_Order.h>

#include <dof/dof_Assert.h>
#include <dof/dof_Bits.h>
#include <dof/dof_Writer.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <numeric>

namespace {
constexpr int kAhead = 16; // nodes by which the memory of one that is out of order is asked for beforehand
constexpr dof_Fault kNoDof = "ATTEMPTED TO SET SOLVER DOF THAT IS NOT AN ACTIVE MESH DOF.\n";
constexpr dof_Fault kInconsistent = "THE SOLVER AND FE MESH HAVE AN INCONSISTENT NUMBER OF DOFS.\n";

[[noreturn]] void refuseMask(int solverMask, int meshMask) {
  err_Write("ATTEMPTED TO ACTIVATE AN INVALID NODAL DOF.\n");
  err_Write("SOLVER/MESH DOF MASK: ");
  err_Write(solverMask);
  err_Write(" / ");
  err_Write(meshMask);
  err_Write("\n");
  err_Flush();
  std::abort();
}

// The nodes in their solver's order.
dof_Ints nodesByRank(const int* nodeRank, int numNodes) {
  dof_Ints nodes(dof_NewInts(numNodes));
  std::fill_n(nodes.get(), numNodes, -1);
  for (int node = 0; node < numNodes; ++node) {
    DOF_ASSERT(nodeRank[node] >= 1 && nodeRank[node] <= numNodes);
    int& place = nodes[dof_At(nodeRank[node] - 1)];
    DOF_ASSERT(place == -1);
    place = node;
  }
  return nodes;
}

// A node's DOFs lie in its row from the column of its lowest label on.
const int* rowOf(const dof_System& system, int node) {
  return system.ordinals + dof_At(node) * dof_At(system.columns);
}
int firstDof(const dof_System& system, int node) {
  return rowOf(system, node)[system.idByLabel[std::countr_zero(system.Mask(node)) + 1]];
}

void askForNode(const dof_System& system, const int* solverMasks, int node) {
  dof_Prefetch(system.masks + node);
  dof_Prefetch(solverMasks + node);
  dof_Prefetch(rowOf(system, node));
}

// Completes an order that has for each node the labels of a mask: no DOF is in it twice, and those that are
// not follow from the masks.
void appendUnchosen(const dof_System& system, const int* solverMasks, dof_Writer& writer) {
  int first = 0;
  for (int node = 0; writer.Written() < system.sums.dofs; ++node) {
    const unsigned mask = system.Mask(node);
    first = writer.Append(mask, mask & ~static_cast<unsigned>(solverMasks[node]), first);
  }
}

bool isDof(int dof, int numDofs) {
  return static_cast<unsigned>(dof) < static_cast<unsigned>(numDofs);
}

// Of a count that no order can have: whichever of the entries is wrong comes first.
dof_Fault faultOfCount(int count, const int* dofs, int numDofs) {
  for (int i = 0; i < count; ++i)
    if (!isDof(dofs != nullptr ? dofs[i] : i, numDofs))
      return kNoDof;
  return kInconsistent;
}

// Copies the list and marks its DOFs. The marks of neighbouring entries mostly share a word, which is
// therefore kept at hand. Answers whether all are DOFs.
bool takeDofs(int* order, const int* dofs, int count, int numDofs, dof_Bits& seen) {
  int inWord = 0;
  std::uint64_t word = 0;
  for (int i = 0; i < count; ++i) {
    const int dof = dofs[i];
    if (!isDof(dof, numDofs)) [[unlikely]]
      return false;
    order[i] = dof;
    if ((dof ^ inWord) >= 64) {
      seen.SetWord(inWord, word);
      inWord = dof;
      word = seen.Word(dof);
    }
    word |= std::uint64_t{1} << (dof & 63);
  }
  if (count > 0)
    seen.SetWord(inWord, word);
  return true;
}

// Appends the DOFs that are not marked, ascending.
void appendRest(int* order, int room, const dof_Bits& seen, int numDofs) {
  dof_Writer writer(order, room, ~0u);
  for (int first = 0; first < numDofs; first += 32) {
    const auto rest = static_cast<unsigned>(~seen.Word(first) >> (first & 63));
    const unsigned inside = numDofs - first >= 32 ? ~0u : (1u << (numDofs - first)) - 1;
    if ((rest & inside) != 0)
      writer.Append(inside, rest & inside, first);
  }
}

// The labels of which the solver uses a DOF. Goes over the nodes, whose masks lie in order, and ends as soon
// as no label is left to be found, mostly with the first nodes.
template <class IsUsed>
unsigned labelsOf(const dof_System& system, IsUsed isUsed) {
  unsigned missing = system.sums.labels;
  int first = 0;
  for (int node = 0; node < system.nodes && missing != 0; ++node) {
    const unsigned mask = system.Mask(node);
    for (unsigned rest = mask & missing; rest != 0; rest &= rest - 1) {
      const unsigned label = rest & (0 - rest);
      if (isUsed(first + dof_CountBits(mask & (label - 1))))
        missing &= ~label;
    }
    first += dof_CountBits(mask);
  }
  return system.sums.labels & ~missing;
}

// The acoustic DOFs that the solver uses. Asks about every node, so that nothing depends on which have one.
template <class IsUsed>
int countAcoustic(const dof_System& system, IsUsed isUsed) {
  constexpr int before = std::countr_zero(dof_kAcoustic);
  int first = 0, count = 0;
  for (int node = 0; node < system.nodes; ++node) {
    const unsigned mask = system.Mask(node);
    const int dof = first + dof_CountBits(mask & (dof_kAcoustic - 1));
    count += static_cast<int>(mask >> before & isUsed(dof));
    first += dof_CountBits(mask);
  }
  return count;
}

// `isUsed` answers for each system DOF, and one past the last, 1 where the solver uses it, else 0.
template <class IsUsed>
dof_Used use(const dof_System& system, int count, IsUsed isUsed) {
  const unsigned labels = labelsOf(system, isUsed);
  return {count, labels, (labels & dof_kAcoustic) != 0 ? countAcoustic(system, isUsed) : 0};
}

} // namespace

dof_Used dof_OrderByNodes(const dof_System& system, const int* nodeRank, const int* solverMasks, int* order) {
  const dof_Ints nodes = nodeRank != nullptr ? nodesByRank(nodeRank, system.nodes) : nullptr;
  dof_Writer writer(order, system.sums.dofs, system.sums.labels);
  dof_Used used;
  int first = 0;
  for (int place = 0; place < system.nodes; ++place) {
    if (nodes != nullptr && place < system.nodes - kAhead)
      askForNode(system, solverMasks, nodes[dof_At(place + kAhead)]);
    const int node = nodes != nullptr ? nodes[dof_At(place)] : place;
    const unsigned mask = system.Mask(node), chosen = static_cast<unsigned>(solverMasks[node]);
    if ((chosen & ~mask) != 0) [[unlikely]]
      refuseMask(solverMasks[node], system.masks[node]);
    if (mask == 0)
      continue;
    used.labels |= chosen;
    first = writer.Append(mask, chosen, nodes != nullptr ? firstDof(system, node) : first);
  }
  used.count = writer.Written();
  appendUnchosen(system, solverMasks, writer);
  return used;
}

dof_Fault dof_OrderByList(const dof_System& system, int count, const int* dofs, int* order, dof_Used& used) {
  const int numDofs = system.sums.dofs;
  used = {};
  if (count < 0 || count > numDofs)
    return faultOfCount(count, dofs, numDofs);
  if (dofs == nullptr) {
    std::iota(order, order + numDofs, 0);
    used = use(system, count, [count](int dof) { return dof < count ? 1u : 0u; });
    return nullptr;
  }
  dof_Bits seen(numDofs);
  if (!takeDofs(order, dofs, count, numDofs, seen))
    return kNoDof;
  if (seen.Count() != count)
    return kInconsistent;
  if (count < numDofs) {
    appendRest(order + count, numDofs - count, seen, numDofs);
    used = use(system, count, [&seen](int dof) { return seen.Bit(dof); });
  } else {
    used = use(system, count, [](int) { return 1u; });
  }
  return nullptr;
}

void dof_NumberSolverLabels(unsigned labels, unsigned solverLabels, int* solverBySystem,
                            int* systemBySolver) {
  int id = 0, solverId = 0;
  for (unsigned rest = labels; rest != 0; rest &= rest - 1, ++id) {
    solverBySystem[id] = systemBySolver[id] = -1;
    if ((solverLabels & rest & (0 - rest)) != 0) {
      solverBySystem[id] = solverId;
      systemBySolver[solverId++] = id;
    }
  }
}
