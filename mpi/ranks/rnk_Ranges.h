#pragma once

#include <mpi/agree/rnk_Agreement.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Helpers.h>

#include <cstdint>
#include <string>
#include <vector>

/// Rows [first, end).
struct rnk_Range {
  std::int64_t first = 0, end = 0;
  std::int64_t Count() const { return end - first; }
  bool Empty() const { return first >= end; }
  rnk_Range In(const rnk_Range& other) const;
};

/// Which rows of a drawer each rank has, in one piece a rank. The same on every rank.
class rnk_Ranges {
 public:
  /// Collective.
  rnk_Ranges(const rnk_Agreement& agree, const rnk_Range& mine);
  /// Whole blocks, as many on each rank.
  rnk_Ranges(int ranks, const ORXSimDrawerPlace& place);

  const rnk_Range& Of(int rank) const { return m_ranges[static_cast<std::size_t>(rank)]; }
  int Ranks() const { return static_cast<int>(m_ranges.size()); }
  /// The rank that has the row, -1 when none has it. Only where they tile.
  int OwnerOf(std::int64_t row) const;
  /// Why the ranges are not every row exactly once, "" when they are.
  std::string Untiled(std::int64_t rows) const;
  /// Ranks that have rows in the range, in the order of their rows. Only where they tile.
  std::vector<int> Having(const rnk_Range& range) const;
  /// The rows of the blocks that begin in a rank's range: those that it sums and writes.
  rnk_Range Owned(int rank, const ORXSimDrawerPlace& place) const;

 private:
  void Sort();

  std::vector<rnk_Range> m_ranges; // by rank
  std::vector<int> m_order;        // of ranks that have rows, by their first
};

/// One row as MPI moves it: counts are of rows then.
class rnk_RowType {
 public:
  explicit rnk_RowType(std::int64_t rowBytes);
  rnk_RowType(const rnk_RowType&) = delete;
  rnk_RowType& operator=(const rnk_RowType&) = delete;
  ~rnk_RowType() { MPI_Type_free(&m_type); }
  MPI_Datatype Get() const { return m_type; }

  /// Longer rows are not moved.
  static constexpr std::int64_t kLongest = std::int64_t{1} << 30;

 private:
  MPI_Datatype m_type = MPI_DATATYPE_NULL;
};

/// Rows of as many whole blocks as come near some MiB, at least one block.
std::int64_t rnk_PieceRows(const ORXSimDrawerPlace& place);
