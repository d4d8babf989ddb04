#pragma once

#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>

#include <hdf5.h>

#include <cstdint>
#include <optional>
#include <vector>

/// The checksums of a dataset of rows, one for each block of rows, and the attribute that keeps them. Private
/// to the module.
///
/// A sum of 0 belongs to a block that was never written. Rows are given in whole blocks, as numbers in the
/// byte order of this machine.
class ORXSimBlockSums {
 public:
  ORXSimBlockSums() = default;
  /// Cuts the rows into blocks.
  /// \param chunkRows rows that are stored together, 1 where that does not matter.
  ORXSimBlockSums(int rows, std::int64_t rowBytes, std::int64_t chunkRows);

  /// Makes the attribute with the sums as they are.
  bool Create(hdf_Operation& operation, hid_t data) const;
  /// Takes the sums from the attribute, unless nothing was written to the file since Settle(); when there is
  /// none, IsKept() answers false.
  bool Load(hdf_Operation& operation, const hdf_DatasetRep& data);
  /// Puts the sums into the attribute.
  bool Store(hdf_Operation& operation, const hdf_DatasetRep& data) const;
  /// The sums are now those of the attribute: they hold until something is written to the file, or until the
  /// next Load changes them.
  void Settle(const hdf_DatasetRep& data) { m_writes = data.context->writes; }
  bool IsKept() const { return m_kept; }

  int Blocks() const { return static_cast<int>(m_sums.size()); }
  int BlockRows() const { return m_blockRows; }
  int BlockOf(int row) const { return row / m_blockRows; }
  int FirstRow(int block) const { return block * m_blockRows; }
  /// The row after the block.
  int EndRow(int block) const { return block + 1 < Blocks() ? FirstRow(block + 1) : m_rows; }
  /// Rows of as many whole blocks as come near that number of bytes, at least one block.
  int PieceRows(std::int64_t bytes) const;

  bool IsWritten(int block) const { return m_sums[static_cast<std::size_t>(block)] != 0; }
  /// Refuses the first block in [first, end) that does not agree.
  bool CheckRows(hdf_Operation& operation, int first, int end, const unsigned char* bytes) const;
  /// All of them, by block.
  const std::vector<std::uint64_t>& All() const { return m_sums; }
  /// Takes the sums of all blocks.
  void Set(const std::uint64_t* sums) { m_sums.assign(sums, sums + m_sums.size()); }
  /// The sum of a block's bytes.
  static std::uint64_t SumOf(const void* bytes, std::size_t count);
  /// Takes the sums of the blocks in [first, end).
  void Note(int first, int end, const unsigned char* bytes);

 private:
  std::uint64_t SumOf(int block, const unsigned char* bytes) const;

  int m_rows = 0, m_blockRows = 1;
  std::int64_t m_rowBytes = 0;
  bool m_kept = false;
  std::optional<std::uint64_t> m_writes; // of the file when the sums were the attribute's
  std::vector<std::uint64_t> m_sums;
};
