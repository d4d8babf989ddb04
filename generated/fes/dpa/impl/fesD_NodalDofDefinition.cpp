#include <fes/dpa/fesD_NodalDofDefinition.h>

#include <fes/dpa/impl/fesD_DofAssert.h>
#include <fes/dpa/impl/fesD_DofTables.h>
#include <fes/dpa/impl/fesD_DofWriter.h>
#include <fes/dpa/impl/fesD_DrawerInts.h>

#include <algorithm>
#include <bit>
#include <cstring>

// Construction and the queries on the system numbering; the solver order stands in fesD_SolverOrder.cpp.

namespace {
constexpr unsigned kAcousticMask = 1 << 7; // label 8
constexpr unsigned kAcousticTwin = 1 << 9; // label 10
constexpr int kLastLabel = 31;
static_assert(fesD_NodalDofDefinition::kMaxNodes * 128LL + 63 <= INT32_MAX);
static_assert(fesD_NodalDofDefinition::kMaxNodes * static_cast<long long>(kLastLabel) <= INT32_MAX,
              "no number of DOFs overflows");

bool noneOfEight(const bool* selected) {
  static_assert(sizeof(bool) == 1);
  std::uint64_t flags;
  std::memcpy(&flags, selected, sizeof flags);
  return flags == 0;
}
} // namespace

fesD_NodalDofDefinition::fesD_NodalDofDefinition(ORXSimDistributionID masks, int shift, bool addLabel10) {
  const ORXSimDistributionRef distribution(masks);
  FESD_DOF_ASSERT(distribution.NumDrawers() == 1);
  m_activityMasks.reset(fesD_ReadDrawerInts(distribution, m_numNodes));
  TransformMasks(shift, addLabel10);
  BuildSystemDofTables();
}

fesD_NodalDofDefinition::fesD_NodalDofDefinition(int* masks, int numNodes, int shift, bool addLabel10)
    : m_numNodes(std::max(numNodes, 0)), m_activityMasks(masks) {
  FESD_DOF_ASSERT(masks != nullptr || numNodes < 1);
  TransformMasks(shift, addLabel10);
  BuildSystemDofTables();
}

void fesD_NodalDofDefinition::TransformMasks(int shift, bool addLabel10) {
  FESD_DOF_ASSERT(m_numNodes <= kMaxNodes);
  shift &= 31;
  if (shift == 0 && !addLabel10)
    return; // shifted by nothing a mask is what it was
  const unsigned twin = addLabel10 ? kAcousticTwin : 0;
  for (int node = 0; node < m_numNodes; ++node) {
    unsigned mask = Mask(node);
    mask |= (mask & kAcousticMask) != 0 ? twin : 0;
    m_activityMasks[At(node)] = static_cast<int>(mask | mask << shift);
  }
}

void fesD_NodalDofDefinition::BuildSystemDofTables() {
  const fesD_MaskSums sums = fesD_SumMasks(m_activityMasks.get(), m_numNodes);
  const unsigned labels = sums.labels;
  FESD_DOF_ASSERT((labels & 0x80000000) == 0);
  m_numDofs = sums.dofs;
  m_maxNodalDof = fesD_CountBits(labels);
  BuildDofIds(labels);
  m_systemOrdinals.reset(fesD_NewInts(static_cast<long long>(m_maxNodalDof) * m_numNodes));
  m_systemDofCodes.reset(fesD_NewInts(m_numDofs));
  fesD_FillDofTables(m_activityMasks.get(), m_numNodes, sums, {m_systemOrdinals.get(), m_systemDofCodes.get()});
}

void fesD_NodalDofDefinition::BuildDofIds(unsigned labels) {
  const int highest = static_cast<int>(std::bit_width(labels));
  m_dofIdScratch.reset(fesD_NewInts(m_maxNodalDof));
  m_dofIdByLabel.reset(fesD_NewInts(highest + 1));
  m_labelByDofId.reset(fesD_NewInts(m_maxNodalDof));
  m_dofIdByLabel[0] = -1;
  int id = 0;
  for (int label = 1; label <= highest; ++label) {
    const bool used = (labels >> (label - 1) & 1) != 0;
    m_dofIdByLabel[At(label)] = used ? id : -1;
    if (used)
      m_labelByDofId[At(id++)] = label;
  }
}

unsigned fesD_NodalDofDefinition::Labels() const {
  unsigned labels = 0;
  for (int id = 0; id < m_maxNodalDof; ++id)
    labels |= 1u << (DofLabel(id) - 1);
  return labels;
}

const int* fesD_NodalDofDefinition::NodalDofIds(int node, int& count) const {
  count = 0;
  for (unsigned rest = Mask(node); rest != 0; rest &= rest - 1)
    m_dofIdScratch[At(count++)] = SystemDofId(std::countr_zero(rest) + 1);
  return m_dofIdScratch.get();
}

void fesD_NodalDofDefinition::MaxDofToSystemOrdinals(int* flat, int n) const {
  for (int i = 0; i < n; ++i)
    flat[i] = m_systemOrdinals[At(flat[i])];
}

int fesD_NodalDofDefinition::FirstDof(int node) const {
  return SystemOrdinal(node, SystemDofId(std::countr_zero(Mask(node)) + 1));
}

// Calls take(mask, chosen, first) for the nodes in order, `first` the node's first system DOF and `chosen` its
// mask or, where it is not selected, 0; take answers the DOF after the node's last. Eight nodes of which none
// is selected are passed over; the DOF then reached is found again in the row of the next node that has one.
template <class Take>
void fesD_NodalDofDefinition::ForSelected(const bool* selected, Take take) const {
  int first = 0;
  bool passedOver = false;
  for (int block = 0; block < m_numNodes; block += 8) {
    const int end = std::min(block + 8, m_numNodes);
    if (end == block + 8 && noneOfEight(selected + block)) {
      passedOver = true;
      continue;
    }
    for (int node = block; node < end; ++node) {
      const unsigned mask = Mask(node);
      if (passedOver) {
        if (mask == 0)
          continue;
        first = FirstDof(node);
        passedOver = false;
      }
      first = take(mask, mask & (0u - static_cast<unsigned>(selected[node])), first);
    }
  }
}

int* fesD_NodalDofDefinition::SystemDofsFromNodes(const bool* selected, int& count) const {
  fesD_IntArray dofs(fesD_NewInts(m_numDofs));
  fesD_DofWriter writer(dofs.get(), m_numDofs, Labels());
  ForSelected(selected, [&](unsigned mask, unsigned chosen, int first) {
    return writer.Append(mask, chosen, first);
  });
  count = writer.Written();
  return dofs.release();
}

// Marks the selected DOFs and takes them in the solver's order: no inverse, and nothing to sort.
int* fesD_NodalDofDefinition::SolverDofsFromNodes(const bool* selected, int& count) const {
  const int* const order = WithOrder().m_solverToSystemId.get();
  fesD_DofBits wanted(m_numDofs);
  int all = 0;
  ForSelected(selected, [&](unsigned mask, unsigned chosen, int first) {
    const int chosenCount = fesD_CountBits(chosen);
    wanted.SetRun(first, chosenCount);
    all += chosenCount;
    return first + fesD_CountBits(mask);
  });
  fesD_IntArray dofs(fesD_NewInts(m_numDofs));
  count = 0;
  for (int solverDof = 0; count < all; ++solverDof) {
    dofs[At(count)] = solverDof;
    count += wanted.Has(order[solverDof]) ? 1 : 0;
  }
  return dofs.release();
}
