#pragma once

#include <UTI_ORXSimDynamicAPI/inspect/hdf_Blocks.h>

#include <cstdint>
#include <vector>

/// What of a dataset was ever written: the chunks of a chunked one, in the grid that cuts its shape, and all
/// or nothing of another. Private to the module.
class hdf_Chunks {
 public:
  /// \return false when HDF5 fails.
  bool Find(hid_t dataset);
  /// True when the same of both was written.
  bool SameAs(const hdf_Chunks& other) const { return m_any == other.m_any && m_written == other.m_written; }
  /// Calls f(block) for the blocks of what was written, whole chunks each.
  /// \return as hdf_ForEachBlock.
  bool ForEachBlock(const std::function<bool(const hdf_Block&)>& f) const;

 private:
  bool FindChunks(std::uint64_t stored);
  std::uint64_t Along(int dimension) const;
  void Place(std::uint64_t number, hsize_t* start) const;
  std::uint64_t RunFrom(std::size_t first) const;
  bool Select(hdf_Block& block, std::uint64_t number, std::uint64_t run) const;

  hid_t m_dataset = H5I_INVALID_HID;
  bool m_any = false, m_chunked = false;
  std::vector<std::uint64_t> m_written; // places of chunks, counted row by row, ascending
  int m_rank = 0;
  hsize_t m_dims[H5S_MAX_RANK] = {}, m_chunk[H5S_MAX_RANK] = {};
  std::uint64_t m_chunkBytes = 0;
};
