#include <mpi/numbering/rnk_System.h>

#include <mpi/numbering/rnk_Post.h>

#include <dof/dof_Masks.h>

bool rnk_System::Tile(const rnk_Agreement& ranks, std::int64_t first, std::int64_t count, rnk_Parts& nodes) {
  const std::vector<std::int64_t> firsts = ranks.Gather(first), counts = ranks.Gather(count);
  std::int64_t next = 0;
  for (std::size_t rank = 0; rank < counts.size(); ++rank) { // the same on every rank
    const std::string who = "numbering: rank " + std::to_string(rank) + ": ";
    if (counts[rank] < 0 || counts[rank] > INT64_MAX - next) {
      rnk_Agreement::SetLastError(who + std::to_string(counts[rank]) + " nodes");
      return false;
    }
    if (counts[rank] > 0 && firsts[rank] != next) {
      rnk_Agreement::SetLastError(who + "its first node is " + std::to_string(firsts[rank]) +
                                  ", the ranks before it end with " + std::to_string(next - 1));
      return false;
    }
    next += counts[rank];
  }
  nodes = rnk_Parts(counts);
  return true;
}

std::string rnk_System::Fault(std::int64_t node, int mask) const {
  if (mask < 0)
    return "label 32 is active at node " + std::to_string(node);
  return "node " + std::to_string(node) + " where there are " + std::to_string(m_nodes.Total()) + " nodes";
}

// The masks of nodes of other ranks; a node is sent once, whatever is said of it.
bool rnk_System::Exchange(std::vector<Foreign>& foreign, std::vector<Foreign>& received) {
  std::string cause;
  rnk_Post<Foreign> out, in;
  const bool room = rnk_Try(cause, [&] {
    std::sort(foreign.begin(), foreign.end(),
              [](const Foreign& a, const Foreign& b) { return a.node < b.node; });
    std::size_t kept = 0;
    for (const Foreign& each : foreign)
      if (kept > 0 && foreign[kept - 1].node == each.node)
        foreign[kept - 1].mask |= each.mask;
      else
        foreign[kept++] = each;
    foreign.resize(kept);
    out.counts.assign(rnk_At(m_ranks.Size()), 0);
    for (const Foreign& each : foreign)
      ++out.counts[rnk_At(m_nodes.Owner(each.node))];
    out.values.swap(foreign); // in rank order, as they are by node
    return true;
  });
  if (!m_ranks.All(room, rnk_Cause(m_ranks, cause)) || !rnk_Deliver(m_ranks, out, in))
    return false;
  received.swap(in.values);
  return true;
}

// As one process transforms them; a mask that then has label 32 is none.
bool rnk_System::Transform(std::vector<int>& masks, int shift, bool addLabel10, std::string& cause) const {
  constexpr std::int64_t kPiece = 1 << 30;
  for (std::int64_t first = 0; first < NodeCount(); first += kPiece)
    dof_TransformMasks(&masks[rnk_At(first)], static_cast<int>(std::min(kPiece, NodeCount() - first)), shift,
                       addLabel10);
  const auto wrong = std::find_if(masks.begin(), masks.end(), [](int mask) { return mask < 0; });
  if (wrong != masks.end())
    cause = Fault(FirstNode() + (wrong - masks.begin()), *wrong);
  return wrong == masks.end();
}

bool rnk_System::Number(int shift, bool addLabel10, std::int64_t firstDof) {
  const std::vector<std::int64_t> all = m_ranks.Gather(2 * (shift & 31) + (addLabel10 ? 1 : 0));
  const auto other = std::find_if(all.begin(), all.end(), [&](std::int64_t each) { return each != all[0]; });
  if (other != all.end()) { // the same on every rank
    rnk_Agreement::SetLastError("numbering: rank " + std::to_string(other - all.begin()) +
                                ": transforms the masks otherwise than rank 0");
    return false;
  }
  const bool changes = (shift & 31) != 0 || addLabel10;
  std::string cause;
  std::vector<int> changed;
  const bool good = rnk_Try(cause, [&] {
    if (changes)
      changed = m_masks;
    return !changes || Transform(changed, shift, addLabel10, cause);
  });
  if (!m_ranks.All(good, rnk_Cause(m_ranks, cause)))
    return false;
  const std::vector<int>& masks = changes ? changed : m_masks;
  unsigned own = 0;
  for (const int mask : masks)
    own |= static_cast<unsigned>(mask);
  const unsigned labels = rnk_Or(m_ranks, own);
  rnk_Tables tables;
  const bool room = rnk_Try(cause, [&] {
    tables = rnk_Tables(masks.data(), NodeCount(), labels);
    return true;
  });
  if (!m_ranks.All(room, rnk_Cause(m_ranks, cause)))
    return false;
  if (changes)
    m_masks.swap(changed);
  m_labels = labels;
  m_tables = std::move(tables);
  m_dofs = rnk_Scan(m_ranks, m_tables.Dofs(), firstDof);
  m_numbered = true;
  return true;
}
