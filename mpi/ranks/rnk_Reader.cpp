#include <mpi/ranks/rnk_Reader.h>

#include <mpi/ranks/rnk_Funnel.h>

#include <algorithm>
#include <cstring>

namespace {
constexpr const char* kWhat = "read drawer";
constexpr std::int64_t kPage = ORXSimDrawerPlace::kPage;
constexpr std::size_t kPagesAtOnce = 256;
constexpr std::size_t kPagesForAll = 64;

// A page that the file alone does not show.
struct Patch {
  std::int64_t offset;
  unsigned char bytes[kPage];
};
using Patches = std::vector<Patch>; // in the order of offsets

// The rows of whole blocks around a range.
rnk_Range blocksAround(const rnk_Range& range, const ORXSimDrawerPlace& place) {
  if (range.Empty())
    return range;
  const std::int64_t block = place.blockRows;
  return {range.first / block * block,
          std::min<std::int64_t>((range.end - 1) / block * block + block, place.rows)};
}

// Their bytes in the file.
rnk_Range bytesOf(const rnk_Range& rows, const ORXSimDrawerPlace& place) {
  return {place.offset + rows.first * place.rowBytes, place.offset + rows.end * place.rowBytes};
}

// Few pages, as they stand at the ends of what was just written, go to all at once: a message to each rank
// would take rank 0 longer than that. False on all when there are more, or they cannot be had.
bool sharePatches(const rnk_State& state, const ORXSimDrawerPlace& place, Patches& patches) {
  std::size_t count = 0;
  const auto keep = [&](std::int64_t offset, const unsigned char* page) {
    if (count == kPagesForAll)
      return false;
    patches[count].offset = offset;
    std::memcpy(patches[count++].bytes, page, kPage);
    return true;
  };
  constexpr std::size_t kMore = kPagesForAll + 1;
  if (state.agree.IsRoot() &&
      !ORXSimDrawerPlace::ForEachPatch(state.context, place.offset, place.offset + place.Bytes(), keep))
    count = kMore;
  state.agree.Share(count);
  const bool all = count < kMore;
  patches.resize(all ? count : 0);
  state.agree.Share(patches.data(), patches.size() * sizeof patches[0]);
  return all;
}

bool receivePatches(const rnk_Agreement& agree, Patches& now, Patches& patches, std::string& cause) {
  for (bool kept = true;;) {
    MPI_Status status;
    int bytes = 0;
    MPI_Recv(now.data(), static_cast<int>(now.size() * sizeof now[0]), MPI_BYTE, 0, 0, agree.Comm(), &status);
    MPI_Get_count(&status, MPI_BYTE, &bytes);
    const auto count = static_cast<std::ptrdiff_t>(static_cast<std::size_t>(bytes) / sizeof now[0]);
    if (count == 0)
      return kept;
    // What comes is taken, whether there is room for it or not.
    kept = kept && rnk_Try(cause, [&] {
             return patches.insert(patches.end(), now.begin(), now.begin() + count), true;
           });
  }
}

// Rank 0 sends each rank those of its range, and keeps its own. An empty message is the last.
bool sendPatches(const rnk_State& state, const rnk_Ranges& ranges, const ORXSimDrawerPlace& place,
                 Patches& patches) {
  bool good = true;
  Patches now;
  const auto send = [&](int rank) {
    MPI_Send(now.data(), static_cast<int>(now.size() * sizeof now[0]), MPI_BYTE, rank, 0, state.agree.Comm());
    now.clear();
  };
  for (int rank = 0; rank < ranges.Ranks(); ++rank) {
    const rnk_Range bytes = bytesOf(blocksAround(ranges.Of(rank), place), place);
    good = good && ORXSimDrawerPlace::ForEachPatch(state.context, bytes.first, bytes.end,
                                                   [&](std::int64_t offset, const unsigned char* page) {
                                                     Patch& patch =
                                                         (rank == 0 ? patches : now).emplace_back();
                                                     patch.offset = offset;
                                                     std::memcpy(patch.bytes, page, kPage);
                                                     if (now.size() == kPagesAtOnce)
                                                       send(rank);
                                                     return true;
                                                   });
    if (rank == 0)
      continue;
    if (!now.empty())
      send(rank);
    send(rank);
  }
  return good;
}

class Part {
 public:
  Part(const rnk_State& state, const ORXSimDrawerPlace& place, const std::vector<std::uint64_t>& sums,
       const Patches& patches)
      : m_state(state), m_place(place), m_sums(sums), m_patches(patches) {}

  bool Read(const rnk_Range& mine, unsigned char* rows, std::string& cause) {
    const std::int64_t piece = rnk_PieceRows(m_place);
    const rnk_Range whole = blocksAround(mine, m_place);
    std::int64_t to = 0;
    for (std::int64_t row = whole.first; row < whole.end; row = to) {
      const std::int64_t block = std::min<std::int64_t>(row + m_place.blockRows, whole.end);
      if (row >= mine.first && block <= mine.end) { // straight into the caller's rows
        const std::int64_t last =
            mine.end == whole.end ? whole.end : mine.end / m_place.blockRows * m_place.blockRows;
        to = std::min(row + piece, last);
        if (!ReadBlocks({row, to}, rows + BytesOf(row - mine.first), cause))
          return false;
        continue;
      }
      to = block;
      m_block.resize(static_cast<std::size_t>(BytesOf(m_place.blockRows)));
      if (!ReadBlocks({row, to}, m_block.data(), cause))
        return false;
      const rnk_Range wanted = mine.In({row, to});
      std::memcpy(rows + BytesOf(wanted.first - mine.first), m_block.data() + BytesOf(wanted.first - row),
                  static_cast<std::size_t>(BytesOf(wanted.Count())));
    }
    return true;
  }

 private:
  std::int64_t BytesOf(std::int64_t rows) const { return rows * m_place.rowBytes; }

  bool ReadBlocks(const rnk_Range& rows, unsigned char* bytes, std::string& cause) {
    const rnk_Range range = bytesOf(rows, m_place);
    if (!ReadFile(range, bytes, cause))
      return false;
    Mend(range, bytes);
    return Check(rows, bytes, cause);
  }

  bool ReadFile(const rnk_Range& range, unsigned char* bytes, std::string& cause) {
    constexpr std::int64_t kMost = std::int64_t{1} << 30; // MPI counts in ints
    for (std::int64_t at = range.first, now = 0; at < range.end; at += now) {
      now = std::min(range.end - at, kMost);
      unsigned char* const to = bytes + (at - range.first);
      MPI_Status status;
      int got = 0;
      if (MPI_File_read_at(m_state.file, at, to, static_cast<int>(now), MPI_BYTE, &status) != MPI_SUCCESS)
        return cause = "MPI could not read the file", false;
      MPI_Get_count(&status, MPI_BYTE, &got);
      std::memset(to + got, 0, static_cast<std::size_t>(now - got)); // the file ends there
    }
    return true;
  }

  void Mend(const rnk_Range& range, unsigned char* bytes) const {
    auto patch = std::lower_bound(m_patches.begin(), m_patches.end(), range.first - kPage + 1,
                                  [](const Patch& one, std::int64_t offset) { return one.offset < offset; });
    for (; patch != m_patches.end() && patch->offset < range.end; ++patch) {
      const rnk_Range both = range.In({patch->offset, patch->offset + kPage});
      std::memcpy(bytes + (both.first - range.first), patch->bytes + (both.first - patch->offset),
                  static_cast<std::size_t>(both.Count()));
    }
  }

  // A block that was never written has no sum.
  bool Check(const rnk_Range& rows, const unsigned char* bytes, std::string& cause) const {
    for (std::int64_t row = rows.first; row < rows.end && m_place.kept; row += m_place.blockRows) {
      const std::int64_t end = std::min<std::int64_t>(row + m_place.blockRows, rows.end),
                         block = row / m_place.blockRows;
      const std::uint64_t sum = m_sums[static_cast<std::size_t>(block)];
      if (sum != 0 && sum != ORXSimDrawerPlace::SumOf(bytes + BytesOf(row - rows.first),
                                                      static_cast<std::size_t>(BytesOf(end - row))))
        return cause = "the data is damaged: block " + std::to_string(block) + " (rows " +
                       std::to_string(row) + " to " + std::to_string(end - 1) +
                       ") does not match its checksum",
               false;
    }
    return true;
  }

  const rnk_State& m_state;
  const ORXSimDrawerPlace& m_place;
  const std::vector<std::uint64_t>& m_sums;
  const Patches& m_patches;
  std::vector<unsigned char> m_block; // one of which the rank wants a part
};
} // namespace

bool rnk_Read(const rnk_State& state, ORXSimDistributionID distribution, int drawer, const rnk_Ranges& ranges,
              unsigned char* rows) {
  const rnk_Agreement& agree = state.agree;
  ORXSimDrawerPlace place;
  std::vector<std::uint64_t> sums;
  const bool found = !agree.IsRoot() || ORXSimDrawerPlace::Look(distribution, drawer, place, sums);
  if (!agree.Root(found, ORXSimManager::LastError()))
    return false;
  agree.Share(place);
  if (state.Funnelled() || !place.direct)
    return rnk_FunnelRead(state, distribution, drawer, place, ranges, rows);
  std::string cause;
  Patches now, patches;
  const bool room = rnk_Try(cause, [&] {
    now.resize(place.patched && !agree.IsRoot() ? kPagesAtOnce : 0);
    sums.resize(place.kept ? static_cast<std::size_t>(place.Blocks()) : 0);
    patches.resize(place.patched ? kPagesForAll : 0);
    return true;
  });
  if (!agree.All(room, state.Told(kWhat, cause)))
    return false;
  agree.Share(sums.data(), sums.size() * sizeof(std::uint64_t));
  const bool mended = !place.patched || sharePatches(state, place, patches) ||
                      (agree.IsRoot() ? sendPatches(state, ranges, place, patches)
                                      : receivePatches(agree, now, patches, cause));
  if (agree.IsRoot() && !mended)
    cause = ORXSimManager::LastError();
  const bool read = mended && rnk_Try(cause, [&] {
                      return Part(state, place, sums, patches).Read(ranges.Of(agree.Rank()), rows, cause);
                    });
  return agree.All(read, state.Told(kWhat, cause));
}
