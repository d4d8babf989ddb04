#include <mpi/ranks/rnk_Exchange.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <numeric>

namespace {
// Where each rank's rows begin.
void placesOf(const std::vector<int>& counts, std::vector<int>& places) {
  places.resize(counts.size());
  std::exclusive_scan(counts.begin(), counts.end(), places.begin(), 0);
}
} // namespace

bool rnk_Exchange::Ask(const char* what) {
  const rnk_Agreement& agree = m_state.agree;
  const auto ranks = static_cast<std::size_t>(agree.Size());
  std::string cause;
  std::vector<std::int32_t> sorted;
  const auto arrange = [&] {
    if (m_rows.size() > static_cast<std::size_t>(INT_MAX))
      return cause = "a list has more than 2^31 rows", false;
    std::vector<int> owners(m_rows.size());
    m_out.assign(ranks, 0);
    m_in.assign(ranks, 0);
    for (std::size_t i = 0; i < m_rows.size(); ++i)
      ++m_out[static_cast<std::size_t>(owners[i] = m_pieces.OwnerOf(m_rows[i]))];
    placesOf(m_out, m_outAt);
    std::vector<int> next = m_outAt;
    m_order.resize(m_rows.size());
    sorted.resize(m_rows.size());
    for (std::size_t i = 0; i < m_rows.size(); ++i) {
      const auto place = static_cast<std::size_t>(next[static_cast<std::size_t>(owners[i])]++);
      m_order[place] = static_cast<std::int32_t>(i);
      sorted[place] = m_rows[i];
    }
    return true;
  };
  if (!agree.All(rnk_Try(cause, arrange), m_state.Told(what, cause)))
    return false;
  MPI_Alltoall(m_out.data(), 1, MPI_INT, m_in.data(), 1, MPI_INT, agree.Comm());
  const auto makeRoom = [&] {
    const std::int64_t all = std::accumulate(m_in.begin(), m_in.end(), std::int64_t{0});
    if (all > INT_MAX)
      return cause = "more than 2^31 rows are asked for at once", false;
    placesOf(m_in, m_inAt);
    m_asked.resize(static_cast<std::size_t>(all));
    return true;
  };
  if (!agree.All(rnk_Try(cause, makeRoom), m_state.Told(what, cause)))
    return false;
  MPI_Alltoallv(sorted.data(), m_out.data(), m_outAt.data(), MPI_INT32_T, m_asked.data(), m_in.data(),
                m_inAt.data(), MPI_INT32_T, agree.Comm());
  return true;
}

bool rnk_Exchange::ToPieces(const char* what, const unsigned char* bytes, std::vector<unsigned char>& piece) {
  const rnk_Agreement& agree = m_state.agree;
  const rnk_Range mine = m_pieces.Of(agree.Rank());
  std::string cause;
  std::vector<unsigned char> out, in;
  std::vector<bool> came;
  const auto pack = [&] {
    out.resize(BytesOf(static_cast<std::int64_t>(m_rows.size())));
    in.resize(BytesOf(static_cast<std::int64_t>(m_asked.size())));
    piece.resize(BytesOf(mine.Count()));
    came.resize(static_cast<std::size_t>(mine.Count()));
    for (std::size_t i = 0; i < m_order.size(); ++i)
      std::memcpy(out.data() + BytesOf(static_cast<std::int64_t>(i)), bytes + BytesOf(m_order[i]),
                  BytesOf(1));
    return true;
  };
  if (!agree.All(rnk_Try(cause, pack), m_state.Told(what, cause)))
    return false;
  const rnk_RowType type(m_place.rowBytes);
  MPI_Alltoallv(out.data(), m_out.data(), m_outAt.data(), type.Get(), in.data(), m_in.data(), m_inAt.data(),
                type.Get(), agree.Comm());
  for (std::size_t i = 0; i < m_asked.size(); ++i) {
    const std::int64_t row = m_asked[i] - mine.first;
    if (came[static_cast<std::size_t>(row)])
      cause = "row " + std::to_string(m_asked[i]) + " is given twice";
    came[static_cast<std::size_t>(row)] = true;
    std::memcpy(piece.data() + BytesOf(row), in.data() + BytesOf(static_cast<std::int64_t>(i)), BytesOf(1));
  }
  const auto lacks = std::find(came.begin(), came.end(), false);
  if (cause.empty() && lacks != came.end())
    cause = "row " + std::to_string(mine.first + (lacks - came.begin())) + " is given by no rank";
  return agree.All(cause.empty(), m_state.facts.shown + ": " + what + ": " + cause);
}

rnk_Range rnk_Exchange::Needed() const {
  if (m_asked.empty())
    return {};
  const auto [least, most] = std::minmax_element(m_asked.begin(), m_asked.end());
  return {*least, std::int64_t{*most} + 1};
}

bool rnk_Exchange::ToLists(const char* what, const rnk_Range& needed, const unsigned char* piece,
                           unsigned char* bytes) {
  const rnk_Agreement& agree = m_state.agree;
  std::string cause;
  std::vector<unsigned char> out, in;
  const auto pack = [&] {
    out.resize(BytesOf(static_cast<std::int64_t>(m_asked.size())));
    in.resize(BytesOf(static_cast<std::int64_t>(m_rows.size())));
    for (std::size_t i = 0; i < m_asked.size(); ++i)
      std::memcpy(out.data() + BytesOf(static_cast<std::int64_t>(i)),
                  piece + BytesOf(m_asked[i] - needed.first), BytesOf(1));
    return true;
  };
  if (!agree.All(rnk_Try(cause, pack), m_state.Told(what, cause)))
    return false;
  const rnk_RowType type(m_place.rowBytes);
  MPI_Alltoallv(out.data(), m_in.data(), m_inAt.data(), type.Get(), in.data(), m_out.data(), m_outAt.data(),
                type.Get(), agree.Comm());
  for (std::size_t i = 0; i < m_order.size(); ++i)
    std::memcpy(bytes + BytesOf(m_order[i]), in.data() + BytesOf(static_cast<std::int64_t>(i)), BytesOf(1));
  return true;
}
