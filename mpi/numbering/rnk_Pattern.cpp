#include <mpi/numbering/rnk_Pattern.h>

#include <mpi/numbering/rnk_Post.h>

#include <dof/dof_Bits.h>

#include <numeric>

namespace {

// The places in the solver of the DOFs of some nodes, node by node.
struct Places {
  std::vector<std::int64_t> begin{0}; // [nodes + 1]
  std::vector<std::int64_t> places;

  template <class Visit>
  void ForEach(std::int64_t node, Visit visit) const {
    for (std::int64_t i = begin[rnk_At(node)]; i < begin[rnk_At(node) + 1]; ++i)
      visit(places[rnk_At(i)]);
  }
};

// Those of this rank's nodes that the solver uses.
Places placesOfOwn(const rnk_System& system, const rnk_Order* order) {
  Places own;
  own.begin.reserve(rnk_At(system.NodeCount()) + 1);
  std::int64_t dof = 0;
  for (std::int64_t node = 0; node < system.NodeCount(); ++node) {
    for (const std::int64_t end = dof + dof_CountBits(system.Mask(node)); dof < end; ++dof) {
      const std::int64_t place = order != nullptr ? order->places[rnk_At(dof)] : system.FirstDof() + dof;
      if (order == nullptr || place < order->Count())
        own.places.push_back(place);
    }
    own.begin.push_back(static_cast<std::int64_t>(own.places.size()));
  }
  return own;
}

// What the owners answer to questions for nodes: how many places each has, and these.
void answer(const rnk_System& system, const Places& own, const rnk_Post<std::int64_t>& asked,
            std::vector<int>& counts, rnk_Post<std::int64_t>& out) {
  out.counts.assign(asked.counts.size(), 0);
  asked.ForEach([&](int from, std::int64_t node) {
    const std::size_t before = out.values.size();
    own.ForEach(node - system.FirstNode(), [&](std::int64_t place) { out.values.push_back(place); });
    counts.push_back(static_cast<int>(out.values.size() - before));
    out.counts[rnk_At(from)] += counts.back();
  });
}

// Appends the places of other ranks' nodes. Collective.
bool addGhosts(const rnk_System& system, const std::vector<std::int64_t>& ghosts, Places& all) {
  const rnk_Agreement& ranks = system.Ranks();
  std::string cause;
  rnk_Post<std::int64_t> ask, asked, out, in;
  std::vector<int> counts, answers;
  bool room = rnk_Try(cause, [&] {
    rnk_Fill(
        ask, ranks.Size(), static_cast<std::int64_t>(ghosts.size()),
        [&](std::int64_t i) { return system.Nodes().Owner(ghosts[rnk_At(i)]); },
        [&](std::int64_t i) { return ghosts[rnk_At(i)]; });
    return true;
  });
  if (!ranks.All(room, rnk_Cause(ranks, cause)) || !rnk_Deliver(ranks, ask, asked))
    return false;
  room = rnk_Try(cause, [&] {
    answer(system, all, asked, counts, out);
    answers.resize(ghosts.size());
    return true;
  });
  if (!ranks.All(room, rnk_Cause(ranks, cause)))
    return false;
  rnk_Answer(ranks, asked.counts, counts, ask.counts, answers);
  if (!rnk_Deliver(ranks, out, in))
    return false;
  room = rnk_Try(cause, [&] {
    for (const int count : answers)
      all.begin.push_back(all.begin.back() + count);
    all.places.insert(all.places.end(), in.values.begin(), in.values.end());
    return true;
  });
  return ranks.All(room, rnk_Cause(ranks, cause));
}

// A row of the matrix and the node whose columns it has.
struct Row {
  std::int64_t place, node;
  bool operator<(const Row& other) const { return place < other.place; }
};

std::vector<Row> rowsOf(const Places& all, std::int64_t nodes) {
  std::vector<Row> rows;
  for (std::int64_t node = 0; node < nodes; ++node)
    all.ForEach(node, [&](std::int64_t place) { rows.push_back({place, node}); });
  if (!std::is_sorted(rows.begin(), rows.end()))
    std::sort(rows.begin(), rows.end());
  return rows;
}

// The columns of each node that has rows; all its rows have the same.
Places columnsOf(const Places& all, rnk_Graph& graph, std::int64_t nodes) {
  Places columns;
  columns.begin.reserve(rnk_At(nodes) + 1);
  std::vector<std::int64_t> neighbours;
  for (std::int64_t node = 0; node < nodes; ++node) {
    if (all.begin[rnk_At(node)] < all.begin[rnk_At(node) + 1]) {
      graph.Neighbours(node, neighbours);
      for (const std::int64_t neighbour : neighbours)
        all.ForEach(neighbour, [&](std::int64_t place) { columns.places.push_back(place); });
    }
    std::sort(columns.places.begin() + columns.begin.back(), columns.places.end());
    columns.begin.push_back(static_cast<std::int64_t>(columns.places.size()));
  }
  return columns;
}

rnk_Pattern assemble(const std::vector<Row>& rows, const Places& columns) {
  rnk_Pattern pattern;
  pattern.begin.assign(1, 0);
  for (const Row& row : rows) {
    pattern.rows.push_back(row.place);
    pattern.begin.push_back(pattern.begin.back() + columns.begin[rnk_At(row.node) + 1] -
                            columns.begin[rnk_At(row.node)]);
  }
  pattern.columns.reserve(rnk_At(pattern.begin.back()));
  for (const Row& row : rows)
    columns.ForEach(row.node, [&](std::int64_t place) { pattern.columns.push_back(place); });
  return pattern;
}

} // namespace

bool rnk_FillPattern(const rnk_System& system, const rnk_Order* order,
                     const std::vector<rnk_Elements>& elements, rnk_Pattern& pattern) {
  const rnk_Agreement& ranks = system.Ranks();
  rnk_Graph graph;
  if (!graph.Gather(system, elements))
    return false;
  std::string cause;
  Places all;
  bool room = rnk_Try(cause, [&] {
    all = placesOfOwn(system, order);
    return true;
  });
  if (!ranks.All(room, rnk_Cause(ranks, cause)) || !addGhosts(system, graph.Ghosts(), all))
    return false;
  rnk_Pattern made;
  room = rnk_Try(cause, [&] {
    const std::int64_t nodes = system.NodeCount();
    made = assemble(rowsOf(all, nodes), columnsOf(all, graph, nodes));
    return true;
  });
  if (!ranks.All(room, rnk_Cause(ranks, cause)))
    return false;
  pattern = std::move(made);
  return true;
}
