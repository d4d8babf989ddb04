#pragma once

#include <UTI_ORXSimDynamicAPI/objects/hdf_Handle.h>

#include <cstddef>
#include <functional>

/// Reads a dataset's elements in their stored type, in blocks of some megabytes along the first dimension.
/// \param take returns false to end the reading.
/// \return false when HDF5 fails.
bool hdf_ReadBlocks(hid_t dataset, const std::function<bool(const unsigned char*, std::size_t)>& take);

/// A piece of a dataset: the rows [first, first + count) of its first dimension.
struct hdf_Block {
  hdf_SpaceHandle memory, file;
  std::size_t bytes = 0;
};
/// Calls f(block) for the blocks of a dataset, whole chunks each.
/// \return false when f does, or when HDF5 fails or one row is larger than memory should hold.
bool hdf_ForEachBlock(hid_t dataset, const std::function<bool(const hdf_Block&)>& f);
