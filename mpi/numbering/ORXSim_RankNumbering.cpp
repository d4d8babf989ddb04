#include <mpi/ORXSim_RankNumbering.h>

#include <mpi/numbering/rnk_Pattern.h>
#include <mpi/numbering/rnk_Post.h>
#include <mpi/numbering/rnk_Store.h>

#include <dof/dof_Bits.h>
#include <dof/dof_Order.h>

#include <bit>
#include <optional>

struct ORXSimRankNumbering::State {
  State(const rnk_Agreement& ranks, rnk_Parts nodes) : system(ranks, std::move(nodes)) {}

  const rnk_Order* Order() const { return order ? &*order : nullptr; }
  // The place of a DOF of this rank, counted from its first; -1 where the solver does not use it.
  std::int64_t Place(std::int64_t dof) const {
    if (!order)
      return system.FirstDof() + dof;
    const std::int64_t place = order->places[rnk_At(dof)];
    return place < order->Count() ? place : -1;
  }

  rnk_System system;
  std::optional<rnk_Order> order;
};

namespace {

// Ranks are in the same stage all, since each stage is agreed on: no call is needed to know this of the
// others.
bool refuse(const char* text) {
  rnk_Agreement::SetLastError(text);
  return false;
}
constexpr const char *kNoNodes = "numbering: no nodes are set", *kNumbered = "numbering: is numbered already",
                     *kNotNumbered = "numbering: is not numbered yet";

bool agree(const rnk_Agreement& ranks, bool good, const char* cause) {
  return ranks.All(good, rnk_Cause(ranks, cause));
}

constexpr const char* kNoArrays = "a count below 0, or entries without arrays of them";

rnk_Elements elementsOf(const ORXSimRankElements& elements) {
  return {elements.nodes, elements.count, elements.width};
}

} // namespace

ORXSimRankNumbering::ORXSimRankNumbering() noexcept = default;
ORXSimRankNumbering::ORXSimRankNumbering(ORXSimRankNumbering&& other) noexcept = default;
ORXSimRankNumbering& ORXSimRankNumbering::operator=(ORXSimRankNumbering&& other) noexcept = default;
ORXSimRankNumbering::~ORXSimRankNumbering() = default;

bool ORXSimRankNumbering::CanStore(const ORXSimRanks& ranks) const {
  if (m_state == nullptr || !m_state->system.IsNumbered())
    return refuse(kNotNumbered);
  int same = MPI_UNEQUAL;
  if (!!ranks)
    MPI_Comm_compare(ranks.Comm(), m_state->system.Ranks().Comm(), &same);
  return same == MPI_IDENT || same == MPI_CONGRUENT || refuse("numbering: the file's ranks are others");
}

bool ORXSimRankNumbering::SetNodes(MPI_Comm comm, std::int64_t first, std::int64_t count) {
  const rnk_Agreement ranks(comm);
  rnk_Parts nodes;
  if (!rnk_System::Tile(ranks, first, count, nodes))
    return false;
  std::string cause;
  std::unique_ptr<State> state;
  const bool room = rnk_Try(cause, [&] {
    state = std::make_unique<State>(ranks, std::move(nodes));
    return true;
  });
  if (!ranks.All(room, rnk_Cause(ranks, cause)))
    return false;
  m_state = std::move(state);
  return true;
}

bool ORXSimRankNumbering::AddMasks(const int* masks) {
  const std::int64_t first = FirstNode(), count = NodeCount();
  if (m_state == nullptr || m_state->system.IsNumbered())
    return refuse(m_state == nullptr ? kNoNodes : kNumbered);
  return agree(m_state->system.Ranks(), count == 0 || masks != nullptr, kNoArrays) &&
         m_state->system.Add(
             count, [=](std::int64_t i) { return first + i; }, [=](std::int64_t i) { return masks[i]; });
}

bool ORXSimRankNumbering::AddMasks(std::int64_t n, const std::int64_t* nodes, const int* masks) {
  if (m_state == nullptr || m_state->system.IsNumbered())
    return refuse(m_state == nullptr ? kNoNodes : kNumbered);
  const bool good = n == 0 || (n > 0 && nodes != nullptr && masks != nullptr);
  return agree(m_state->system.Ranks(), good, kNoArrays) &&
         m_state->system.Add(
             n, [=](std::int64_t i) { return nodes[i]; }, [=](std::int64_t i) { return masks[i]; });
}

bool ORXSimRankNumbering::AddElementMasks(const ORXSimRankElements& elements, const int* masks) {
  if (m_state == nullptr || m_state->system.IsNumbered())
    return refuse(m_state == nullptr ? kNoNodes : kNumbered);
  const auto [nodes, count, width] = elements;
  const bool good = width > 0 && (count == 0 || (count > 0 && nodes != nullptr && masks != nullptr));
  return agree(m_state->system.Ranks(), good, kNoArrays) &&
         m_state->system.Add(
             count * width, [nodes = nodes](std::int64_t i) { return nodes[i]; },
             [masks, width = width](std::int64_t i) { return masks[i / width]; });
}

bool ORXSimRankNumbering::Number(int shift, bool addLabel10) {
  if (m_state == nullptr || m_state->system.IsNumbered())
    return refuse(m_state == nullptr ? kNoNodes : kNumbered);
  return m_state->system.Number(shift, addLabel10);
}

std::int64_t ORXSimRankNumbering::NumberOfNodes() const {
  return m_state == nullptr ? 0 : m_state->system.Nodes().Total();
}
std::int64_t ORXSimRankNumbering::FirstNode() const {
  return m_state == nullptr ? 0 : m_state->system.FirstNode();
}
std::int64_t ORXSimRankNumbering::NodeCount() const {
  return m_state == nullptr ? 0 : m_state->system.NodeCount();
}
const int* ORXSimRankNumbering::ActivityMasks() const {
  return m_state == nullptr ? nullptr : m_state->system.Masks();
}

std::int64_t ORXSimRankNumbering::NumberOfDofs() const {
  return m_state == nullptr ? 0 : m_state->system.Dofs().Total();
}
std::int64_t ORXSimRankNumbering::FirstDof() const {
  return m_state == nullptr || !m_state->system.IsNumbered() ? 0 : m_state->system.FirstDof();
}
std::int64_t ORXSimRankNumbering::DofCount() const {
  return m_state == nullptr ? 0 : m_state->system.DofCount();
}
int ORXSimRankNumbering::MaxNodalDof() const {
  return m_state == nullptr ? 0 : dof_CountBits(m_state->system.Labels());
}
int ORXSimRankNumbering::SystemDofId(int label) const {
  if (m_state == nullptr || label < 1 || label > 31 || (m_state->system.Labels() >> (label - 1) & 1) == 0)
    return -1;
  return dof_CountBits(m_state->system.Labels() & ((1u << (label - 1)) - 1));
}
int ORXSimRankNumbering::DofLabel(int dofId) const {
  if (dofId < 0 || dofId >= MaxNodalDof())
    return -1;
  unsigned labels = m_state->system.Labels();
  for (int id = 0; id < dofId; ++id)
    labels &= labels - 1;
  return std::countr_zero(labels) + 1;
}

std::int64_t ORXSimRankNumbering::SystemOrdinal(std::int64_t node, int dofId) const {
  if (node < FirstNode() || node - FirstNode() >= NodeCount() || dofId < 0 || dofId >= MaxNodalDof())
    return -1;
  const std::int64_t own = m_state->system.Tables().Ordinal(node - FirstNode(), dofId);
  return own < 0 ? -1 : FirstDof() + own;
}
std::int64_t ORXSimRankNumbering::FirstDofOfNode(std::int64_t node) const {
  if (node < FirstNode() || node - FirstNode() >= NodeCount())
    return -1;
  return SystemOrdinal(node, SystemDofId(std::countr_zero(m_state->system.Mask(node - FirstNode())) + 1));
}
ORXSimRankNodeDof ORXSimRankNumbering::NodeDofFromSystemDof(std::int64_t systemDof) const {
  if (systemDof < FirstDof() || systemDof - FirstDof() >= DofCount())
    return {-1, -1};
  const rnk_NodeDof own = m_state->system.Tables().NodeDof(systemDof - FirstDof());
  return {FirstNode() + own.node, own.dofId};
}

bool ORXSimRankNumbering::SetupSolverDofs(const std::int64_t* nodeRank, const int* solverMasks) {
  if (m_state == nullptr || !m_state->system.IsNumbered())
    return refuse(kNotNumbered);
  rnk_Order order;
  order.acoustic = NumberOfSolverAcousticDofs();
  if (!rnk_OrderByNodes(m_state->system, nodeRank, solverMasks, order))
    return false;
  m_state->order = std::move(order);
  return true;
}

bool ORXSimRankNumbering::SetupSolverDofs(std::int64_t count, const std::int64_t* systemDofs) {
  if (m_state == nullptr || !m_state->system.IsNumbered())
    return refuse(kNotNumbered);
  rnk_Order order;
  if (!rnk_OrderByList(m_state->system, count, systemDofs, order))
    return false;
  m_state->order = std::move(order);
  return true;
}

bool ORXSimRankNumbering::HasSolverOrder() const {
  return m_state != nullptr && m_state->order.has_value();
}
std::int64_t ORXSimRankNumbering::NumberOfSolverDofs() const {
  return HasSolverOrder() ? m_state->order->Count() : NumberOfDofs();
}
std::int64_t ORXSimRankNumbering::NumberOfSolverAcousticDofs() const {
  return HasSolverOrder() ? m_state->order->acoustic : 0;
}
int ORXSimRankNumbering::SolverDofIdFromSystemDofId(int dofId) const {
  if (!HasSolverOrder() || DofLabel(dofId) < 0)
    return DofLabel(dofId) < 0 ? -1 : dofId;
  int solverIds[31], systemIds[31];
  dof_NumberSolverLabels(m_state->system.Labels(), m_state->order->labels, solverIds, systemIds);
  return solverIds[dofId];
}
const std::int64_t* ORXSimRankNumbering::SolverDofs() const {
  return HasSolverOrder() ? m_state->order->places.data() : nullptr;
}

bool ORXSimRankNumbering::SolverOrder(std::int64_t& first, std::vector<std::int64_t>& dofs) const {
  if (m_state == nullptr || !m_state->system.IsNumbered())
    return refuse(kNotNumbered);
  return rnk_ListOrder(m_state->system, m_state->Order(), first, dofs);
}

bool ORXSimRankNumbering::Pattern(const ORXSimRankElements* elements, int n,
                                  ORXSimRankPattern& pattern) const {
  if (m_state == nullptr || !m_state->system.IsNumbered())
    return refuse(kNotNumbered);
  const rnk_Agreement& ranks = m_state->system.Ranks();
  std::string cause;
  std::vector<rnk_Elements> drawers;
  const bool good = rnk_Try(cause, [&] {
    cause = n >= 0 && (n == 0 || elements != nullptr) ? "" : kNoArrays;
    for (int i = 0; cause.empty() && i < n; ++i)
      drawers.push_back(elementsOf(elements[i]));
    return cause.empty();
  });
  rnk_Pattern made;
  if (!ranks.All(good, rnk_Cause(ranks, cause)) ||
      !rnk_FillPattern(m_state->system, m_state->Order(), drawers, made))
    return false;
  pattern = {std::move(made.rows), std::move(made.begin), std::move(made.columns)};
  return true;
}

bool ORXSimRankNumbering::StoreMasks(const ORXSimRanks& ranks, ORXSimCollectionID nodes,
                                     ORXSimDistributionID& stored) const {
  return CanStore(ranks) && rnk_StoreDrawer(ranks, m_state->system.Nodes(), ActivityMasks(), nodes,
                                            {"nodalActivityMask", ORXSimItemType::kInt32, 1}, stored);
}

bool ORXSimRankNumbering::StoreOrder(const ORXSimRanks& ranks, ORXSimCollectionID dofs,
                                     ORXSimCSetID& stored) const {
  std::int64_t first = 0;
  std::vector<std::int64_t> mine;
  if (!CanStore(ranks) || !SolverOrder(first, mine))
    return false;
  const rnk_Parts& parts = m_state->order ? m_state->order->rows : m_state->system.Dofs();
  return rnk_StoreOrder(ranks, parts, mine.data(), dofs, NumberOfDofs(), stored);
}

bool ORXSimRankNumbering::StoreEquations(const ORXSimRanks& ranks, ORXSimCollectionID nodes,
                                         ORXSimDistributionID& stored) const {
  if (!CanStore(ranks))
    return false;
  const int columns = MaxNodalDof();
  if (columns == 0)
    return refuse("numbering: no degree of freedom is active");
  std::string cause;
  std::vector<std::int64_t> equations;
  const bool room = rnk_Try(cause, [&] {
    equations.reserve(rnk_At(NodeCount() * columns));
    for (std::int64_t node = 0; node < NodeCount(); ++node)
      for (int id = 0; id < columns; ++id) {
        const std::int64_t dof = m_state->system.Tables().Ordinal(node, id);
        equations.push_back(dof < 0 ? -1 : m_state->Place(dof));
      }
    return true;
  });
  const rnk_Agreement& agreement = m_state->system.Ranks();
  return agreement.All(room, rnk_Cause(agreement, cause)) &&
         rnk_StoreDrawer(ranks, m_state->system.Nodes(), equations.data(), nodes,
                         {"equations", ORXSimItemType::kInt64, columns}, stored);
}
