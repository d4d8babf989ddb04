#pragma once

#include <H5Journal/journal/vfd_PageIndex.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

/// The journal's format: a header, then records, each with a checksum over itself and, through it, over
/// everything before it in this generation. All numbers are little-endian. docs/journal-format.md has the
/// tables.
inline constexpr std::size_t kVfdHeader = 512;   // bytes of the header, one sector
inline constexpr std::size_t kVfdFrameHead = 24; // bytes of a frame before its page
inline constexpr std::size_t kVfdFrame = kVfdFrameHead + kVfdPage;
inline constexpr std::size_t kVfdCommit = 40;       // bytes of a commit record
inline constexpr std::size_t kVfdFramesAtOnce = 64; // moved by one call to or from a journal
/// By so much a commit's image may end behind all that the main file and the frames show; a writer that goes
/// beyond extends the main file durably first. More than that is an invented size.
inline constexpr std::uint64_t kVfdUnseenEnd = std::uint64_t{1} << 20;

using vfd_FileId = std::array<unsigned char, 16>;

/// Who wrote something.
struct vfd_Writer {
  static constexpr std::size_t kHostBytes = 64;

  std::uint64_t process = 0;
  std::string host; // at most 63 bytes

  /// This process.
  static vfd_Writer Self();
  /// Process, 8 bytes, and host, 64 bytes with a zero at the end.
  void Encode(unsigned char* bytes) const;
  void Decode(const unsigned char* bytes);
};

/// What the first 512 bytes say.
struct vfd_Header {
  std::uint64_t salt = 0;       // the first seed of the chain
  std::uint64_t base = 0;       // bytes of the committed image when the generation began
  std::uint64_t sectorAt = 0;   // where HDF5's part of the main file begins, in its first page
  std::uint64_t sector = 0;     // checksum of the 512 bytes there then
  std::uint64_t generation = 0; // what the main file's mark says too
  std::uint64_t previous = 0;   // the generation that the main file's mark named before; 0: none
  std::uint64_t sequence = 0;   // number of the last commit before this generation
  std::uint64_t direct = 0;     // of the commits before, the last with pages that are in the main file alone
  vfd_FileId fileId{};          // of the main file; zeros: unknown
  vfd_Writer writer;
  bool whole = false;   // it got its name when its first commit was in it: without that one it is damaged
  unsigned version = 2; // 1: records do not carry the salt, and there is no generation

  void Encode(unsigned char (&bytes)[kVfdHeader]) const;
  /// \return false when the bytes are no header.
  bool Decode(const unsigned char (&bytes)[kVfdHeader]);
};

enum class vfd_RecordKind { kNone, kFrame, kCommit };
/// What a record of at least kVfdCommit bytes begins as. Its checksum is not looked at.
vfd_RecordKind vfd_KindOf(const unsigned char* record);

/// Writes head and page of a frame at `target` and moves the chain on.
/// \return where the frame is, given where it begins.
vfd_FrameRef vfd_PutFrame(unsigned char* target, std::uint64_t salt, std::uint64_t page,
                          const unsigned char* bytes, std::uint64_t at, std::uint64_t& chain);
std::uint64_t vfd_PageOfFrame(const unsigned char* record);
std::uint64_t vfd_SumOfFrame(const unsigned char* record);
/// The checksum that a frame must have which continues `chain`.
std::uint64_t vfd_ComputeFrameSum(const unsigned char* record, std::uint64_t chain);
/// True when the record is the frame that was written for that page.
bool vfd_IsFrame(const unsigned char* record, std::uint64_t page, const vfd_FrameRef& frame);

/// A commit record.
struct vfd_CommitRecord {
  std::uint32_t frames = 0; // since the commit before
  std::uint64_t eof = 0, sequence = 0, salt = 0;
  bool direct = false; // pages of it went past the journal into the main file

  /// Writes it at `target` and moves the chain on.
  void Encode(unsigned char* target, std::uint64_t& chain) const;
  /// \return false when its checksum does not continue `chain`, which is moved on.
  bool Decode(const unsigned char* record, std::uint64_t& chain);
};
/// Bytes of a commit record before its salt.
inline constexpr std::size_t kVfdCommitSalt = 24;

/// Checksum of a sector, shorter files padded with zeros: from its bytes, or read from a file.
std::uint64_t vfd_SectorSum(const unsigned char* bytes);
/// \return false with errno set.
bool vfd_ReadSectorSum(int file, std::uint64_t at, std::uint64_t& sum);
