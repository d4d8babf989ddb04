#pragma once

#include <H5Journal/journal/vfd_Format.h>

#include <cstdint>
#include <vector>

/// What a journal holds up to its last whole commit.
struct vfd_JournalContent {
  /// kMissing: no file. kEmpty: nothing but zeros, where a header would be; it never got one. kNoHeader:
  /// something else. kDamaged: a damaged place, with whole commits behind it.
  enum class State { kMissing, kEmpty, kNoHeader, kSound, kDamaged };

  State state = State::kMissing;
  vfd_Header header;
  vfd_PageIndex index;
  std::uint64_t size = 0;             // of the journal, bytes
  std::uint64_t commits = 0;          // whole ones in this generation, before any damage
  std::uint64_t frames = 0;           // in them
  std::uint64_t eof = 0;              // bytes of the image after the last; the header's base without one
  std::uint64_t sequence = 0;         // of the last
  std::uint64_t direct = 0;           // of the last with pages that are in the main file alone
  std::uint64_t end = kVfdHeader;     // where the next record goes
  std::uint64_t chain = 0;            // the checksum up to there
  std::uint64_t unfinished = 0;       // bytes of whole frames behind it, which no commit makes count
  std::uint64_t reach = 0;            // pages: at or past everything that was committed or has a frame
  std::uint64_t reachOfFrames = 0;    // the same of the frames alone
  std::uint64_t damagedAt = 0;        // with state kDamaged
  std::uint64_t lostCommits = 0;      // whole ones behind the damaged place
  std::vector<std::uint64_t> sectors; // checksums of the header's sector in the commits

  /// Reads and checks the whole journal. Throws std::bad_alloc.
  /// \return false with errno set when reading failed.
  bool Read(int journal);
  bool ReadOnce(int journal);
  bool HasHeader() const { return state == State::kSound || state == State::kDamaged; }
  /// The journal once had the commit of that number: it is damaged when it does not.
  void MustReach(std::uint64_t number);
  /// True when a main file with that checksum of the header's sector may be the one that the journal was
  /// written for.
  bool Resembles(std::uint64_t sectorSum) const;
};
