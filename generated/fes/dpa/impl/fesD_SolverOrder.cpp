#include <fes/dpa/fesD_NodalDofDefinition.h>

#include <fes/dpa/impl/fesD_DofAssert.h>
#include <dof/dof_Writer.h>
#include <gbb/gbb_Call.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_CSet.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Collection.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>

// Setting up a solver order, and the queries on it.

namespace {
constexpr int kAcousticLabel = 8;
constexpr int kAhead = 16; // nodes by which the memory of one that is out of order is asked for beforehand

[[noreturn]] void refuse(const char* text) {
  err_Write(text);
  err_Flush();
  std::abort();
}

[[noreturn]] void refuseMask(int solverMask, int meshMask) {
  err_Write("ATTEMPTED TO ACTIVATE AN INVALID NODAL DOF.\n");
  err_Write("SOLVER/MESH DOF MASK: ");
  err_Write(solverMask);
  err_Write(" / ");
  err_Write(meshMask);
  refuse("\n");
}

void requireDof(bool known) {
  if (!known) [[unlikely]]
    refuse("ATTEMPTED TO SET SOLVER DOF THAT IS NOT AN ACTIVE MESH DOF.\n");
}

void requireAll(bool complete) {
  if (!complete) [[unlikely]]
    refuse("THE SOLVER AND FE MESH HAVE AN INCONSISTENT NUMBER OF DOFS.\n");
}

bool isDof(int dof, int numDofs) {
  return static_cast<unsigned>(dof) < static_cast<unsigned>(numDofs);
}

// A count that no order can have: whichever of the entries is wrong comes first.
[[noreturn]] void refuseCount(int count, const int* dofs, int numDofs) {
  for (int i = 0; i < count; ++i)
    requireDof(isDof(dofs != nullptr ? dofs[i] : i, numDofs));
  requireAll(false);
  std::abort();
}

// The nodes in their solver's order.
fesD_IntArray nodesByRank(const int* nodeRank, int numNodes) {
  fesD_IntArray nodes(fesD_NewInts(numNodes));
  std::fill_n(nodes.get(), numNodes, -1);
  for (int node = 0; node < numNodes; ++node) {
    FESD_DOF_ASSERT(nodeRank[node] >= 1 && nodeRank[node] <= numNodes);
    int& place = nodes[static_cast<std::size_t>(nodeRank[node] - 1)];
    FESD_DOF_ASSERT(place == -1);
    place = node;
  }
  return nodes;
}

// Copies the list and marks its DOFs. The marks of neighbouring entries mostly share a word, which is
// therefore kept at hand.
void takeDofs(int* order, const int* dofs, int count, int numDofs, fesD_DofBits& seen) {
  int inWord = 0;
  std::uint64_t word = 0;
  for (int i = 0; i < count; ++i) {
    const int dof = dofs[i];
    requireDof(isDof(dof, numDofs));
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
}

// Appends the DOFs that are not marked, ascending.
void appendRest(int* order, int room, const fesD_DofBits& seen, int numDofs) {
  fesD_DofWriter writer(order, room, ~0u);
  for (int first = 0; first < numDofs; first += 32) {
    const auto rest = static_cast<unsigned>(~seen.Word(first) >> (first & 63));
    const unsigned inside = numDofs - first >= 32 ? ~0u : (1u << (numDofs - first)) - 1;
    if ((rest & inside) != 0)
      writer.Append(inside, rest & inside, first);
  }
}
} // namespace

void fesD_NodalDofDefinition::NoSolverOrder() {
  fesD_DofAssertFailed(L"m_solverToSystemId", __LINE__);
}

// Orders are all of one size: the one before is overwritten, in memory that is there already.
int* fesD_NodalDofDefinition::SolverOrderToFill() {
  if (m_solverToSystemId == nullptr)
    m_solverToSystemId.reset(fesD_NewInts(m_numDofs));
  return m_solverToSystemId.get();
}

void fesD_NodalDofDefinition::SetupSolverDofs(const int* nodeRank, const int* solverMasks) {
  const fesD_IntArray nodes = nodeRank != nullptr ? nodesByRank(nodeRank, m_numNodes) : nullptr;
  fesD_DofWriter writer(SolverOrderToFill(), m_numDofs, Labels());
  unsigned solverLabels = 0;
  int first = 0;
  for (int place = 0; place < m_numNodes; ++place) {
    if (nodes != nullptr && place < m_numNodes - kAhead)
      AskForNode(nodes[At(place + kAhead)], solverMasks);
    const int node = nodes != nullptr ? nodes[At(place)] : place;
    const unsigned mask = Mask(node), chosen = static_cast<unsigned>(solverMasks[node]);
    if ((chosen & ~mask) != 0) [[unlikely]]
      refuseMask(solverMasks[node], m_activityMasks[At(node)]);
    if (mask == 0)
      continue;
    solverLabels |= chosen;
    first = writer.Append(mask, chosen, nodes != nullptr ? FirstDof(node) : first);
  }
  m_numSolverDofs = writer.Written();
  AppendUnchosen(writer, solverMasks);
  BuildSolverDofIdMaps(solverLabels);
}

void fesD_NodalDofDefinition::AskForNode(int node, const int* solverMasks) const {
  fesD_Prefetch(&m_activityMasks[At(node)]);
  fesD_Prefetch(solverMasks + node);
  fesD_Prefetch(&m_systemOrdinals[At(node) * At(m_maxNodalDof)]);
}

// Completes an order that has for each node the labels of a mask: no DOF is in it twice, and those that are
// not follow from the masks.
void fesD_NodalDofDefinition::AppendUnchosen(fesD_DofWriter& writer, const int* solverMasks) const {
  int first = 0;
  for (int node = 0; writer.Written() < m_numDofs; ++node)
    first = writer.Append(Mask(node), Mask(node) & ~static_cast<unsigned>(solverMasks[node]), first);
}

void fesD_NodalDofDefinition::SetupSolverDofs(int count, const int* systemDofs) {
  if (count < 0 || count > m_numDofs)
    refuseCount(count, systemDofs, m_numDofs);
  int* const order = SolverOrderToFill();
  m_numSolverDofs = count;
  if (systemDofs == nullptr) {
    std::iota(order, order + m_numDofs, 0);
    EvaluateLabels([count](int dof) { return dof < count ? 1u : 0u; });
    return;
  }
  fesD_DofBits seen(m_numDofs);
  takeDofs(order, systemDofs, count, m_numDofs, seen);
  requireAll(seen.Count() == count);
  if (count < m_numDofs)
    appendRest(order + count, m_numDofs - count, seen, m_numDofs);
  if (count == m_numDofs)
    EvaluateLabels([](int) { return 1u; });
  else
    EvaluateLabels([&seen](int dof) { return seen.Bit(dof); });
}

void fesD_NodalDofDefinition::SetupSolverDofs(ORXSimCSetID order) {
  const gbb_Call call("**ERROR fesD_NodalDofDefinition::SetupSolverDofs: ");
  const ORXSimCSet members(order);
  int count = members.Size();
  const fesD_IntArray dofs(fesD_NewInts(count));
  if (!gbb_Call::Check(members.OrderedMembers(dofs.get(), count)))
    count = 0;
  SetupSolverDofs(count, dofs.get());
}

// The labels of which the solver uses a DOF. Goes over the nodes, whose masks lie in order, and ends as soon
// as no label is left to be found, mostly with the first nodes.
template <class Used>
unsigned fesD_NodalDofDefinition::LabelsOf(Used used) const {
  const unsigned all = Labels();
  unsigned missing = all;
  int first = 0;
  for (int node = 0; node < m_numNodes && missing != 0; ++node) {
    const unsigned mask = Mask(node);
    for (unsigned rest = mask & missing; rest != 0; rest &= rest - 1) {
      const unsigned label = rest & (0 - rest);
      if (used(first + fesD_CountBits(mask & (label - 1))))
        missing &= ~label;
    }
    first += fesD_CountBits(mask);
  }
  return all & ~missing;
}

// The acoustic DOFs that the solver uses. Asks about every node, so that nothing depends on which have one.
template <class Used>
int fesD_NodalDofDefinition::CountAcoustic(Used used) const {
  constexpr int before = kAcousticLabel - 1;
  int first = 0, count = 0;
  for (int node = 0; node < m_numNodes; ++node) {
    const unsigned mask = Mask(node);
    const int dof = first + fesD_CountBits(mask & ((1u << before) - 1));
    count += static_cast<int>(mask >> before & used(dof));
    first += fesD_CountBits(mask);
  }
  return count;
}

// `used` answers for each system DOF, and one past the last, 1 where the solver uses it, else 0.
template <class Used>
void fesD_NodalDofDefinition::EvaluateLabels(Used used) {
  const unsigned solverLabels = LabelsOf(used);
  m_numSolverAcousticDofs = (solverLabels >> (kAcousticLabel - 1) & 1) != 0 ? CountAcoustic(used) : 0;
  BuildSolverDofIdMaps(solverLabels);
}

void fesD_NodalDofDefinition::BuildSolverDofIdMaps(unsigned solverLabels) {
  m_systemIdToSolverId.reset(fesD_NewInts(m_maxNodalDof));
  m_solverIdToSystemId.reset(fesD_NewInts(m_maxNodalDof));
  int solverId = 0;
  for (int id = 0; id < m_maxNodalDof; ++id) {
    m_systemIdToSolverId[At(id)] = m_solverIdToSystemId[At(id)] = -1;
    if ((solverLabels >> (DofLabel(id) - 1) & 1) != 0) {
      m_systemIdToSolverId[At(id)] = solverId;
      m_solverIdToSystemId[At(solverId++)] = id;
    }
  }
}

void fesD_NodalDofDefinition::MappingToSolverDofs(int* out) const {
  const int* const order = WithOrder().m_solverToSystemId.get();
  for (int solverDof = 0; solverDof < m_numDofs; ++solverDof)
    out[order[solverDof]] = solverDof;
}

void fesD_NodalDofDefinition::MapToSolverDofs(int* dofs, int n) const {
  const fesD_IntArray places(fesD_NewInts(WithOrder().m_numDofs));
  MappingToSolverDofs(places.get());
  for (int i = 0; i < n; ++i)
    dofs[i] = places[At(dofs[i])];
}

ORXSimCSetID fesD_NodalDofDefinition::WritePermutation(ORXSimCollectionID collection) const {
  const gbb_Call call("**ERROR fesD_NodalDofDefinition::WritePermutation: ");
  const ORXSimCSetID written = ORXSimCollectionRef(collection)
                                   .CreateOrderedCSet(WithOrder().m_solverToSystemId.get(), m_numSolverDofs);
  gbb_Call::Check(!written.IsNull());
  return written;
}
