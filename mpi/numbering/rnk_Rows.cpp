#include <mpi/numbering/rnk_Rows.h>

namespace {

// What of a piece a rank has.
struct Share {
  Share(const rnk_Parts& parts, int rank, std::int64_t begin, std::int64_t end)
      : first(std::max(begin, parts.First(rank))),
        count(static_cast<int>(std::max<std::int64_t>(0, std::min(end, parts.End(rank)) - first))) {}
  std::int64_t first;
  int count;
};

// The rows [begin, end) of all to rank 0.
void bring(const rnk_Agreement& ranks, const rnk_Rows& rows, std::int64_t begin, std::int64_t end,
           std::vector<char>& mine, std::vector<char>& all) {
  std::vector<int> counts, firsts;
  for (int rank = 0; ranks.IsRoot() && rank < ranks.Size(); ++rank) {
    const Share share(rows.parts, rank, begin, end);
    counts.push_back(share.count);
    firsts.push_back(share.count > 0 ? static_cast<int>(share.first - begin) : 0);
  }
  const Share share(rows.parts, ranks.Rank(), begin, end);
  if (share.count > 0)
    rows.fill(share.first - rows.parts.First(ranks.Rank()), share.count, mine.data());
  MPI_Datatype row = MPI_DATATYPE_NULL;
  MPI_Type_contiguous(static_cast<int>(rows.bytes), MPI_BYTE, &row);
  MPI_Type_commit(&row);
  MPI_Gatherv(mine.data(), share.count, row, all.data(), counts.data(), firsts.data(), row, 0, ranks.Comm());
  MPI_Type_free(&row);
}

} // namespace

bool rnk_BringRows(const rnk_Agreement& ranks, const rnk_Rows& rows, const rnk_TakeRows& take, int piece) {
  std::string cause;
  std::vector<char> mine, all;
  const bool room = rnk_Try(cause, [&] {
    mine.resize(rnk_At(std::min<std::int64_t>(piece, rows.parts.Count(ranks.Rank()))) * rows.bytes);
    if (ranks.IsRoot())
      all.resize(rnk_At(std::min<std::int64_t>(piece, rows.parts.Total())) * rows.bytes);
    return true;
  });
  if (!ranks.All(room, "numbering: rank " + std::to_string(ranks.Rank()) + ": " + cause))
    return false;
  for (std::int64_t begin = rows.parts.Begin(); begin < rows.parts.End(); begin += piece) {
    const std::int64_t end = std::min(begin + piece, rows.parts.End());
    bring(ranks, rows, begin, end, mine, all);
    const bool taken =
        !ranks.IsRoot() || take(begin - rows.parts.Begin(), static_cast<int>(end - begin), all.data(), cause);
    if (!ranks.Root(taken, "numbering: rank 0: " + cause))
      return false;
  }
  return true;
}
