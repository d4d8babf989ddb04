#include "job_Ranks.h"

#include <cstring>
#include <iterator>

// Collective calls, as trees of messages between two ranks each.

namespace {
using Part = job_Ranks::Part;
using Parts = std::vector<Part>;

std::shared_ptr<const std::vector<char>> copied(const void* data, std::size_t bytes) {
  const auto* from = static_cast<const char*>(data);
  return std::make_shared<const std::vector<char>>(from, from + bytes);
}

std::size_t bytesOf(int count, MPI_Datatype type) {
  return static_cast<std::size_t>(count) * type->bytes;
}

/// One collective call of this rank.
class Call {
 public:
  Call(MPI_Comm comm, const char* name, int root = 0) : m_comm(comm), m_name(name), m_root(root) {
    MPI_Comm_rank(comm, &m_rank);
    MPI_Comm_size(comm, &m_size);
    m_tag = -10 - comm->steps[m_rank]++;
    ++job_Ranks::Mine().calls[name];
    m_place = (m_rank - root + m_size) % m_size;
  }

  int Rank() const { return m_rank; }
  int Size() const { return m_size; }
  bool IsRoot() const { return m_place == 0; }

  void Send(int rank, Parts parts) const {
    job_Ranks::Send(m_comm->alone ? job_Ranks::Current() : rank,
                    {m_comm, 0, m_tag, m_name, std::move(parts), 0});
  }
  Parts Receive(int rank) const { return job_Ranks::Receive(m_comm, rank, m_tag, m_name).parts; }

  /// Parts of all ranks to the root; `join` puts what comes to what is there.
  template <class Join>
  void Up(Parts& parts, Join join) const {
    for (int step = 1; step < m_size; step *= 2) {
      if ((m_place & step) != 0)
        return Send(RankAt(m_place - step), std::move(parts));
      if (m_place + step < m_size)
        join(parts, Receive(RankAt(m_place + step)));
    }
  }
  /// The root's parts to all. \param keep  which parts go on to the rank at a place with so many below it.
  template <class Keep>
  void Down(Parts& parts, Keep keep) const {
    int step = 1;
    while (step < m_size && (m_place & step) == 0)
      step *= 2;
    if (!IsRoot())
      parts = Receive(RankAt(m_place - step));
    for (step /= 2; step > 0; step /= 2)
      if (m_place + step < m_size)
        Send(RankAt(m_place + step), keep(parts, m_place + step, step));
  }
  void Down(Parts& parts) const {
    Down(parts, [](const Parts& all, int, int) { return all; });
  }
  int Place(int rank) const { return (rank - m_root + m_size) % m_size; }

 private:
  int RankAt(int place) const { return (place + m_root) % m_size; }

  MPI_Comm m_comm;
  const char* m_name;
  int m_root, m_rank = 0, m_size = 1, m_place = 0;
  long m_tag = 0;
};

void append(Parts& parts, Parts more) {
  parts.insert(parts.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

void copyOut(const Parts& parts, void* all, const int* counts, const int* places, int each,
             MPI_Datatype type) {
  for (const auto& [rank, bytes] : parts) {
    const int count = counts != nullptr ? counts[rank] : each;
    const std::size_t place = places != nullptr ? bytesOf(places[rank], type)
                                                : static_cast<std::size_t>(rank) * bytesOf(each, type);
    std::memcpy(static_cast<char*>(all) + place, bytes->data(),
                std::min(bytes->size(), bytesOf(count, type)));
  }
}

Parts own(const Call& call, const void* mine, int count, MPI_Datatype type) {
  return {{call.Rank(), copied(mine, bytesOf(count, type))}};
}

int gather(const char* name, const void* mine, int count, MPI_Datatype type, void* all, const int* counts,
           const int* places, int each, MPI_Datatype allType, int root, MPI_Comm comm) {
  const Call call(comm, name, root);
  Parts parts;
  if (mine != MPI_IN_PLACE)
    parts = own(call, mine, count, type);
  call.Up(parts, append);
  if (call.IsRoot())
    copyOut(parts, all, counts, places, each, allType);
  return MPI_SUCCESS;
}

int allgather(const char* name, const void* mine, int count, MPI_Datatype type, void* all, const int* counts,
              const int* places, int each, MPI_Datatype allType, MPI_Comm comm) {
  const Call call(comm, name);
  if (mine == MPI_IN_PLACE) {
    count = counts != nullptr ? counts[call.Rank()] : each;
    type = allType;
    const int place = places != nullptr ? places[call.Rank()] : call.Rank() * each;
    mine = static_cast<char*>(all) + bytesOf(place, type);
  }
  Parts parts = own(call, mine, count, type);
  call.Up(parts, append);
  call.Down(parts);
  copyOut(parts, all, counts, places, each, allType);
  return MPI_SUCCESS;
}

int scatter(const char* name, const void* all, const int* counts, const int* places, int each,
            MPI_Datatype allType, void* mine, int count, MPI_Datatype type, int root, MPI_Comm comm) {
  const Call call(comm, name, root);
  Parts parts;
  for (int rank = 0; call.IsRoot() && rank < call.Size(); ++rank) {
    const int place = places != nullptr ? places[rank] : rank * each;
    parts.emplace_back(rank, copied(static_cast<const char*>(all) + bytesOf(place, allType),
                                    bytesOf(counts != nullptr ? counts[rank] : each, allType)));
  }
  call.Down(parts, [&](const Parts& from, int place, int below) {
    Parts kept;
    for (const Part& part : from)
      if (call.Place(part.first) >= place && call.Place(part.first) < place + below)
        kept.push_back(part);
    return kept;
  });
  for (const auto& [rank, bytes] : parts)
    if (rank == call.Rank() && mine != MPI_IN_PLACE)
      std::memcpy(mine, bytes->data(), std::min(bytes->size(), bytesOf(count, type)));
  return MPI_SUCCESS;
}

int reduce(const char* name, const void* mine, void* all, int count, MPI_Datatype type, MPI_Op op, int root,
           bool toAll, MPI_Comm comm) {
  const Call call(comm, name, root);
  std::vector<char> sum(bytesOf(count, type));
  std::memcpy(sum.data(), mine == MPI_IN_PLACE ? all : mine, sum.size());
  Parts parts = own(call, sum.data(), count, type);
  call.Up(parts, [&](Parts& into, const Parts& more) {
    sum.assign(into[0].second->begin(), into[0].second->end());
    job_Combine(sum.data(), more[0].second->data(), count, type, op);
    into = own(call, sum.data(), count, type);
  });
  if (toAll)
    call.Down(parts);
  if (toAll || call.IsRoot())
    std::memcpy(all, parts[0].second->data(), sum.size());
  return MPI_SUCCESS;
}

int scan(const char* name, const void* mine, void* result, int count, MPI_Datatype type, MPI_Op op, bool self,
         MPI_Comm comm) {
  const Call call(comm, name);
  std::vector<char> mineAndBelow(bytesOf(count, type)), below;
  std::memcpy(mineAndBelow.data(), mine == MPI_IN_PLACE ? result : mine, mineAndBelow.size());
  for (int step = 1; step < call.Size(); step *= 2) {
    if (call.Rank() + step < call.Size())
      call.Send(call.Rank() + step, own(call, mineAndBelow.data(), count, type));
    if (call.Rank() < step)
      continue;
    const auto got = call.Receive(call.Rank() - step);
    job_Combine(mineAndBelow.data(), got[0].second->data(), count, type, op);
    if (below.empty())
      below = *got[0].second;
    else
      job_Combine(below.data(), got[0].second->data(), count, type, op);
  }
  const auto& answer = self ? mineAndBelow : below;
  if (!answer.empty())
    std::memcpy(result, answer.data(), answer.size());
  return MPI_SUCCESS;
}

int exchange(const char* name, const void* mine, const int* counts, const int* places, int each,
             MPI_Datatype type, void* all, const int* allCounts, const int* allPlaces, int allEach,
             MPI_Datatype allType, MPI_Comm comm) {
  const Call call(comm, name);
  for (int i = 0; i < call.Size();
       ++i) { // each begins with the next one, so that not all send to one at once
    const int rank = (call.Rank() + i + 1) % call.Size();
    const int count = counts != nullptr ? counts[rank] : each;
    const int place = places != nullptr ? places[rank] : rank * each;
    Parts parts = own(call, static_cast<const char*>(mine) + bytesOf(place, type), count, type);
    if (rank == call.Rank())
      copyOut(parts, all, allCounts, allPlaces, allEach, allType);
    else if (count > 0)
      call.Send(rank, std::move(parts));
  }
  for (int i = 1; i < call.Size(); ++i) {
    const int rank = (call.Rank() - i + call.Size()) % call.Size();
    if ((allCounts != nullptr ? allCounts[rank] : allEach) > 0)
      copyOut(call.Receive(rank), all, allCounts, allPlaces, allEach, allType);
  }
  return MPI_SUCCESS;
}
} // namespace

int MPI_Barrier(MPI_Comm comm) {
  int nothing = 0;
  return reduce("MPI_Barrier", &nothing, &nothing, 0, MPI_INT, MPI_SUM, 0, true, comm);
}

int MPI_Bcast(void* data, int count, MPI_Datatype type, int root, MPI_Comm comm) {
  const Call call(comm, "MPI_Bcast", root);
  Parts parts;
  if (call.IsRoot())
    parts = own(call, data, count, type);
  call.Down(parts);
  if (!call.IsRoot())
    std::memcpy(data, parts[0].second->data(), std::min(parts[0].second->size(), bytesOf(count, type)));
  return MPI_SUCCESS;
}

int MPI_Reduce(const void* mine, void* all, int count, MPI_Datatype type, MPI_Op op, int root,
               MPI_Comm comm) {
  return reduce("MPI_Reduce", mine, all, count, type, op, root, false, comm);
}

int MPI_Allreduce(const void* mine, void* all, int count, MPI_Datatype type, MPI_Op op, MPI_Comm comm) {
  return reduce("MPI_Allreduce", mine, all, count, type, op, 0, true, comm);
}

int MPI_Exscan(const void* mine, void* below, int count, MPI_Datatype type, MPI_Op op, MPI_Comm comm) {
  return scan("MPI_Exscan", mine, below, count, type, op, false, comm);
}

int MPI_Scan(const void* mine, void* upTo, int count, MPI_Datatype type, MPI_Op op, MPI_Comm comm) {
  return scan("MPI_Scan", mine, upTo, count, type, op, true, comm);
}

int MPI_Gather(const void* mine, int count, MPI_Datatype type, void* all, int countOfEach,
               MPI_Datatype allType, int root, MPI_Comm comm) {
  return gather("MPI_Gather", mine, count, type, all, nullptr, nullptr, countOfEach, allType, root, comm);
}

int MPI_Gatherv(const void* mine, int count, MPI_Datatype type, void* all, const int* counts,
                const int* places, MPI_Datatype allType, int root, MPI_Comm comm) {
  return gather("MPI_Gatherv", mine, count, type, all, counts, places, 0, allType, root, comm);
}

int MPI_Allgather(const void* mine, int count, MPI_Datatype type, void* all, int countOfEach,
                  MPI_Datatype allType, MPI_Comm comm) {
  return allgather("MPI_Allgather", mine, count, type, all, nullptr, nullptr, countOfEach, allType, comm);
}

int MPI_Allgatherv(const void* mine, int count, MPI_Datatype type, void* all, const int* counts,
                   const int* places, MPI_Datatype allType, MPI_Comm comm) {
  return allgather("MPI_Allgatherv", mine, count, type, all, counts, places, 0, allType, comm);
}

int MPI_Scatter(const void* all, int countOfEach, MPI_Datatype allType, void* mine, int count,
                MPI_Datatype type, int root, MPI_Comm comm) {
  return scatter("MPI_Scatter", all, nullptr, nullptr, countOfEach, allType, mine, count, type, root, comm);
}

int MPI_Scatterv(const void* all, const int* counts, const int* places, MPI_Datatype allType, void* mine,
                 int count, MPI_Datatype type, int root, MPI_Comm comm) {
  return scatter("MPI_Scatterv", all, counts, places, 0, allType, mine, count, type, root, comm);
}

int MPI_Alltoall(const void* mine, int count, MPI_Datatype type, void* all, int countOfEach,
                 MPI_Datatype allType, MPI_Comm comm) {
  return exchange("MPI_Alltoall", mine, nullptr, nullptr, count, type, all, nullptr, nullptr, countOfEach,
                  allType, comm);
}

int MPI_Alltoallv(const void* mine, const int* counts, const int* places, MPI_Datatype type, void* all,
                  const int* allCounts, const int* allPlaces, MPI_Datatype allType, MPI_Comm comm) {
  return exchange("MPI_Alltoallv", mine, counts, places, 0, type, all, allCounts, allPlaces, 0, allType,
                  comm);
}
