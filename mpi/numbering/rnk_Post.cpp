#include <mpi/numbering/rnk_Post.h>

#include <numeric>

namespace {

std::int64_t sum(const std::vector<std::int64_t>& counts) {
  return std::accumulate(counts.begin(), counts.end(), std::int64_t{0});
}

// Counts and where they begin, as MPI takes them.
struct Ints {
  explicit Ints(const std::vector<std::int64_t>& all) {
    int first = 0;
    for (const std::int64_t count : all) {
      counts.push_back(static_cast<int>(count));
      firsts.push_back(first);
      first += static_cast<int>(count);
    }
  }
  std::vector<int> counts, firsts;
};

} // namespace

std::string rnk_Cause(const rnk_Agreement& ranks, const std::string& text) {
  return "numbering: rank " + std::to_string(ranks.Rank()) + ": " + text;
}

bool rnk_DeliverCounts(const rnk_Agreement& ranks, const std::vector<std::int64_t>& out,
                       std::vector<std::int64_t>& in, std::int64_t most) {
  MPI_Alltoall(out.data(), 1, MPI_INT64_T, in.data(), 1, MPI_INT64_T, ranks.Comm());
  const std::int64_t values = std::max(sum(out), sum(in));
  return ranks.All(values <= most,
                   values <= most
                       ? std::string()
                       : rnk_Cause(ranks, std::to_string(values) + " values to exchange at once, at most " +
                                              std::to_string(most) + " can be"));
}

void rnk_DeliverValues(const rnk_Agreement& ranks, const void* out,
                       const std::vector<std::int64_t>& outCounts, void* in,
                       const std::vector<std::int64_t>& inCounts, std::size_t bytes) {
  const Ints from(outCounts), to(inCounts);
  MPI_Datatype value = MPI_DATATYPE_NULL;
  MPI_Type_contiguous(static_cast<int>(bytes), MPI_BYTE, &value);
  MPI_Type_commit(&value);
  MPI_Alltoallv(out, from.counts.data(), from.firsts.data(), value, in, to.counts.data(), to.firsts.data(),
                value, ranks.Comm());
  MPI_Type_free(&value);
}

std::vector<std::int64_t> rnk_Begins(const std::vector<std::int64_t>& counts) {
  std::vector<std::int64_t> begins(counts.size());
  std::exclusive_scan(counts.begin(), counts.end(), begins.begin(), std::int64_t{0});
  return begins;
}

std::int64_t rnk_Sum(const rnk_Agreement& ranks, std::int64_t mine) {
  std::int64_t all = 0;
  MPI_Allreduce(&mine, &all, 1, MPI_INT64_T, MPI_SUM, ranks.Comm());
  return all;
}

unsigned rnk_Or(const rnk_Agreement& ranks, unsigned mine) {
  unsigned all = 0;
  MPI_Allreduce(&mine, &all, 1, MPI_UNSIGNED, MPI_BOR, ranks.Comm());
  return all;
}

rnk_Parts rnk_Scan(const rnk_Agreement& ranks, std::int64_t count, std::int64_t first) {
  return rnk_Parts(ranks.Gather(count), first);
}
