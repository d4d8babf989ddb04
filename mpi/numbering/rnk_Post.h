#pragma once

#include <mpi/agree/rnk_Agreement.h>
#include <mpi/numbering/rnk_Parts.h>

#include <climits>
#include <type_traits>

/// Values that go to the ranks, or that came from them.
/// Threads: a value; each thread uses values of its own.
template <class Value>
struct rnk_Post {
  static_assert(std::is_trivially_copyable_v<Value>);
  std::vector<std::int64_t> counts; // [ranks]
  std::vector<Value> values;        // rank by rank

  /// Calls visit(rank, value) in the order in which they lie.
  template <class Visit>
  void ForEach(Visit visit) const {
    std::size_t at = 0;
    for (int rank = 0; rank < static_cast<int>(counts.size()); ++rank)
      for (std::int64_t i = 0; i < counts[rnk_At(rank)]; ++i)
        visit(rank, values[at++]);
  }
};

/// The text of a failure of one rank.
std::string rnk_Cause(const rnk_Agreement& ranks, const std::string& text);

// What follows is collective.

/// How much each rank will get from each; the counts of MPI are ints, so more than `most` values from or to
/// one rank in all are refused on all ranks.
/// \param out  [ranks] values for each rank.
/// \param in   receives [ranks] values from each.
bool rnk_DeliverCounts(const rnk_Agreement& ranks, const std::vector<std::int64_t>& out,
                       std::vector<std::int64_t>& in, std::int64_t most);
/// \param bytes  of one value.
void rnk_DeliverValues(const rnk_Agreement& ranks, const void* out,
                       const std::vector<std::int64_t>& outCounts, void* in,
                       const std::vector<std::int64_t>& inCounts, std::size_t bytes);
/// Adds up over all ranks, or joins as masks.
std::int64_t rnk_Sum(const rnk_Agreement& ranks, std::int64_t mine);
unsigned rnk_Or(const rnk_Agreement& ranks, unsigned mine);
/// \param count  of this rank.
/// \param first  the number of the first of all.
rnk_Parts rnk_Scan(const rnk_Agreement& ranks, std::int64_t count, std::int64_t first = 0);

/// Brings the post of each rank to the others; what this rank has for itself among it.
/// \return false on all ranks when one of them lacks memory or has too much.
template <class Value>
bool rnk_Deliver(const rnk_Agreement& ranks, const rnk_Post<Value>& out, rnk_Post<Value>& in,
                 std::int64_t most = INT_MAX) {
  in.counts.resize(out.counts.size());
  if (!rnk_DeliverCounts(ranks, out.counts, in.counts, most))
    return false;
  std::string cause;
  const bool room = rnk_Try(cause, [&] {
    std::int64_t all = 0;
    for (const std::int64_t count : in.counts)
      all += count;
    in.values.resize(rnk_At(all));
    return true;
  });
  if (!ranks.All(room, rnk_Cause(ranks, cause)))
    return false;
  rnk_DeliverValues(ranks, out.values.data(), out.counts, in.values.data(), in.counts, sizeof(Value));
  return true;
}

/// Answers a post: one value for each that came, in their order, goes back to where it came from.
/// \param answers [asked.values] of this rank.
/// \param in      receives the others' answers to what this rank had sent; its memory is there already.
template <class Value>
void rnk_Answer(const rnk_Agreement& ranks, const std::vector<std::int64_t>& asked,
                const std::vector<Value>& answers, const std::vector<std::int64_t>& sent,
                std::vector<Value>& in) {
  rnk_DeliverValues(ranks, answers.data(), asked, in.data(), sent, sizeof(Value));
}

/// Where what goes to each rank begins in a post.
std::vector<std::int64_t> rnk_Begins(const std::vector<std::int64_t>& counts);

/// Fills a post with n values; those for one rank keep their order.
/// \param rankOf   says of 0 to n - 1 where a value goes; below 0 nowhere.
/// \param valueOf  says what it is.
template <class Value, class RankOf, class ValueOf>
void rnk_Fill(rnk_Post<Value>& post, int ranks, std::int64_t n, RankOf rankOf, ValueOf valueOf) {
  post.counts.assign(rnk_At(ranks), 0);
  for (std::int64_t i = 0; i < n; ++i)
    if (const int rank = rankOf(i); rank >= 0)
      ++post.counts[rnk_At(rank)];
  std::vector<std::int64_t> next = rnk_Begins(post.counts);
  post.values.resize(rnk_At(next.back() + post.counts.back()));
  for (std::int64_t i = 0; i < n; ++i)
    if (const int rank = rankOf(i); rank >= 0)
      post.values[rnk_At(next[rnk_At(rank)]++)] = valueOf(i);
}
