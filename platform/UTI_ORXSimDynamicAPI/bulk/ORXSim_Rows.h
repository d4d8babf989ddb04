#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Verification.h>
#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_BlockSums.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Handle.h>

/// The numbers of an open dataset of rows, moved between memory and file and held against their checksums.
/// Private to the module. Where the dataset keeps no checksums, data moves unchecked. An object may serve for
/// many calls, until the dataset is closed.
class ORXSimRows {
 public:
  /// \param data an open dataset [rows] or [rows, components], one that outlives this object.
  /// \param number the type of its numbers in memory, of the stored size.
  ORXSimRows(const hdf_DatasetRep& data, hid_t number, int rows, int components);

  /// Reads `count` rows, and beyond them what belongs to their blocks.
  /// \param target undefined on failure.
  bool Read(hdf_Operation& operation, int first, int count, void* target);
  /// Writes `count` rows. What a block still lacks is filled with zeros; what it has must match its checksum,
  /// or nothing is written, for a new checksum would hide the damage.
  bool Write(hdf_Operation& operation, int first, int count, const void* source);
  /// Reads everything in pieces. Memory: 256 KiB, or one block where that is larger.
  ORXSimVerification Verify(hdf_Operation& operation);
  /// True when some of the rows were written before, as far as the checksums tell.
  bool IsWritten(hdf_Operation& operation);
  /// The sums of all blocks as the file has them.
  /// \return null on failure.
  const ORXSimBlockSums* Sums(hdf_Operation& operation);
  /// Keeps the sums of all blocks for rows that others have written. Does nothing where none are kept.
  bool KeepSums(hdf_Operation& operation, const std::uint64_t* sums);
  /// Rows of one checksum.
  int BlockRows() const { return m_sums.BlockRows(); }

 private:
  struct Edge;
  bool ReadRows(hdf_Operation& operation, int first, int end, unsigned char* target);
  bool WriteRows(hdf_Operation& operation, int first, int end, const unsigned char* source);
  bool Transfer(hdf_Operation& operation, int first, int end, void* target, const void* source);
  bool Select(hdf_Operation& operation, int first, int end, hid_t& memory, hid_t& file);
  bool Complete(hdf_Operation& operation, Edge& edge, int first, int end, const unsigned char* source);
  bool WriteEdge(hdf_Operation& operation, const Edge& edge, int first, int end, const unsigned char* source);
  bool ReadBlocks(hdf_Operation& operation, int first, int end, unsigned char* target);
  bool ReadPart(hdf_Operation& operation, int first, int end, unsigned char* target);
  bool WriteBlocks(hdf_Operation& operation, int first, int end, const unsigned char* source);
  bool Flush(hdf_Operation& operation) const;
  void VerifyBlock(hdf_Operation& operation, int block, const unsigned char* bytes, unsigned char* scratch,
                   ORXSimVerification& found);
  bool AllWritten(int first, int end) const;
  std::int64_t BytesOf(int rows) const { return rows * m_rowBytes; }

  const hdf_DatasetRep* m_data;
  hid_t m_number;
  int m_rows, m_components;
  std::int64_t m_rowBytes;
  bool m_contiguous;
  ORXSimBlockSums m_sums;
  hdf_SpaceHandle m_file, m_memory; // made when first needed
  int m_memoryRows = 0;
};
