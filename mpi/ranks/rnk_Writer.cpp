#include <mpi/ranks/rnk_Writer.h>

#include <mpi/agree/rnk_Rules.h>
#include <mpi/ranks/rnk_Funnel.h>

#include <algorithm>
#include <cstring>

namespace {
constexpr const char* kWhat = "write drawer";

std::string textOf(int code) {
  char text[MPI_MAX_ERROR_STRING];
  int length = 0;
  MPI_Error_string(code, text, &length);
  return {text, static_cast<std::size_t>(length)};
}

// What one rank writes of a drawer on loan, and what it has to say of it afterwards.
class Part {
 public:
  Part(const rnk_State& state, const ORXSimDrawerPlace& place, const rnk_Ranges& ranges,
       const unsigned char* rows)
      : m_state(state), m_place(place), m_ranges(ranges), m_rows(rows), m_mine(ranges.Of(state.agree.Rank())),
        m_owned(ranges.Owned(state.agree.Rank(), place)) {}

  // Memory for the block whose rows other ranks have as well.
  void Prepare() {
    if (m_owned.end > m_mine.end && !m_owned.Empty()) {
      m_tail = {(m_owned.end - 1) / m_place.blockRows * m_place.blockRows, m_owned.end};
      m_block.resize(static_cast<std::size_t>(BytesOf(m_tail.Count())));
    }
    m_told.reserve(static_cast<std::size_t>(m_owned.Count() / m_place.blockRows + 2) * sizeof(std::uint64_t) +
                   4 * ORXSimDrawerPlace::kPage);
  }

  // Rows of a block go to the rank that has its first one.
  void ExchangeBorders() {
    if (rnk_Broken(rnk_Rule::kBorders))
      return;
    const rnk_RowType type(m_place.rowBytes);
    const MPI_Comm comm = m_state.agree.Comm();
    std::vector<MPI_Request> requests;
    const std::int64_t start = m_mine.first / m_place.blockRows * m_place.blockRows;
    const rnk_Range head{m_mine.first, std::min(m_owned.first, m_mine.end)};
    if (!head.Empty()) {
      requests.emplace_back();
      MPI_Isend(m_rows, static_cast<int>(head.Count()), type.Get(), m_ranges.OwnerOf(start), 0, comm,
                &requests.back());
    }
    const std::vector<int> others = m_ranges.Having({m_tail.Empty() ? m_tail.end : m_mine.end, m_tail.end});
    for (const int other : others) {
      const rnk_Range theirs = m_ranges.Of(other).In(m_tail);
      requests.emplace_back();
      MPI_Irecv(m_block.data() + BytesOf(theirs.first - m_tail.first), static_cast<int>(theirs.Count()),
                type.Get(), other, 0, comm, &requests.back());
    }
    if (const rnk_Range own = m_mine.In(m_tail); !own.Empty())
      std::memcpy(m_block.data() + BytesOf(own.first - m_tail.first),
                  m_rows + BytesOf(own.first - m_mine.first), static_cast<std::size_t>(BytesOf(own.Count())));
    MPI_Waitall(static_cast<int>(requests.size()), requests.data(), MPI_STATUSES_IGNORE);
  }

  bool Write(std::string& cause) {
    const std::int64_t piece = rnk_PieceRows(m_place), body = m_tail.Empty() ? m_owned.end : m_tail.first;
    for (std::int64_t row = m_owned.first, to = 0; row < m_owned.end; row = to) {
      to = row < body ? std::min(row + piece, body) : m_owned.end;
      const unsigned char* const bytes = row < body ? m_rows + BytesOf(row - m_mine.first) : m_block.data();
      Sum({row, to}, bytes);
      if (!WriteRows(m_place.offset + BytesOf(row), bytes, BytesOf(to - row), cause))
        return false;
    }
    const int code = m_state.facts.syncs ? MPI_File_sync(m_state.file) : MPI_SUCCESS;
    return code == MPI_SUCCESS || (cause = textOf(code), false);
  }

  // What rank 0 needs: the sums, and the bytes that it writes itself.
  std::vector<unsigned char> Told() const {
    std::vector<unsigned char> told;
    const auto put = [&](const void* bytes, std::size_t count) {
      const auto* const from = static_cast<const unsigned char*>(bytes);
      told.insert(told.end(), from, from + count);
    };
    const std::int64_t sums = static_cast<std::int64_t>(m_sums.size());
    put(&m_firstBlock, sizeof m_firstBlock);
    put(&sums, sizeof sums);
    put(m_sums.data(), m_sums.size() * sizeof m_sums[0]);
    put(m_told.data(), m_told.size());
    return told;
  }

 private:
  std::int64_t BytesOf(std::int64_t rows) const { return rows * m_place.rowBytes; }

  void Sum(const rnk_Range& rows, const unsigned char* bytes) {
    std::int64_t end = 0;
    for (std::int64_t row = rows.first; row < rows.end; row = end) {
      end = std::min(row / m_place.blockRows * m_place.blockRows + m_place.blockRows, rows.end);
      if (m_sums.empty())
        m_firstBlock = row / m_place.blockRows;
      m_sums.push_back(ORXSimDrawerPlace::SumOf(bytes + BytesOf(row - rows.first),
                                                static_cast<std::size_t>(BytesOf(end - row))));
    }
  }

  // Whole pages go straight into the file, the others to rank 0.
  bool WriteRows(std::int64_t offset, const unsigned char* bytes, std::int64_t count, std::string& cause) {
    const std::int64_t end = offset + count;
    const std::int64_t from = std::clamp(m_place.lentFirst, offset, end);
    const std::int64_t to = std::clamp(m_place.lentEnd, from, end);
    Tell(offset, bytes, from - offset);
    Tell(to, bytes + (to - offset), end - to);
    constexpr std::int64_t kMost = std::int64_t{1} << 30; // MPI counts in ints
    for (std::int64_t at = from, now = 0; at < to; at += now) {
      now = std::min(to - at, kMost);
      MPI_Status status;
      int wrote = 0;
      const int code = MPI_File_write_at(m_state.file, at, bytes + (at - offset), static_cast<int>(now),
                                         MPI_BYTE, &status);
      if (code != MPI_SUCCESS)
        return cause = textOf(code), false;
      MPI_Get_count(&status, MPI_BYTE, &wrote);
      if (wrote != now)
        return cause = "only a part was written: the disk may be full", false;
    }
    return true;
  }

  void Tell(std::int64_t offset, const unsigned char* bytes, std::int64_t count) {
    if (count <= 0)
      return;
    const std::int64_t head[2] = {offset, count};
    const auto* const from = reinterpret_cast<const unsigned char*>(head);
    m_told.insert(m_told.end(), from, from + sizeof head);
    m_told.insert(m_told.end(), bytes, bytes + count);
  }

  const rnk_State& m_state;
  const ORXSimDrawerPlace& m_place;
  const rnk_Ranges& m_ranges;
  const unsigned char* m_rows;
  const rnk_Range m_mine, m_owned; // rows it has; rows it sums and writes
  rnk_Range m_tail;                // of them, the block that is put together from several ranks' rows
  std::vector<unsigned char> m_block, m_told;
  std::int64_t m_firstBlock = 0;
  std::vector<std::uint64_t> m_sums;
};

// What every rank tells, one after the other, on rank 0.
std::vector<unsigned char> gather(const rnk_Agreement& agree, const std::vector<unsigned char>& told) {
  const int mine = static_cast<int>(told.size());
  std::vector<int> counts(agree.IsRoot() ? static_cast<std::size_t>(agree.Size()) : 0), places(counts.size());
  MPI_Gather(&mine, 1, MPI_INT, counts.data(), 1, MPI_INT, 0, agree.Comm());
  int all = 0;
  for (std::size_t rank = 0; rank < counts.size(); all += counts[rank++])
    places[rank] = all;
  std::vector<unsigned char> bytes(static_cast<std::size_t>(all));
  MPI_Gatherv(told.data(), mine, MPI_BYTE, bytes.data(), counts.data(), places.data(), MPI_BYTE, 0,
              agree.Comm());
  return bytes;
}

// Takes what ranks have told, one after the other: rank 0 alone.
bool finish(ORXSimDrawerLoan& loan, const ORXSimDrawerPlace& place, const rnk_Ranges& ranges,
            const std::vector<unsigned char>& told) {
  std::vector<std::uint64_t> sums(static_cast<std::size_t>(place.Blocks()));
  std::size_t at = 0;
  const auto take = [&](void* target, std::size_t count) {
    std::memcpy(target, told.data() + at, count);
    at += count;
  };
  for (int rank = 0; rank < ranges.Ranks(); ++rank) {
    std::int64_t head[2]; // first block and sums
    take(head, sizeof head);
    take(sums.data() + head[0], static_cast<std::size_t>(head[1]) * sizeof sums[0]);
    const rnk_Range owned = ranges.Owned(rank, place);
    for (const rnk_Range edge :
         {rnk_Range{place.offset, place.lentFirst}, rnk_Range{place.lentEnd, place.offset + place.Bytes()}}) {
      std::int64_t left =
          edge.In({place.offset + owned.first * place.rowBytes, place.offset + owned.end * place.rowBytes})
              .Count();
      for (std::int64_t piece[2]; left > 0; left -= piece[1]) {
        take(piece, sizeof piece);
        if (!loan.Put(piece[0], told.data() + at, piece[1]))
          return false;
        at += static_cast<std::size_t>(piece[1]);
      }
    }
  }
  return loan.End(sums);
}
} // namespace

bool rnk_Write(const rnk_State& state, ORXSimDistributionID distribution, int drawer,
               const rnk_Ranges& ranges, const unsigned char* rows) {
  const rnk_Agreement& agree = state.agree;
  ORXSimDrawerLoan loan;
  ORXSimDrawerPlace place;
  const bool begun = !agree.IsRoot() || loan.Begin(distribution, drawer, place, !state.Funnelled());
  if (!agree.Root(begun, ORXSimManager::LastError()))
    return false;
  agree.Share(place);
  if (state.Funnelled() || !place.direct)
    return rnk_FunnelWrite(state, distribution, drawer, loan, place, ranges, rows);
  Part part(state, place, ranges, rows);
  std::string cause;
  const auto agreed = [&](bool mine) {
    const bool all = agree.All(mine, state.Told(kWhat, cause));
    if (!all && agree.IsRoot())
      loan.GiveUp(rnk_Agreement::LastError());
    return all;
  };
  if (!agreed(rnk_Try(cause, [&] { return part.Prepare(), true; })))
    return false;
  part.ExchangeBorders();
  if (!agreed(rnk_Try(cause, [&] { return part.Write(cause); })))
    return false;
  const std::vector<unsigned char> told = gather(agree, part.Told());
  const bool done = !agree.IsRoot() || finish(loan, place, ranges, told);
  return agree.Root(done, ORXSimManager::LastError());
}
