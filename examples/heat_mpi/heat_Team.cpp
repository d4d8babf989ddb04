#include "heat_Team.h"

#include <mpi/ORXSim_Ranks.h>

#include <numeric>

heat_Team::heat_Team(MPI_Comm comm) : m_comm(comm) {
  MPI_Comm_rank(comm, &m_rank);
  MPI_Comm_size(comm, &m_size);
}

void heat_Team::Agree(std::string& cause) const {
  int lowest = cause.empty() ? m_size : m_rank;
  MPI_Allreduce(MPI_IN_PLACE, &lowest, 1, MPI_INT, MPI_MIN, m_comm);
  if (lowest == m_size)
    return;
  int length = static_cast<int>(cause.size());
  MPI_Bcast(&length, 1, MPI_INT, lowest, m_comm);
  cause.resize(static_cast<std::size_t>(length));
  MPI_Bcast(cause.data(), length, MPI_CHAR, lowest, m_comm);
  throw heat_Failure(cause);
}

void heat_Team::Require(bool done) {
  if (!done)
    throw heat_Failure(ORXSimRanks::LastError());
}

std::string heat_Team::Told(std::string text) const {
  text.resize(static_cast<std::size_t>(Told(static_cast<int>(text.size()))));
  MPI_Bcast(text.data(), static_cast<int>(text.size()), MPI_CHAR, 0, m_comm);
  return text;
}

int heat_Team::Told(int number) const {
  MPI_Bcast(&number, 1, MPI_INT, 0, m_comm);
  return number;
}

// MPI does not promise that MPI_Allreduce answers the same on every rank, and one that goes on where the
// others stop makes all wait for ever.
double heat_Team::Reduced(double mine, MPI_Op operation) const {
  double all = mine;
  MPI_Reduce(&mine, &all, 1, MPI_DOUBLE, operation, 0, m_comm);
  MPI_Bcast(&all, 1, MPI_DOUBLE, 0, m_comm);
  return all;
}

heat_Team::Lists heat_Team::Exchange(const Lists& lists) const {
  const auto size = static_cast<std::size_t>(m_size);
  std::vector<int> all, counts(size), places(size), theirCounts(size), theirPlaces(size);
  for (std::size_t rank = 0; rank < size; ++rank) {
    places[rank] = static_cast<int>(all.size());
    counts[rank] = static_cast<int>(lists[rank].size());
    all.insert(all.end(), lists[rank].begin(), lists[rank].end());
  }
  MPI_Alltoall(counts.data(), 1, MPI_INT, theirCounts.data(), 1, MPI_INT, m_comm);
  std::exclusive_scan(theirCounts.begin(), theirCounts.end(), theirPlaces.begin(), 0);
  std::vector<int> theirs(static_cast<std::size_t>(theirPlaces.back() + theirCounts.back()));
  MPI_Alltoallv(all.data(), counts.data(), places.data(), MPI_INT, theirs.data(), theirCounts.data(),
                theirPlaces.data(), MPI_INT, m_comm);
  Lists result;
  for (std::size_t rank = 0; rank < size; ++rank) {
    const auto first = theirs.begin() + theirPlaces[rank];
    result.emplace_back(first, first + theirCounts[rank]);
  }
  return result;
}
