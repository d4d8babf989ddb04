#include "heat_Halo.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace {
// To whom each of its nodes is known is found out at a third place: a range of the nodes has its home on each
// rank, where all who have such a node say so, and hear of each other.
class Homes {
 public:
  Homes(const heat_Team& team, int allNodes) : m_team(team), m_allNodes(allNodes) {}

  // \return for each of the nodes that others have too: node, number of ranks, ranks in ascending order.
  std::vector<int> Shared(const std::vector<int>& nodes) const {
    const auto size = static_cast<std::size_t>(m_team.Size());
    heat_Team::Lists said(size);
    for (const int node : nodes)
      said[Of(node)].push_back(node);
    const heat_Team::Lists heard = m_team.Exchange(said);
    std::vector<std::pair<int, int>> known; // node, rank
    for (std::size_t rank = 0; rank < size; ++rank)
      for (const int node : heard[rank])
        known.emplace_back(node, static_cast<int>(rank));
    std::sort(known.begin(), known.end());
    m_team.Together([&] { RequireAll(known); });
    std::vector<int> all;
    for (const std::vector<int>& answer : m_team.Exchange(Answers(known)))
      all.insert(all.end(), answer.begin(), answer.end());
    return all;
  }

 private:
  std::size_t Of(int node) const {
    return static_cast<std::size_t>(std::int64_t{node} * m_team.Size() / m_allNodes);
  }

  // The first node that is at home there.
  int First(int rank) const {
    return static_cast<int>((std::int64_t{rank} * m_allNodes + m_team.Size() - 1) / m_team.Size());
  }

  void RequireAll(const std::vector<std::pair<int, int>>& known) const {
    auto next = known.begin();
    for (int node = First(m_team.Rank()); node < First(m_team.Rank() + 1); ++node) {
      if (next == known.end() || next->first != node)
        throw std::runtime_error("expected every node in an element, found node " + std::to_string(node) +
                                 " in none");
      next = std::find_if(next, known.end(), [&](const auto& one) { return one.first != node; });
    }
  }

  heat_Team::Lists Answers(const std::vector<std::pair<int, int>>& known) const {
    heat_Team::Lists answers(static_cast<std::size_t>(m_team.Size()));
    for (auto first = known.begin(); first != known.end();) {
      const int node = first->first;
      const auto last = std::find_if(first, known.end(), [&](const auto& one) { return one.first != node; });
      for (auto to = first; last - first > 1 && to != last; ++to) {
        std::vector<int>& answer = answers[static_cast<std::size_t>(to->second)];
        answer.insert(answer.end(), {node, static_cast<int>(last - first)});
        for (auto one = first; one != last; ++one)
          answer.push_back(one->second);
      }
      first = last;
    }
    return answers;
  }

  const heat_Team& m_team;
  int m_allNodes;
};
} // namespace

heat_Halo::heat_Halo(const heat_Team& team, const std::vector<int>& nodes, int allNodes) : m_team(&team) {
  const std::vector<int> shared = Homes(team, allNodes).Shared(nodes);
  std::vector<bool> others(nodes.size()); // a lower rank owns it
  for (auto at = shared.begin(); at != shared.end();) {
    const auto node = static_cast<int>(std::lower_bound(nodes.begin(), nodes.end(), *at) - nodes.begin());
    const int ranks = *++at;
    others[static_cast<std::size_t>(node)] = *++at < team.Rank();
    for (const auto last = at + ranks; at != last; ++at)
      m_shared[*at].push_back(node);
  }
  for (int node = 0; node < static_cast<int>(nodes.size()); ++node)
    if (!others[static_cast<std::size_t>(node)])
      m_owned.push_back(node);
}

void heat_Halo::Sum(Eigen::VectorXd& values) const {
  constexpr int kTag = 0;
  std::map<int, Eigen::VectorXd> sent, received;
  std::vector<MPI_Request> requests;
  for (const auto& [rank, nodes] : m_shared) {
    Eigen::VectorXd& mine = sent[rank] = values(nodes);
    if (rank == m_team->Rank())
      continue;
    Eigen::VectorXd& theirs = received[rank] = Eigen::VectorXd(mine.size());
    const int count = static_cast<int>(mine.size());
    MPI_Irecv(theirs.data(), count, MPI_DOUBLE, rank, kTag, m_team->Comm(), &requests.emplace_back());
    MPI_Isend(mine.data(), count, MPI_DOUBLE, rank, kTag, m_team->Comm(), &requests.emplace_back());
  }
  MPI_Waitall(static_cast<int>(requests.size()), requests.data(), MPI_STATUSES_IGNORE);
  if (!m_shared.empty())
    values(m_shared.at(m_team->Rank())).setZero();
  for (const auto& [rank, nodes] : m_shared) // in the order of ranks: the same sum everywhere
    values(nodes) += rank == m_team->Rank() ? sent[rank] : received[rank];
}

double heat_Halo::Dot(const Eigen::VectorXd& one, const Eigen::VectorXd& other) const {
  return m_team->Sum(one(m_owned).dot(other(m_owned)));
}
