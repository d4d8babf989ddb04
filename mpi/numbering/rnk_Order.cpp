#include <mpi/numbering/rnk_Order.h>

#include <mpi/numbering/rnk_Post.h>

#include <dof/dof_Bits.h>
#include <dof/dof_Masks.h>

#include <numeric>
#include <optional>

namespace {

// The solver's place of a DOF, -1 where it is not yet known to be used.
struct Placed {
  std::int64_t dof, place;
};

std::string faultOfNode(const rnk_System& system, std::int64_t node, const std::int64_t* nodeRank,
                        int chosen) {
  const std::int64_t number = system.FirstNode() + node;
  if ((static_cast<unsigned>(chosen) & ~system.Mask(node)) != 0)
    return "the solver's mask " + std::to_string(chosen) + " of node " + std::to_string(number) +
           " has labels that its mask " + std::to_string(system.Masks()[node]) + " has not";
  return "node " + std::to_string(number) + " has place " + std::to_string(nodeRank[node]) +
         " in the solver, of " + std::to_string(system.Nodes().Total());
}

bool isRank(const rnk_System& system, std::int64_t rank) {
  return rank > system.Nodes().Begin() && rank <= system.Nodes().End();
}

// What each rank gives is looked at before any is sent.
bool checkNodes(const rnk_System& system, const std::int64_t* nodeRank, const int* solverMasks) {
  const rnk_Agreement& ranks = system.Ranks();
  const std::int64_t nodes = system.NodeCount();
  std::string cause = nodes > 0 && solverMasks == nullptr ? "no masks of the solver" : "";
  for (std::int64_t node = 0; node < nodes && cause.empty(); ++node)
    if ((static_cast<unsigned>(solverMasks[node]) & ~system.Mask(node)) != 0 ||
        (nodeRank != nullptr && !isRank(system, nodeRank[node])))
      cause = faultOfNode(system, node, nodeRank, solverMasks[node]);
  return ranks.All(cause.empty(), rnk_Cause(ranks, cause));
}

// Whether places of nodes are given. Ranks without nodes go with the others.
bool agreeOnRanks(const rnk_System& system, const std::int64_t* nodeRank, bool& given) {
  const rnk_Agreement& ranks = system.Ranks();
  given = rnk_Or(ranks, system.NodeCount() > 0 && nodeRank != nullptr) != 0;
  return ranks.All(!given || nodeRank != nullptr || system.NodeCount() == 0,
                   rnk_Cause(ranks, "no places of its nodes in the solver, which other ranks give"));
}

// A node's place in the solver and the number of its DOFs there, below 32, in one number.
constexpr int kCountBits = 5;

// What each of this rank's places in the solver brings.
class Counts {
 public:
  explicit Counts(const rnk_System& system)
      : m_first(system.FirstNode()), m_counts(rnk_At(system.NodeCount()), -1) {}

  bool Has(std::int64_t place) const {
    return place >= m_first && place - m_first < static_cast<std::int64_t>(m_counts.size());
  }
  /// A place that comes a second time is the cause of a failure.
  void Take(int from, std::int64_t place, int count, std::string& cause) {
    if (m_counts[rnk_At(place - m_first)] >= 0 && cause.empty())
      cause = "numbering: rank " + std::to_string(from) + ": a second node has place " +
              std::to_string(place + 1) + " in the solver";
    m_counts[rnk_At(place - m_first)] = count;
  }
  std::int64_t Sum() const { return std::accumulate(m_counts.begin(), m_counts.end(), std::int64_t{0}); }
  /// Each count becomes the sum of those before it.
  void Scan(std::int64_t first) {
    std::exclusive_scan(m_counts.begin(), m_counts.end(), m_counts.begin(), first);
  }
  std::int64_t Of(std::int64_t place) const { return m_counts[rnk_At(place - m_first)]; }

 private:
  std::int64_t m_first;
  std::vector<std::int64_t> m_counts;
};

// Sends the counts to where a place in the solver is kept, adds them up there, and brings back the first
// place of each node's DOFs. What is kept by the rank itself is not sent.
bool placeNodes(const rnk_System& system, const std::int64_t* nodeRank, const int* solverMasks,
                std::vector<std::int64_t>& firsts, rnk_Parts& rows) {
  const rnk_Agreement& ranks = system.Ranks();
  const std::int64_t nodes = system.NodeCount();
  const auto countOf = [&](std::int64_t node) {
    return dof_CountBits(static_cast<unsigned>(solverMasks[node]));
  };
  std::string cause, twice;
  rnk_Post<std::int64_t> out, in;
  std::vector<std::int64_t> next;
  std::optional<Counts> counts;
  const auto owner = [&](std::int64_t node) {
    return counts->Has(nodeRank[node] - 1) ? -1 : system.Nodes().Owner(nodeRank[node] - 1);
  };
  const bool room = rnk_Try(cause, [&] {
    counts.emplace(system);
    for (std::int64_t node = 0; node < nodes; ++node)
      if (counts->Has(nodeRank[node] - 1))
        counts->Take(ranks.Rank(), nodeRank[node] - 1, countOf(node), twice);
    const auto record = [&](std::int64_t node) { return (nodeRank[node] - 1) << kCountBits | countOf(node); };
    rnk_Fill(out, ranks.Size(), nodes, owner, record);
    next = rnk_Begins(out.counts);
    return true;
  });
  if (!ranks.All(room, rnk_Cause(ranks, cause)) || !rnk_Deliver(ranks, out, in))
    return false;
  constexpr int kMask = (1 << kCountBits) - 1;
  in.ForEach([&](int from, std::int64_t each) {
    counts->Take(from, each >> kCountBits, static_cast<int>(each & kMask), twice);
  });
  if (!ranks.All(twice.empty(), twice))
    return false;
  rows = rnk_Scan(ranks, counts->Sum());
  counts->Scan(rows.First(ranks.Rank()));
  for (std::int64_t& each : in.values)
    each = counts->Of(each >> kCountBits);
  rnk_Answer(ranks, in.counts, in.values, out.counts, out.values);
  for (std::int64_t node = 0; node < nodes; ++node) { // answers come as they were asked
    const int from = owner(node);
    firsts[rnk_At(node)] =
        from < 0 ? counts->Of(nodeRank[node] - 1) : out.values[rnk_At(next[rnk_At(from)]++)];
  }
  return true;
}

// The same where the nodes stay as they come.
void placeInTurn(const rnk_System& system, const int* solverMasks, std::vector<std::int64_t>& firsts,
                 rnk_Parts& rows) {
  const rnk_Agreement& ranks = system.Ranks();
  std::int64_t count = 0;
  for (std::int64_t node = 0; node < system.NodeCount(); ++node) {
    firsts[rnk_At(node)] = count;
    count += dof_CountBits(static_cast<unsigned>(solverMasks[node]));
  }
  rows = rnk_Scan(ranks, count);
  for (std::int64_t& first : firsts)
    first += rows.First(ranks.Rank());
}

// Places the DOFs that the solver does not use, which have -1 so far, behind its own.
void placeRest(const rnk_System& system, rnk_Order& order) {
  const auto unused = std::count(order.places.begin(), order.places.end(), -1);
  std::int64_t next = order.Count() + rnk_Scan(system.Ranks(), unused).First(system.Ranks().Rank());
  for (std::int64_t& place : order.places)
    if (place < 0)
      place = next++;
}

// The labels that a list uses, and its acoustic DOFs.
void countLabels(const rnk_System& system, rnk_Order& order) {
  std::int64_t dof = 0, acoustic = 0;
  unsigned labels = 0;
  for (std::int64_t node = 0; node < system.NodeCount(); ++node)
    for (unsigned rest = system.Mask(node); rest != 0; rest &= rest - 1, ++dof)
      if (order.places[rnk_At(dof)] >= 0) {
        labels |= rest & (0 - rest);
        acoustic += (rest & (0 - rest)) == dof_kAcoustic;
      }
  order.labels = rnk_Or(system.Ranks(), labels);
  order.acoustic = rnk_Sum(system.Ranks(), acoustic);
}

std::string faultOfDof(const rnk_System& system, std::int64_t dof) {
  return "degree of freedom " + std::to_string(dof) + " where there are " +
         std::to_string(system.Dofs().Total());
}

// The place of each of this rank's DOFs that a list has; the cause when it has one twice.
bool takePlaces(const rnk_System& system, const rnk_Post<Placed>& in, rnk_Order& order, std::string& cause) {
  order.places.assign(rnk_At(system.DofCount()), -1);
  in.ForEach([&](int from, const Placed& each) {
    std::int64_t& place = order.places[rnk_At(each.dof - system.FirstDof())];
    if (place >= 0 && cause.empty())
      cause = "numbering: rank " + std::to_string(from) + ": degree of freedom " + std::to_string(each.dof) +
              " a second time";
    place = each.place;
  });
  return cause.empty();
}

} // namespace

bool rnk_OrderByNodes(const rnk_System& system, const std::int64_t* nodeRank, const int* solverMasks,
                      rnk_Order& order) {
  const rnk_Agreement& ranks = system.Ranks();
  bool given = false;
  if (!agreeOnRanks(system, nodeRank, given) || !checkNodes(system, nodeRank, solverMasks))
    return false;
  std::string cause;
  std::vector<std::int64_t> firsts;
  rnk_Order made;
  const bool room = rnk_Try(cause, [&] {
    firsts.resize(rnk_At(system.NodeCount()));
    made.places.resize(rnk_At(system.DofCount()));
    return true;
  });
  if (!ranks.All(room, rnk_Cause(ranks, cause)))
    return false;
  if (!given)
    placeInTurn(system, solverMasks, firsts, made.rows);
  else if (!placeNodes(system, nodeRank, solverMasks, firsts, made.rows))
    return false;
  std::size_t dof = 0;
  unsigned labels = 0;
  for (std::int64_t node = 0; node < system.NodeCount(); ++node) {
    const auto chosen = static_cast<unsigned>(solverMasks[node]);
    labels |= chosen;
    for (unsigned rest = system.Mask(node); rest != 0; rest &= rest - 1)
      made.places[dof++] = (chosen & rest & (0 - rest)) != 0 ? firsts[rnk_At(node)]++ : -1;
  }
  placeRest(system, made);
  made.labels = rnk_Or(ranks, labels);
  made.acoustic = order.acoustic; // lists alone count them
  order = std::move(made);
  return true;
}

bool rnk_OrderByList(const rnk_System& system, std::int64_t count, const std::int64_t* dofs,
                     rnk_Order& order) {
  const rnk_Agreement& ranks = system.Ranks();
  const std::int64_t all = system.Dofs().Total();
  if (!ranks.All(count >= 0 && count <= all,
                 rnk_Cause(ranks, "a list of " + std::to_string(count) + " degrees of freedom, there are " +
                                      std::to_string(all))))
    return false;
  rnk_Order made;
  made.rows = rnk_Scan(ranks, count);
  const std::int64_t first = made.rows.First(ranks.Rank());
  const auto listed = [&](std::int64_t i) {
    return dofs != nullptr ? dofs[i] : system.Dofs().Begin() + first + i;
  };
  std::string cause;
  rnk_Post<Placed> out, in;
  const bool good = rnk_Try(cause, [&] {
    for (std::int64_t i = 0; i < count; ++i)
      if (!system.Dofs().Has(listed(i))) {
        cause = faultOfDof(system, listed(i));
        return false;
      }
    rnk_Fill(
        out, ranks.Size(), count, [&](std::int64_t i) { return system.Dofs().Owner(listed(i)); },
        [&](std::int64_t i) {
          return Placed{listed(i), first + i};
        });
    return true;
  });
  if (!ranks.All(good, rnk_Cause(ranks, cause)) || !rnk_Deliver(ranks, out, in))
    return false;
  std::string memory;
  const bool once = rnk_Try(memory, [&] { return takePlaces(system, in, made, cause); });
  if (!ranks.All(once, memory.empty() ? cause : rnk_Cause(ranks, memory)))
    return false;
  countLabels(system, made);
  placeRest(system, made);
  order = std::move(made);
  return true;
}

bool rnk_ListOrder(const rnk_System& system, const rnk_Order* order, std::int64_t& first,
                   std::vector<std::int64_t>& dofs) {
  const rnk_Agreement& ranks = system.Ranks();
  const rnk_Parts& rows = order != nullptr ? order->rows : system.Dofs();
  std::string cause;
  std::vector<std::int64_t> listed;
  rnk_Post<Placed> out, in;
  const bool room = rnk_Try(cause, [&] {
    listed.resize(rnk_At(rows.Count(ranks.Rank())));
    if (order == nullptr) {
      std::iota(listed.begin(), listed.end(), rows.First(ranks.Rank()));
      return true;
    }
    const auto owner = [&](std::int64_t dof) {
      const std::int64_t place = order->places[rnk_At(dof)];
      return place < order->Count() ? rows.Owner(place) : -1;
    };
    rnk_Fill(out, ranks.Size(), system.DofCount(), owner, [&](std::int64_t dof) {
      return Placed{system.FirstDof() + dof, order->places[rnk_At(dof)]};
    });
    return true;
  });
  if (!ranks.All(room, rnk_Cause(ranks, cause)))
    return false;
  if (order != nullptr && !rnk_Deliver(ranks, out, in))
    return false;
  for (const Placed& each : in.values)
    listed[rnk_At(each.place - rows.First(ranks.Rank()))] = each.dof;
  first = rows.First(ranks.Rank());
  dofs.swap(listed);
  return true;
}
