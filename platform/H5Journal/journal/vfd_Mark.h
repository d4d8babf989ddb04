#pragma once

#include <H5Journal/journal/vfd_Format.h>

#include <array>
#include <cstdint>
#include <string>

inline constexpr std::size_t kVfdMark = 512; // bytes of the mark, one sector

inline constexpr std::size_t kVfdSpares = 8;

/// Space within the file that nothing in it uses and HDF5 does not know to be free, since it forgets
/// free space when it closes a file. HDF5 never uses them, so they stay what they are until a writer does.
struct vfd_Spare {
  std::uint64_t address = 0, bytes = 0; // no bytes: none
};

/// What a file says of its journal: the first 512 bytes of a file whose HDF5 part begins behind them. The
/// journal says the same in its header, so that neither meets another one.
struct vfd_Mark {
  bool present = false;       // the file has a mark; the rest is known when it is not damaged
  bool damaged = false;       // there is one, and its checksum disagrees
  bool hasJournal = false;    // commits may be only in the journal of generation `current`
  bool isNew = false;         // no commit point yet: the file has a name of its own and the inode `inode`
  std::uint64_t current = 0;  // generation of the journal that belongs to the file; 0 without one
  std::uint64_t finished = 0; // the newest generation that is wholly in the file
  std::uint64_t direct = 0;   // number of the last commit with pages that went past the journal into the file
  std::uint64_t reached = 0;  // number of a commit that the journal of `current` must have, or a later one
  std::array<vfd_Spare, kVfdSpares> spare{}; // while the file has no journal
  vfd_FileId fileId{};
  std::uint64_t inode = 0;
  vfd_Writer writer;       // of the generation
  std::string journalName; // without its directory

  void Encode(unsigned char (&bytes)[kVfdMark]) const;
  /// The eight bytes of `reached`, which carry a checksum of their own, and where they stand.
  std::uint64_t EncodeReached() const;
  static constexpr std::size_t kReachedAt = 392;
  void Decode(const unsigned char (&bytes)[kVfdMark]);
  /// \return false with errno set.
  bool Read(int file);
};
