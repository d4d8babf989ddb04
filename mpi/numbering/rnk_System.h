#pragma once

#include <mpi/agree/rnk_Agreement.h>
#include <mpi/numbering/rnk_Tables.h>

/// The system that the ranks number together: where the nodes are, what is active at those of this rank, and
/// once it is numbered where the DOFs are. Calls that answer bool are collective.
/// Threads: one at a time.
class rnk_System {
 public:
  /// \param nodes  of each rank.
  rnk_System(const rnk_Agreement& ranks, rnk_Parts nodes)
      : m_ranks(ranks), m_nodes(std::move(nodes)), m_masks(rnk_At(m_nodes.Count(ranks.Rank()))) {}

  /// Where each rank's nodes lie.
  /// \return false on all ranks when the ranges leave something out, overlap or count backwards.
  static bool Tile(const rnk_Agreement& ranks, std::int64_t first, std::int64_t count, rnk_Parts& nodes);

  /// Joins masks of any nodes with what these have.
  /// \param n     number of masks.
  /// \param node  says of 0 to n - 1 whose the mask is; below 0 nobody's.
  /// \param mask  says what it is.
  template <class NodeOf, class MaskOf>
  bool Add(std::int64_t n, NodeOf node, MaskOf mask);

  /// Numbers all DOFs.
  /// \param firstDof  the number of the first of all.
  bool Number(int shift, bool addLabel10, std::int64_t firstDof = 0);

  const rnk_Agreement& Ranks() const { return m_ranks; }
  const rnk_Parts& Nodes() const { return m_nodes; }
  const rnk_Parts& Dofs() const { return m_dofs; }
  bool IsNumbered() const { return m_numbered; }
  std::int64_t FirstNode() const { return m_nodes.First(m_ranks.Rank()); }
  std::int64_t NodeCount() const { return m_nodes.Count(m_ranks.Rank()); }
  std::int64_t FirstDof() const { return m_dofs.First(m_ranks.Rank()); }
  std::int64_t DofCount() const { return m_tables.Dofs(); }
  /// Of all ranks, as a mask.
  unsigned Labels() const { return m_labels; }
  const int* Masks() const { return m_masks.data(); }
  unsigned Mask(std::int64_t node) const { return static_cast<unsigned>(m_masks[rnk_At(node)]); }
  const rnk_Tables& Tables() const { return m_tables; }

 private:
  struct Foreign {
    std::int64_t node;
    int mask;
  };
  // Why a mask or a node is none, "" when it is one.
  std::string Fault(std::int64_t node, int mask) const;
  bool Exchange(std::vector<Foreign>& foreign, std::vector<Foreign>& received);
  bool Transform(std::vector<int>& masks, int shift, bool addLabel10, std::string& cause) const;

  rnk_Agreement m_ranks;
  rnk_Parts m_nodes, m_dofs;
  std::vector<int> m_masks; // [nodes of this rank]
  unsigned m_labels = 0;
  bool m_numbered = false;
  rnk_Tables m_tables;
};

template <class NodeOf, class MaskOf>
bool rnk_System::Add(std::int64_t n, NodeOf node, MaskOf mask) {
  const std::int64_t first = FirstNode(), count = NodeCount();
  const auto isOwn = [=](std::int64_t at) { return at >= first && at - first < count; };
  std::string cause;
  std::vector<Foreign> foreign, received;
  const bool good = rnk_Try(cause, [&] {
    for (std::int64_t i = 0; i < n; ++i) {
      const std::int64_t at = node(i);
      const int bits = mask(i);
      if (at < 0)
        continue;
      if (bits < 0 || !m_nodes.Has(at)) {
        cause = Fault(at, bits);
        return false;
      }
      if (bits != 0 && !isOwn(at))
        foreign.push_back({at, bits});
    }
    return true;
  });
  if (!m_ranks.All(good, "numbering: rank " + std::to_string(m_ranks.Rank()) + ": " + cause) ||
      !Exchange(foreign, received))
    return false;
  for (std::int64_t i = 0; i < n; ++i) // nothing can fail any more
    if (const std::int64_t at = node(i); isOwn(at))
      m_masks[rnk_At(at - first)] |= mask(i);
  for (const Foreign& each : received)
    m_masks[rnk_At(each.node - first)] |= each.mask;
  return true;
}
