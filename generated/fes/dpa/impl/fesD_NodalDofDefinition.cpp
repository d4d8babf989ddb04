#include <fes/dpa/fesD_NodalDofDefinition.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_CSet.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Collection.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Transfer.h>
#include <dof/dof_Assert.h>
#include <dof/dof_Memory.h>
#include <dof/dof_Order.h>
#include <dof/dof_Selection.h>
#include <dof/dof_Tables.h>
#include <gbb/gbb_Call.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>

// Keeps the arrays and goes to the file; what is numbered is numbered in dof/.

namespace {
constexpr int kLastLabel = 31;
static_assert(fesD_NodalDofDefinition::kMaxNodes * 128LL + 63 <= INT32_MAX);
static_assert(fesD_NodalDofDefinition::kMaxNodes * static_cast<long long>(kLastLabel) <= INT32_MAX,
              "no number of DOFs overflows");

// All of a drawer, as what it must be. Ends with the first thing that is wrong, which is the cause.
bool readDrawer(const ORXSimDistributionRef& distribution, const ORXSimPersistentDrawerDesc& drawer,
                int* ints) {
  ORXSimTransfer transfer(distribution);
  transfer.SetRead();
  transfer.SetBufferPadding(false);
  transfer.SetItemType(ORXSimItemType::kInt32);
  transfer.SetDim(0, drawer.CSet());
  if (!transfer.CheckView())
    return false;
  transfer.SetBuffer(0, ints, std::int64_t{drawer.Items()} * ORXSimItemSize(ORXSimItemType::kInt32));
  const bool read = transfer.ExecRead();
  transfer.RelinquishBuffers();
  return read;
}
} // namespace

int* fesD_NodalDofDefinition::ReadInts(const ORXSimDistributionRef& distribution, int& count) {
  ORXSimArray<ORXSimPersistentDrawerDesc> drawers(1);
  const bool known = distribution.QueryDrawers(drawers);
  int* const ints = dof_NewInts(drawers[0].Items());
  const bool read = gbb_Call::Check(known && readDrawer(distribution, drawers[0], ints));
  count = read ? drawers[0].Items() : 0;
  return ints;
}

fesD_NodalDofDefinition::fesD_NodalDofDefinition(ORXSimDistributionID masks, int shift, bool addLabel10) {
  const ORXSimDistributionRef distribution(masks);
  DOF_ASSERT(distribution.NumDrawers() == 1);
  const gbb_Call call("**ERROR fesD_NodalDofDefinition::fesD_NodalDofDefinition: ");
  m_activityMasks.reset(ReadInts(distribution, m_numNodes));
  NumberSystem(shift, addLabel10);
}

fesD_NodalDofDefinition::fesD_NodalDofDefinition(int* masks, int numNodes, int shift, bool addLabel10)
    : m_numNodes(std::max(numNodes, 0)), m_activityMasks(masks) {
  DOF_ASSERT(masks != nullptr || numNodes < 1);
  NumberSystem(shift, addLabel10);
}

void fesD_NodalDofDefinition::NumberSystem(int shift, bool addLabel10) {
  DOF_ASSERT(m_numNodes <= kMaxNodes);
  int* const masks = m_activityMasks.get();
  dof_TransformMasks(masks, m_numNodes, shift, addLabel10);
  const dof_MaskSums sums = dof_SumMasks(masks, m_numNodes);
  const unsigned labels = sums.labels;
  DOF_ASSERT((labels & 0x80000000) == 0);
  m_numDofs = sums.dofs;
  m_maxNodalDof = std::popcount(labels);
  m_dofIdScratch.reset(dof_NewInts(m_maxNodalDof));
  m_dofIdByLabel.reset(dof_NewInts(static_cast<int>(std::bit_width(labels)) + 1));
  m_labelByDofId.reset(dof_NewInts(m_maxNodalDof));
  dof_NumberLabels(labels, m_dofIdByLabel.get(), m_labelByDofId.get());
  m_systemOrdinals.reset(dof_NewInts(static_cast<long long>(m_maxNodalDof) * m_numNodes));
  m_systemDofCodes.reset(dof_NewInts(m_numDofs));
  dof_FillTables(masks, m_numNodes, sums, {m_systemOrdinals.get(), m_systemDofCodes.get()});
}

dof_System fesD_NodalDofDefinition::System() const {
  unsigned labels = 0;
  for (int id = 0; id < m_maxNodalDof; ++id)
    labels |= 1u << (DofLabel(id) - 1);
  return {m_activityMasks.get(), m_numNodes,           {labels, m_numDofs},
          m_maxNodalDof,         m_dofIdByLabel.get(), m_systemOrdinals.get()};
}

const int* fesD_NodalDofDefinition::NodalDofIds(int node, int& count) const {
  count = 0;
  if (At(node) >= At(m_numNodes))
    return nullptr;
  const auto mask = static_cast<unsigned>(m_activityMasks[At(node)]);
  count = dof_IdsOf(mask, m_dofIdByLabel.get(), m_dofIdScratch.get());
  return m_dofIdScratch.get();
}

void fesD_NodalDofDefinition::MaxDofToSystemOrdinals(int* flat, int n) const {
  for (int i = 0; i < n; ++i)
    flat[i] = m_systemOrdinals[At(flat[i])];
}

int* fesD_NodalDofDefinition::SystemDofsFromNodes(const bool* selected, int& count) const {
  fesD_IntArray dofs(dof_NewInts(m_numDofs));
  count = dof_SelectSystemDofs(System(), selected, dofs.get());
  return dofs.release();
}

// Orders are all of one size: the one before is overwritten, in memory that is there already.
int* fesD_NodalDofDefinition::SolverOrderToFill() {
  if (m_solverToSystemId == nullptr)
    m_solverToSystemId.reset(dof_NewInts(m_numDofs));
  return m_solverToSystemId.get();
}

void fesD_NodalDofDefinition::SetupSolverDofs(const int* nodeRank, const int* solverMasks) {
  const dof_System system = System();
  const dof_Used used = dof_OrderByNodes(system, nodeRank, solverMasks, SolverOrderToFill());
  m_numSolverDofs = used.count;
  NumberSolverLabels(system.sums.labels, used.labels);
}

const char* fesD_NodalDofDefinition::FaultOfOrder(int count, const int* systemDofs) {
  const dof_System system = System();
  dof_Used used;
  if (const dof_Fault fault = dof_OrderByList(system, count, systemDofs, SolverOrderToFill(), used))
    return fault;
  m_numSolverDofs = used.count;
  m_numSolverAcousticDofs = used.acoustic;
  NumberSolverLabels(system.sums.labels, used.labels);
  return nullptr;
}

void fesD_NodalDofDefinition::SetupSolverDofs(int count, const int* systemDofs) {
  if (const char* const fault = FaultOfOrder(count, systemDofs)) [[unlikely]] {
    err_Write(fault);
    err_Flush();
    std::abort();
  }
}

bool fesD_NodalDofDefinition::TrySetupSolverDofs(int count, const int* systemDofs) {
  const bool good = FaultOfOrder(count, systemDofs) == nullptr;
  if (!good)
    m_solverToSystemId.reset();
  return good;
}

void fesD_NodalDofDefinition::SetupSolverDofs(ORXSimCSetID order) {
  const gbb_Call call("**ERROR fesD_NodalDofDefinition::SetupSolverDofs: ");
  const ORXSimCSet members(order);
  int count = members.Size();
  const fesD_IntArray dofs(dof_NewInts(count));
  if (!gbb_Call::Check(members.OrderedMembers(dofs.get(), count)))
    count = 0;
  SetupSolverDofs(count, dofs.get());
}

void fesD_NodalDofDefinition::NumberSolverLabels(unsigned labels, unsigned solverLabels) {
  m_systemIdToSolverId.reset(dof_NewInts(m_maxNodalDof));
  m_solverIdToSystemId.reset(dof_NewInts(m_maxNodalDof));
  dof_NumberSolverLabels(labels, solverLabels, m_systemIdToSolverId.get(), m_solverIdToSystemId.get());
}

void fesD_NodalDofDefinition::NoSolverOrder() {
  dof_AssertFailed(L"m_solverToSystemId", __LINE__);
}

void fesD_NodalDofDefinition::MappingToSolverDofs(int* out) const {
  const int* const order = WithOrder().m_solverToSystemId.get();
  for (int solverDof = 0; solverDof < m_numDofs; ++solverDof)
    out[order[solverDof]] = solverDof;
}

void fesD_NodalDofDefinition::MapToSolverDofs(int* dofs, int n) const {
  const fesD_IntArray places(dof_NewInts(WithOrder().m_numDofs));
  MappingToSolverDofs(places.get());
  for (int i = 0; i < n; ++i)
    dofs[i] = places[At(dofs[i])];
}

int* fesD_NodalDofDefinition::SolverDofsFromNodes(const bool* selected, int& count) const {
  const int* const order = WithOrder().m_solverToSystemId.get();
  fesD_IntArray places(dof_NewInts(m_numDofs));
  count = dof_SelectPlaces(System(), order, selected, places.get());
  return places.release();
}

ORXSimCSetID fesD_NodalDofDefinition::WritePermutation(ORXSimCollectionID collection) const {
  const gbb_Call call("**ERROR fesD_NodalDofDefinition::WritePermutation: ");
  const ORXSimCSetID written = ORXSimCollectionRef(collection)
                                   .CreateOrderedCSet(WithOrder().m_solverToSystemId.get(), m_numSolverDofs);
  gbb_Call::Check(!written.IsNull());
  return written;
}
