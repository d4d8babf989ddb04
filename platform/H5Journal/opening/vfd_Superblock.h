#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

/// What the first block of an HDF5 file says about the whole file.
struct vfd_Superblock {
  bool found = false;      // the file is HDF5
  bool damaged = false;    // its checksum disagrees
  std::uint64_t start = 0; // where it begins
  std::uint64_t end = 0;   // where the file ended when it was last closed; 0 when not understood

  /// Looks for the signature at 0, 512, 1024, 2048 and so on.
  /// \param read as vfd_Store::Read.
  /// \param size bytes of the file.
  static vfd_Superblock Read(std::uint64_t size,
                             const std::function<bool(std::uint64_t, std::size_t, void*)>& read);
  /// Clears the mark "open for writing" of a superblock.
  /// \param available bytes from its start on.
  static void StripOpenMark(unsigned char* block, std::size_t available);
};
