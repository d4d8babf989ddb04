#include <mpi/ORXSim_RankTransfer.h>

#include <mpi/ORXSim_RankUpdate.h>
#include <mpi/ranks/rnk_Exchange.h>
#include <mpi/ranks/rnk_Reader.h>
#include <mpi/ranks/rnk_Writer.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Transfer.h>

#include <algorithm>
#include <numeric>

void ORXSimRankTransfer::SetRows(std::int64_t first, std::int64_t count) {
  m_listed = false;
  m_first = first;
  m_count = count;
  m_rows.clear();
}

void ORXSimRankTransfer::SetRows(std::vector<std::int32_t> rows) {
  m_listed = true;
  m_first = 0;
  m_count = static_cast<std::int64_t>(rows.size());
  m_rows = std::move(rows);
}

void ORXSimRankTransfer::Register(const Buffer& buffer) {
  std::erase_if(m_buffers, [&](const Buffer& known) { return known.drawer == buffer.drawer; });
  m_buffers.push_back(buffer);
}

/// One call on a transfer: what the ranks agree on before a byte is moved.
class rnk_Transfer {
 public:
  using Mode = ORXSimRankTransfer::Mode;
  using Buffer = ORXSimRankTransfer::Buffer;
  rnk_Transfer(const ORXSimRankTransfer& transfer, const rnk_State& state, const char* what)
      : m_transfer(transfer), m_state(state), m_agree(state.agree), m_what(what) {}

  // True when all ranks want the same, and rank 0 can have it.
  bool Agree(Mode mode) {
    std::vector<std::int32_t> wanted = Wanted();
    std::uint64_t count = wanted.size();
    m_agree.Share(count);
    std::vector<std::int32_t> theirs = wanted;
    theirs.resize(count);
    m_agree.Share(theirs.data(), count * sizeof theirs[0]);
    const bool same = theirs == wanted;
    if (!Refuse(same, "it moves other drawers, another type or in another direction than rank 0"))
      return false;
    if (mode != ORXSimRankTransfer::kNone &&
        !Refuse(m_transfer.m_mode == mode, "the transfer was set up for the other direction"))
      return false;
    if (mode != ORXSimRankTransfer::kNone && !Refuse(!m_transfer.m_buffers.empty(), "there is no buffer"))
      return false;
    const bool fitsHere = !m_agree.IsRoot() || FitsHere();
    if (!m_agree.Root(fitsHere, ORXSimManager::LastError()))
      return false;
    int listed = m_transfer.m_listed ? 1 : 0;
    MPI_Allreduce(MPI_IN_PLACE, &listed, 1, MPI_INT, MPI_MAX, m_agree.Comm());
    m_listed = listed != 0;
    return AgreeOnRows();
  }

  bool Read() {
    return std::all_of(m_transfer.m_buffers.begin(), m_transfer.m_buffers.end(), [&](const Buffer& buffer) {
      auto* const target = static_cast<unsigned char*>(buffer.target);
      return m_listed ? ReadList(buffer.drawer, target)
                      : rnk_Read(m_state, Distribution(), buffer.drawer, *m_ranges, target);
    });
  }

  bool Write() {
    return std::all_of(m_transfer.m_buffers.begin(), m_transfer.m_buffers.end(), [&](const Buffer& buffer) {
      const auto* const source = static_cast<const unsigned char*>(buffer.source);
      return m_listed ? WriteList(buffer.drawer, source)
                      : rnk_Write(m_state, Distribution(), buffer.drawer, *m_ranges, source);
    });
  }

 private:
  ORXSimDistributionID Distribution() const { return m_transfer.m_distribution.ID(); }

  // False on all ranks when it is on one.
  bool Refuse(bool good, const std::string& cause) const {
    return m_agree.All(good, m_state.Told(m_what, cause));
  }

  // All that must be the same everywhere, as numbers.
  std::vector<std::int32_t> Wanted() const {
    std::vector<std::int32_t> wanted{
        m_transfer.m_mode, m_transfer.m_padding, m_transfer.m_dimension,
        m_transfer.m_type.has_value() ? static_cast<std::int32_t>(*m_transfer.m_type) : -1};
    for (const Buffer& buffer : m_transfer.m_buffers)
      wanted.push_back(buffer.drawer);
    return wanted;
  }

  // The serial transfer knows what a view must be.
  bool FitsHere() {
    ORXSimTransfer serial(m_transfer.m_distribution);
    if (m_transfer.m_mode == ORXSimRankTransfer::kRead)
      serial.SetRead();
    if (m_transfer.m_mode == ORXSimRankTransfer::kWrite)
      serial.SetWrite();
    serial.SetBufferPadding(m_transfer.m_padding);
    serial.SetDim(m_transfer.m_dimension, m_transfer.m_members);
    if (m_transfer.m_type.has_value())
      serial.SetItemType(*m_transfer.m_type);
    for (const Buffer& buffer : m_transfer.m_buffers)
      serial.SetBuffer(buffer.drawer, static_cast<const void*>(nullptr), 0);
    if (!serial.CheckView())
      return false;
    std::vector<std::uint64_t> sums;
    for (const Buffer& buffer : m_transfer.m_buffers)
      if (!ORXSimDrawerPlace::Look(Distribution(), buffer.drawer, m_places.emplace_back(), sums))
        return false;
    return true;
  }

  bool AgreeOnRows() {
    m_places.resize(m_transfer.m_buffers.size());
    m_agree.Share(m_places.data(), m_places.size() * sizeof m_places[0]);
    std::string cause;
    const bool fits = rnk_Try(cause, [&] {
      return std::all_of(m_places.begin(), m_places.end(), [&](const ORXSimDrawerPlace& place) {
        return FitsRows(place, m_transfer.m_buffers[static_cast<std::size_t>(&place - m_places.data())],
                        cause);
      });
    });
    if (!Refuse(fits, cause))
      return false;
    if (m_places.empty())
      return true;
    const rnk_Range mine{m_transfer.m_first, m_transfer.m_first + m_transfer.m_count};
    if (m_listed)
      return Refuse(rnk_Try(cause, [&] { return MakeList(mine), true; }), cause);
    m_ranges.emplace(m_agree, mine);
    if (m_transfer.m_mode != ORXSimRankTransfer::kWrite)
      return true;
    // Every rank sees the same.
    for (const ORXSimDrawerPlace& place : m_places)
      if (const std::string untiled = m_ranges->Untiled(place.rows); !untiled.empty()) {
        rnk_Agreement::SetLastError(m_state.facts.shown + ": " + m_what + ": " + untiled);
        return false;
      }
    return true;
  }

  // Beside lists a piece is one as well.
  void MakeList(const rnk_Range& mine) {
    m_list = m_transfer.m_rows;
    if (m_transfer.m_listed)
      return;
    m_list.resize(static_cast<std::size_t>(mine.Count()));
    std::iota(m_list.begin(), m_list.end(), static_cast<std::int32_t>(mine.first));
  }

  bool FitsRows(const ORXSimDrawerPlace& place, const Buffer& buffer, std::string& cause) const {
    const ORXSimRankTransfer& own = m_transfer;
    const bool within = own.m_listed
                            ? std::all_of(own.m_rows.begin(), own.m_rows.end(),
                                          [&](std::int32_t row) { return row >= 0 && row < place.rows; })
                            : own.m_first >= 0 && own.m_count >= 0 && own.m_first <= place.rows &&
                                  own.m_count <= place.rows - own.m_first;
    const bool reads = own.m_mode == ORXSimRankTransfer::kRead;
    if (!within)
      cause = "the drawer has " + std::to_string(place.rows) + " rows";
    else if (place.rowBytes > rnk_RowType::kLongest)
      cause = "rows of more than 1 GiB are not moved by ranks";
    const std::int64_t bytes = within ? own.m_count * place.rowBytes : 0;
    if (!cause.empty())
      return false;
    if (buffer.bytes != bytes)
      cause = "a buffer of " + std::to_string(buffer.bytes) + " bytes where " + std::to_string(bytes) +
              " are needed";
    else if (bytes > 0 && (reads ? buffer.target : buffer.source) == nullptr)
      cause = "there is no buffer";
    return cause.empty();
  }

  const ORXSimDrawerPlace& PlaceOf(int drawer) const {
    std::size_t i = 0;
    while (m_transfer.m_buffers[i].drawer != drawer)
      ++i;
    return m_places[i];
  }

  bool WriteList(int drawer, const unsigned char* source) {
    const ORXSimDrawerPlace& place = PlaceOf(drawer);
    const rnk_Ranges pieces(m_agree.Size(), place);
    rnk_Exchange exchange(m_state, place, m_list, pieces);
    std::vector<unsigned char> piece;
    return exchange.Ask(m_what) && exchange.ToPieces(m_what, source, piece) &&
           rnk_Write(m_state, Distribution(), drawer, pieces, piece.data());
  }

  bool ReadList(int drawer, unsigned char* target) {
    const ORXSimDrawerPlace& place = PlaceOf(drawer);
    const rnk_Ranges pieces(m_agree.Size(), place);
    rnk_Exchange exchange(m_state, place, m_list, pieces);
    if (!exchange.Ask(m_what))
      return false;
    const rnk_Range needed = exchange.Needed();
    std::vector<unsigned char> piece;
    std::string cause;
    const bool room = rnk_Try(cause, [&] {
      piece.resize(static_cast<std::size_t>(needed.Count() * place.rowBytes));
      return true;
    });
    if (!Refuse(room, cause))
      return false;
    const rnk_Ranges ranges(m_agree, needed);
    return rnk_Read(m_state, Distribution(), drawer, ranges, piece.data()) &&
           exchange.ToLists(m_what, needed, piece.data(), target);
  }

  const ORXSimRankTransfer& m_transfer;
  const rnk_State& m_state;
  const rnk_Agreement& m_agree;
  const char* m_what;
  bool m_listed = false; // of one rank at least
  std::vector<ORXSimDrawerPlace> m_places;
  std::vector<std::int32_t> m_list;
  std::optional<rnk_Ranges> m_ranges;
};

namespace {
// Runs a call of all ranks.
template <class Work>
bool onRanks(const ORXSimRanks& ranks, Work work) {
  const rnk_State* const state = rnk_Access::Asked(ranks);
  return state != nullptr && work(*state);
}
} // namespace

bool ORXSimRankTransfer::CheckView() const {
  return onRanks(*m_ranks, [&](const rnk_State& state) {
    return rnk_Transfer(*this, state, "check view").Agree(kNone);
  });
}

bool ORXSimRankTransfer::ExecRead() const {
  return onRanks(*m_ranks, [&](const rnk_State& state) {
    rnk_Transfer call(*this, state, "read drawers");
    return call.Agree(kRead) && call.Read();
  });
}

bool ORXSimRankTransfer::ExecWrite() const {
  return onRanks(*m_ranks, [&](const rnk_State& state) {
    rnk_Transfer call(*this, state, "write drawers");
    if (!call.Agree(kWrite))
      return false;
    ORXSimRankUpdate update(*m_ranks); // the drawers together are one commit point
    return call.Write() && update.Commit();
  });
}
