#include <mpi/numbering/rnk_Graph.h>

#include <mpi/numbering/rnk_Post.h>

#include <numeric>

namespace {

std::string faultOfElements(const rnk_System& system, const rnk_Elements& elements) {
  if (elements.count < 0 || elements.width < 1 || (elements.count > 0 && elements.nodes == nullptr))
    return std::to_string(elements.count) + " elements of " + std::to_string(elements.width) + " nodes" +
           (elements.count > 0 && elements.nodes == nullptr ? ", but no nodes of them" : "");
  const std::int64_t end = system.Nodes().End(), *const last =
                                                     elements.nodes + elements.count * elements.width;
  const auto isWrong = [&](std::int64_t node) {
    return node >= end || (node >= 0 && !system.Nodes().Has(node));
  };
  const auto* const wrong = std::find_if(elements.nodes, last, isWrong);
  if (wrong == last)
    return "";
  return "element " + std::to_string((wrong - elements.nodes) / elements.width) + " has node " +
         std::to_string(*wrong) + ", there are " + std::to_string(system.Nodes().Total()) + " nodes";
}

// Calls visit(rank, element, nodes) once for each rank that has nodes of an element.
template <class Visit>
void forEachOwner(const rnk_System& system, const rnk_Elements& elements, Visit visit) {
  std::vector<int> owners;
  for (std::int64_t i = 0; i < elements.count; ++i) {
    const std::int64_t* const element = elements.nodes + i * elements.width;
    std::int64_t nodes = 0;
    owners.clear();
    for (int k = 0; k < elements.width; ++k) {
      if (element[k] < 0)
        continue;
      ++nodes;
      if (!owners.empty() && system.Nodes().Has(owners.back(), element[k]))
        continue; // mostly a neighbour's
      const int owner = system.Nodes().Owner(element[k]);
      if (std::find(owners.begin(), owners.end(), owner) == owners.end())
        owners.push_back(owner);
    }
    for (const int owner : owners)
      visit(owner, element, nodes);
  }
}

// An element goes as the number of its nodes, then these.
void fill(const rnk_System& system, const std::vector<rnk_Elements>& elements, rnk_Post<std::int64_t>& out) {
  out.counts.assign(rnk_At(system.Ranks().Size()), 0);
  for (const rnk_Elements& some : elements)
    forEachOwner(system, some, [&](int owner, const std::int64_t*, std::int64_t nodes) {
      out.counts[rnk_At(owner)] += nodes + 1;
    });
  std::vector<std::int64_t> next = rnk_Begins(out.counts);
  out.values.resize(rnk_At(next.back() + out.counts.back()));
  for (const rnk_Elements& some : elements)
    forEachOwner(system, some, [&](int owner, const std::int64_t* element, std::int64_t nodes) {
      std::int64_t* to = &out.values[rnk_At(next[rnk_At(owner)])];
      next[rnk_At(owner)] += nodes + 1;
      *to++ = nodes;
      std::copy_if(element, element + some.width, to, [](std::int64_t node) { return node >= 0; });
    });
}

} // namespace

bool rnk_Graph::Gather(const rnk_System& system, const std::vector<rnk_Elements>& elements) {
  const rnk_Agreement& ranks = system.Ranks();
  std::string cause;
  rnk_Post<std::int64_t> out, in;
  const bool good = rnk_Try(cause, [&] {
    for (const rnk_Elements& some : elements)
      if (cause.empty())
        cause = faultOfElements(system, some);
    if (cause.empty())
      fill(system, elements, out);
    return cause.empty();
  });
  if (!ranks.All(good, rnk_Cause(ranks, cause)) || !rnk_Deliver(ranks, out, in))
    return false;
  const bool room = rnk_Try(cause, [&] {
    m_nodes.swap(in.values);
    NumberNodes(system);
    FindElements(system.NodeCount());
    return true;
  });
  return ranks.All(room, rnk_Cause(ranks, cause));
}

// Gives the nodes of the elements numbers of this rank.
void rnk_Graph::NumberNodes(const rnk_System& system) {
  const std::int64_t first = system.FirstNode(), own = system.NodeCount();
  const auto isOwn = [&](std::int64_t node) { return node >= first && node - first < own; };
  const auto forEachNode = [&](auto visit) {
    for (std::size_t at = 0; at < m_nodes.size(); at += rnk_At(m_nodes[at]) + 1)
      for (std::size_t i = at + 1; i <= at + rnk_At(m_nodes[at]); ++i)
        visit(m_nodes[i]);
  };
  forEachNode([&](std::int64_t node) {
    if (!isOwn(node))
      m_ghosts.push_back(node);
  });
  std::sort(m_ghosts.begin(), m_ghosts.end());
  m_ghosts.erase(std::unique(m_ghosts.begin(), m_ghosts.end()), m_ghosts.end());
  forEachNode([&](std::int64_t& node) {
    node = isOwn(node) ? node - first
                       : own + (std::lower_bound(m_ghosts.begin(), m_ghosts.end(), node) - m_ghosts.begin());
  });
}

void rnk_Graph::FindElements(std::int64_t nodes) {
  const auto forEachOwn = [&](auto visit) {
    for (std::size_t at = 0; at < m_nodes.size(); at += rnk_At(m_nodes[at]) + 1)
      for (std::size_t i = at + 1; i <= at + rnk_At(m_nodes[at]); ++i)
        if (m_nodes[i] < nodes)
          visit(rnk_At(m_nodes[i]), static_cast<std::int64_t>(at));
  };
  m_begin.assign(rnk_At(nodes) + 1, 0);
  forEachOwn([&](std::size_t node, std::int64_t) { ++m_begin[node + 1]; });
  std::partial_sum(m_begin.begin(), m_begin.end(), m_begin.begin());
  m_places.resize(rnk_At(m_begin.back()));
  std::vector<std::int64_t> next(m_begin);
  forEachOwn([&](std::size_t node, std::int64_t at) { m_places[rnk_At(next[node]++)] = at; });
  m_seen.assign(rnk_At(nodes) + m_ghosts.size(), -1);
}

void rnk_Graph::Neighbours(std::int64_t node, std::vector<std::int64_t>& out) {
  out.assign(1, node);
  m_seen[rnk_At(node)] = node;
  for (std::int64_t i = m_begin[rnk_At(node)]; i < m_begin[rnk_At(node) + 1]; ++i) {
    const std::int64_t* const element = &m_nodes[rnk_At(m_places[rnk_At(i)])];
    for (const std::int64_t* other = element + 1; other <= element + *element; ++other)
      if (m_seen[rnk_At(*other)] != node) {
        m_seen[rnk_At(*other)] = node;
        out.push_back(*other);
      }
  }
}
