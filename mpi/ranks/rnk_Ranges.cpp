#include <mpi/ranks/rnk_Ranges.h>

#include <mpi/agree/rnk_Rules.h>

#include <algorithm>

namespace {
// Small enough to be still in a cache of the processor between its checksum and its writing.
constexpr std::int64_t kPiece = std::int64_t{4} << 20;

std::int64_t upTo(std::int64_t multiple, std::int64_t value) {
  return (value + multiple - 1) / multiple * multiple;
}
} // namespace

rnk_Range rnk_Range::In(const rnk_Range& other) const {
  const rnk_Range both{std::max(first, other.first), std::min(end, other.end)};
  return both.Empty() ? rnk_Range{both.first, both.first} : both;
}

rnk_Ranges::rnk_Ranges(const rnk_Agreement& agree, const rnk_Range& mine) {
  const auto firsts = agree.Gather(mine.first), ends = agree.Gather(mine.end);
  m_ranges.resize(firsts.size());
  for (std::size_t rank = 0; rank < firsts.size(); ++rank)
    m_ranges[rank] = {firsts[rank], ends[rank]};
  Sort();
}

rnk_Ranges::rnk_Ranges(int ranks, const ORXSimDrawerPlace& place) {
  const std::int64_t blocks = place.Blocks();
  for (std::int64_t rank = 0; rank < ranks; ++rank) {
    const std::int64_t first = blocks * rank / ranks, end = blocks * (rank + 1) / ranks;
    m_ranges.push_back({std::min<std::int64_t>(first * place.blockRows, place.rows),
                        std::min<std::int64_t>(end * place.blockRows, place.rows)});
  }
  Sort();
}

void rnk_Ranges::Sort() {
  for (int rank = 0; rank < Ranks(); ++rank)
    if (!Of(rank).Empty())
      m_order.push_back(rank);
  std::sort(m_order.begin(), m_order.end(), [&](int a, int b) { return Of(a).first < Of(b).first; });
}

int rnk_Ranges::OwnerOf(std::int64_t row) const {
  const auto after = std::upper_bound(m_order.begin(), m_order.end(), row,
                                      [&](std::int64_t wanted, int rank) { return wanted < Of(rank).first; });
  return after == m_order.begin() || row >= Of(*(after - 1)).end ? -1 : *(after - 1);
}

std::string rnk_Ranges::Untiled(std::int64_t rows) const {
  std::int64_t next = 0;
  for (const int rank : m_order) {
    const rnk_Range& range = Of(rank);
    if (range.first > next)
      break;
    if (range.first < next)
      return "row " + std::to_string(range.first) + " is given by rank " + std::to_string(rank) +
             " and by another one";
    next = range.end;
  }
  return next >= rows ? std::string() : "row " + std::to_string(next) + " is given by no rank";
}

std::vector<int> rnk_Ranges::Having(const rnk_Range& range) const {
  std::vector<int> ranks;
  for (std::int64_t row = range.first; row < range.end; row = Of(ranks.back()).end)
    ranks.push_back(OwnerOf(row));
  return ranks;
}

rnk_Range rnk_Ranges::Owned(int rank, const ORXSimDrawerPlace& place) const {
  const rnk_Range& range = Of(rank);
  if (range.Empty() || rnk_Broken(rnk_Rule::kBorders))
    return range;
  const std::int64_t rows = place.rows;
  const rnk_Range owned{upTo(place.blockRows, range.first), std::min(upTo(place.blockRows, range.end), rows)};
  return owned.first < range.end ? owned : rnk_Range{range.end, range.end};
}

rnk_RowType::rnk_RowType(std::int64_t rowBytes) {
  MPI_Type_contiguous(static_cast<int>(rowBytes), MPI_BYTE, &m_type);
  MPI_Type_commit(&m_type);
}

std::int64_t rnk_PieceRows(const ORXSimDrawerPlace& place) {
  const std::int64_t blocks = std::max<std::int64_t>(kPiece / (place.blockRows * place.rowBytes), 1);
  return blocks * place.blockRows;
}
