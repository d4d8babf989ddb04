#include <fes/dpa/fesD_NodalDofDefinition.h>

#include <fes/dpa/impl/fesD_DofAssert.h>
#include <dof/dof_Tables.h>
#include <dof/dof_Writer.h>
#include <fes/dpa/impl/fesD_DrawerInts.h>
#include <gbb/gbb_Call.h>

#include <algorithm>
#include <bit>
#include <cstdint>
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

// The places of the wanted DOFs, of which there are `all`, in an order; four at once without branches, for as
// long as four more have room behind them.
int placesOf(const fesD_DofBits& wanted, const int* order, int all, int* places) {
  int count = 0, place = 0;
  for (; count <= all - 4; place += 4) {
    const int* const four = order + place;
    const unsigned bits =
        wanted.Bit(four[0]) | wanted.Bit(four[1]) << 1 | wanted.Bit(four[2]) << 2 | wanted.Bit(four[3]) << 3;
    (fesD_Lanes::Splat(place) + fesD_Lanes::Load(fesD_kChosenOfFour[bits << 4 | 15].offsets))
        .Store(places + count);
    count += fesD_kBitsOfFour[bits];
  }
  for (; count < all; ++place)
    if (wanted.Bit(order[place]) != 0)
      places[count++] = place;
  return count;
}
} // namespace

fesD_NodalDofDefinition::fesD_NodalDofDefinition(ORXSimDistributionID masks, int shift, bool addLabel10) {
  const ORXSimDistributionRef distribution(masks);
  FESD_DOF_ASSERT(distribution.NumDrawers() == 1);
  const gbb_Call call("**ERROR fesD_NodalDofDefinition::fesD_NodalDofDefinition: ");
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
  fesD_FillDofTables(m_activityMasks.get(), m_numNodes, sums,
                     {m_systemOrdinals.get(), m_systemDofCodes.get()});
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

// Calls take(mask, chosen, first) for the nodes in order, `first` the node's first system DOF and `chosen`
// its mask or, where it is not selected, 0; take answers the DOF after the node's last. Eight nodes of which
// none is selected are passed over, and their DOFs counted together with those of their like.
template <class Take>
void fesD_NodalDofDefinition::ForSelected(const bool* selected, Take take) const {
  int first = 0, reached = 0; // the first DOF of node `reached`
  for (int block = 0; block < m_numNodes; block += 8) {
    const int end = std::min(block + 8, m_numNodes);
    if (end == block + 8 && noneOfEight(selected + block))
      continue;
    if (reached < block)
      first += fesD_SumMasks(&m_activityMasks[At(reached)], block - reached).dofs;
    for (reached = block; reached < end; ++reached) {
      const unsigned mask = Mask(reached);
      first = take(mask, mask & (0u - static_cast<unsigned>(selected[reached])), first);
    }
  }
}

int* fesD_NodalDofDefinition::SystemDofsFromNodes(const bool* selected, int& count) const {
  fesD_IntArray dofs(fesD_NewInts(m_numDofs));
  fesD_DofWriter writer(dofs.get(), m_numDofs, Labels());
  ForSelected(selected,
              [&](unsigned mask, unsigned chosen, int first) { return writer.Append(mask, chosen, first); });
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
  count = placesOf(wanted, order, all, dofs.get());
  return dofs.release();
}
