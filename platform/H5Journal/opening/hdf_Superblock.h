#pragma once

#include <cstddef>
#include <cstdint>

class vfd_Store;

/// What the first block of an HDF5 file says about the whole file. Private to the module.
struct hdf_Superblock {
  bool found = false;      // the file is HDF5
  bool damaged = false;    // its checksum disagrees
  std::uint64_t start = 0; // where it begins
  std::uint64_t end = 0;   // where the file ended when it was last closed; 0 when not understood

  /// Looks for the signature at 0, 512, 1024, 2048 and so on.
  static hdf_Superblock Read(const vfd_Store& store);
  /// Clears the mark "open for writing" of a superblock. \param available bytes from its start on.
  static void StripOpenMark(unsigned char* block, std::size_t available);
};
