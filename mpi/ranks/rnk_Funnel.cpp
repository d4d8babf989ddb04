#include <mpi/ranks/rnk_Funnel.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Distribution.h>

#include <algorithm>
#include <cstring>

namespace {
enum { kRows, kNothing }; // tags: rows, or that there are none

using Bytes = std::vector<unsigned char>;

// Rank 0 needs memory for one piece, and all wait until it has it.
bool makeRoom(const rnk_State& state, const char* what, std::int64_t bytes, Bytes& room) {
  std::string cause;
  const bool made = !state.agree.IsRoot() || rnk_Try(cause, [&] {
    room.resize(static_cast<std::size_t>(bytes));
    return true;
  });
  return state.agree.Root(made, state.Told(what, cause));
}

// Where rank 0 puts the rows that come: into lent space, or through HDF5.
class Target {
 public:
  Target(ORXSimDrawerLoan& loan, const ORXSimDrawerPlace& place) : m_loan(loan), m_place(place) {}
  void Open(ORXSimDistributionID distribution, int drawer) {
    m_drawer = ORXSimDistributionRef(distribution).OpenDrawer(drawer);
  }

  bool Write(const rnk_Range& rows, const unsigned char* bytes) {
    const std::int64_t count = rows.Count() * m_place.rowBytes;
    if (!m_place.direct)
      return m_drawer.Write(static_cast<int>(rows.first), static_cast<int>(rows.Count()), bytes, count);
    for (std::int64_t row = rows.first; row < rows.end; row += m_place.blockRows) {
      const std::int64_t size = std::min<std::int64_t>(m_place.blockRows, rows.end - row) * m_place.rowBytes;
      m_sums.push_back(ORXSimDrawerPlace::SumOf(bytes + (row - rows.first) * m_place.rowBytes,
                                                static_cast<std::size_t>(size)));
    }
    return m_loan.Put(m_place.offset + rows.first * m_place.rowBytes, bytes, count);
  }
  bool End() { return !m_place.direct || m_loan.End(m_sums); }

 private:
  ORXSimDrawerLoan& m_loan;
  const ORXSimDrawerPlace& m_place;
  ORXSimOpenDrawer m_drawer;
  std::vector<std::uint64_t> m_sums;
};
} // namespace

bool rnk_FunnelWrite(const rnk_State& state, ORXSimDistributionID distribution, int drawer,
                     ORXSimDrawerLoan& loan, const ORXSimDrawerPlace& place, const rnk_Ranges& ranges,
                     const unsigned char* rows) {
  const rnk_Agreement& agree = state.agree;
  const std::int64_t piece = std::min<std::int64_t>(rnk_PieceRows(place), place.rows);
  Bytes room;
  if (!makeRoom(state, "write drawer", piece * place.rowBytes, room))
    return false;
  const rnk_RowType type(place.rowBytes);
  const rnk_Range mine = ranges.Of(agree.Rank());
  bool good = true;
  {
    Target target(loan, place);
    if (agree.IsRoot() && !place.direct)
      target.Open(distribution, drawer);
    for (rnk_Range now{0, piece}; !now.Empty();
         now = {now.end, std::min<std::int64_t>(now.end + piece, place.rows)}) {
      const rnk_Range own = mine.In(now);
      const unsigned char* const from = rows + (own.first - mine.first) * place.rowBytes;
      if (!agree.IsRoot()) {
        if (!own.Empty())
          MPI_Send(from, static_cast<int>(own.Count()), type.Get(), 0, kRows, agree.Comm());
        continue;
      }
      // What is sent is taken, whatever has failed before.
      for (const int rank : ranges.Having(now)) {
        const rnk_Range theirs = ranges.Of(rank).In(now);
        unsigned char* const to = room.data() + (theirs.first - now.first) * place.rowBytes;
        if (rank == 0)
          std::memcpy(to, from, static_cast<std::size_t>(own.Count() * place.rowBytes));
        else
          MPI_Recv(to, static_cast<int>(theirs.Count()), type.Get(), rank, kRows, agree.Comm(),
                   MPI_STATUS_IGNORE);
      }
      good = good && target.Write(now, room.data());
    }
    good = good && (!agree.IsRoot() || target.End());
  }
  const std::string cause = good ? std::string() : ORXSimManager::LastError();
  if (!good)
    loan.GiveUp(cause);
  return agree.Root(good, cause);
}

bool rnk_FunnelRead(const rnk_State& state, ORXSimDistributionID distribution, int drawer,
                    const ORXSimDrawerPlace& place, const rnk_Ranges& ranges, unsigned char* rows) {
  const rnk_Agreement& agree = state.agree;
  const std::int64_t piece = std::clamp<std::int64_t>(place.rows, 1, rnk_PieceRows(place));
  Bytes room;
  if (!makeRoom(state, "read drawer", piece * place.rowBytes, room))
    return false;
  const rnk_RowType type(place.rowBytes);
  const auto pieceAt = [&](const rnk_Range& all, std::int64_t row) {
    return rnk_Range{row, std::min(row / piece * piece + piece, all.end)};
  };
  bool good = true;
  if (!agree.IsRoot()) {
    const rnk_Range mine = ranges.Of(agree.Rank());
    for (rnk_Range now = pieceAt(mine, mine.first); !now.Empty(); now = pieceAt(mine, now.end))
      MPI_Recv(rows + (now.first - mine.first) * place.rowBytes, static_cast<int>(now.Count()), type.Get(), 0,
               MPI_ANY_TAG, agree.Comm(), MPI_STATUS_IGNORE);
    return agree.Root(true, {});
  }
  const ORXSimOpenDrawer opened = ORXSimDistributionRef(distribution).OpenDrawer(drawer);
  for (int rank = 0; rank < ranges.Ranks(); ++rank) {
    const rnk_Range theirs = ranges.Of(rank);
    for (rnk_Range now = pieceAt(theirs, theirs.first); !now.Empty(); now = pieceAt(theirs, now.end)) {
      unsigned char* const to = rank == 0 ? rows + (now.first - theirs.first) * place.rowBytes : room.data();
      good = good && opened.Read(static_cast<int>(now.first), static_cast<int>(now.Count()), to,
                                 now.Count() * place.rowBytes);
      if (rank != 0)
        MPI_Send(to, good ? static_cast<int>(now.Count()) : 0, type.Get(), rank, good ? kRows : kNothing,
                 agree.Comm());
    }
  }
  return agree.Root(good, ORXSimManager::LastError());
}
