#pragma once

#include <cstdint>

/// The few facts that tell a whole HDF5 file from a damaged or foreign one. Private to the module.
struct hdf_Superblock {
  bool found = false;    // the HDF5 signature stands at one of the places where it may
  std::uint64_t end = 0; // where the file says that it ends, 0 when it cannot be told

  /// Looks at an open descriptor without moving its offset.
  static hdf_Superblock Read(int descriptor, std::uint64_t fileSize);
};
