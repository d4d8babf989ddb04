#include <mpi/numbering/rnk_Pieces.h>

namespace {

// What of [begin, end) a rank has.
struct Share {
  Share(const rnk_Parts& parts, int rank, std::int64_t begin, std::int64_t end)
      : first(std::max(begin, parts.First(rank))),
        count(static_cast<int>(std::max<std::int64_t>(0, std::min(end, parts.End(rank)) - first))) {}
  std::int64_t first;
  int count;
};

} // namespace

bool rnk_BringPieces(const rnk_Agreement& ranks, const rnk_Parts& parts, const std::int64_t* mine, int piece,
                     const std::function<void(const std::int64_t* numbers, int count)>& take) {
  std::string cause;
  std::vector<int> counts, firsts;
  std::vector<std::int64_t> all;
  const bool room = rnk_Try(cause, [&] {
    counts.resize(ranks.IsRoot() ? rnk_At(ranks.Size()) : 0);
    firsts.resize(counts.size());
    all.resize(ranks.IsRoot() ? rnk_At(std::min<std::int64_t>(piece, parts.Total())) : 0);
    return true;
  });
  if (!ranks.All(room, "numbering: rank " + std::to_string(ranks.Rank()) + ": " + cause))
    return false;
  for (std::int64_t begin = parts.Begin(); begin < parts.End(); begin += piece) {
    const std::int64_t end = std::min(begin + piece, parts.End());
    for (std::size_t rank = 0; rank < counts.size(); ++rank) {
      const Share share(parts, static_cast<int>(rank), begin, end);
      counts[rank] = share.count;
      firsts[rank] = share.count > 0 ? static_cast<int>(share.first - begin) : 0;
    }
    const Share share(parts, ranks.Rank(), begin, end);
    const std::int64_t* const from =
        share.count > 0 ? mine + (share.first - parts.First(ranks.Rank())) : mine;
    MPI_Gatherv(from, share.count, MPI_INT64_T, all.data(), counts.data(), firsts.data(), MPI_INT64_T, 0,
                ranks.Comm());
    if (ranks.IsRoot())
      take(all.data(), static_cast<int>(end - begin));
  }
  return true;
}
