#pragma once

#include <mpi/ORXSim_Ranks.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Distribution.h>

#include <cstdint>
#include <optional>
#include <vector>

/// Moves drawers of a distribution between the file and many ranks: each rank has some of the rows.
///
/// Rank 0 says which distribution and member set; every rank says the same drawers in the same order, the
/// same direction and type, its rows, and a buffer that holds exactly these. In writing every row of a drawer
/// is given by exactly one rank; in reading each rank takes what it wants. CheckView, ExecRead and ExecWrite
/// are collective; a rank whose arguments do not fit makes them answer false on all.
///
/// Rows in one piece (first, count) go straight between the rank's buffer and the file, but for those that
/// share a block of a checksum with another rank. Rows of a list are first sent to ranks that have pieces,
/// which takes the memory of a rank's rows twice more. Chunked, deflated and small drawers, and all of a job
/// that is funnelled, go through rank 0 in pieces of some MiB.
///
/// Threads: that of the ranks.
class ORXSIM_MPI_API ORXSimRankTransfer {
 public:
  /// \param ranks  outlive it.
  /// \param distribution  counts on rank 0; the others may give none.
  ORXSimRankTransfer(const ORXSimRanks& ranks, const ORXSimDistributionRef& distribution)
      : m_ranks(&ranks), m_distribution(distribution) {}

  void SetRead() { m_mode = kRead; }
  void SetWrite() { m_mode = kWrite; }
  /// \param padding  as in ORXSimTransfer: true fails in CheckView().
  void SetBufferPadding(bool padding) { m_padding = padding; }
  /// \param dimension  0, the rows.
  /// \param members  the set that the rows belong to; counts on rank 0.
  void SetDim(int dimension, ORXSimCSetID members) { m_dimension = dimension, m_members = members; }
  /// The type of the buffers' numbers; without it they are what the drawers' are.
  void SetItemType(ORXSimItemType type) { m_type = type; }
  /// This rank's rows: [first, first + count), 0-based; count may be 0. Without a call it has none.
  void SetRows(std::int64_t first, std::int64_t count);
  /// This rank's rows, 0-based, in the order of the buffer. In reading rows may come twice.
  void SetRows(std::vector<std::int32_t> rows);
  /// This rank's memory for its rows of one drawer; the caller's until RelinquishBuffers() or the end of the
  /// transfer. A second buffer for a drawer replaces the first.
  /// \param buffer  its rows x components numbers; may be null where the rank has no rows.
  /// \param bytes  its size.
  void SetBuffer(int drawer, void* buffer, std::int64_t bytes) { Register({drawer, buffer, buffer, bytes}); }
  /// As above, for writing only.
  void SetBuffer(int drawer, const void* buffer, std::int64_t bytes) {
    Register({drawer, nullptr, buffer, bytes});
  }
  /// Forgets the buffers, which stay as they are.
  void RelinquishBuffers() { m_buffers.clear(); }

  /// True when the transfer can take place: as ORXSimTransfer::CheckView, and the arguments of all ranks
  /// agree.
  bool CheckView() const;
  /// Reads this rank's rows of every drawer that has a buffer.
  /// \return false, with the cause in ORXSimRanks::LastError(), when the view does not fit, a buffer has not
  ///     exactly the size of its rows, a block does not match its checksum, or reading failed on any rank.
  bool ExecRead() const;
  /// Writes every drawer that has a buffer; one commit point, unless an update scope is open, which then
  /// decides.
  /// \return false as ExecRead(), and when rows are given twice or not at all. Without a scope nothing is
  ///     written then; an open one cannot be committed any more where writing had begun.
  bool ExecWrite() const;

 private:
  friend class rnk_Transfer;
  enum Mode : unsigned char { kNone, kRead, kWrite };
  struct Buffer {
    int drawer;
    void* target; // null for one that is only written from
    const void* source;
    std::int64_t bytes;
  };
  void Register(const Buffer& buffer);

  const ORXSimRanks* m_ranks;
  ORXSimDistributionRef m_distribution;
  ORXSimCSetID m_members;
  std::optional<ORXSimItemType> m_type;
  std::vector<Buffer> m_buffers; // at most one a drawer
  std::int64_t m_first = 0, m_count = 0;
  std::vector<std::int32_t> m_rows; // of a list
  bool m_listed = false;
  Mode m_mode = kNone;
  bool m_padding = false;
  int m_dimension = 0;
};
