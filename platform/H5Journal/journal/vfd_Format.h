#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The journal's format: a header, then records, each with a checksum over itself and, through it, over
/// everything before it in this generation. All numbers are little-endian. docs/journal-format.md has the
/// tables. Private to the module.
inline constexpr std::size_t kVfdPage = 4096;    // bytes of a page of the main file
inline constexpr std::size_t kVfdHeader = 512;   // bytes of the header, one sector
inline constexpr std::size_t kVfdFrameHead = 24; // bytes of a frame before its page
inline constexpr std::size_t kVfdFrame = kVfdFrameHead + kVfdPage;
inline constexpr std::size_t kVfdCommit = 40;       // bytes of a commit record
inline constexpr std::size_t kVfdFramesAtOnce = 64; // moved by one call to or from a journal
/// By so much a commit's image may end behind all that the main file and the frames show; a writer that goes
/// beyond extends the main file durably first. More than that is an invented size.
inline constexpr std::uint64_t kVfdUnseenEnd = std::uint64_t{1} << 20;
inline constexpr std::uint64_t kVfdLargest = std::uint64_t{1} << 62; // no file is as long

using vfd_FileId = std::array<unsigned char, 16>;

/// Number of the pages that `bytes` bytes touch.
constexpr std::uint64_t vfd_PagesOf(std::uint64_t bytes) {
  return bytes / kVfdPage + (bytes % kVfdPage != 0 ? 1 : 0);
}

/// What the first 512 bytes say.
struct vfd_Header {
  std::uint64_t salt = 0;        // new in each generation; the first seed of the chain
  std::uint64_t base = 0;        // bytes of the committed image when the generation began
  std::uint64_t firstSector = 0; // checksum of the main file's first 512 bytes then
  std::uint64_t sequence = 0;    // number of the last commit before this generation
  vfd_FileId fileId{};           // of the main file; zeros: unknown
  std::uint64_t process = 0;     // the writer's
  std::string host;              // the writer's, at most 63 bytes

  void Encode(unsigned char (&bytes)[kVfdHeader]) const;
  /// \return false when the bytes are no header.
  bool Decode(const unsigned char (&bytes)[kVfdHeader]);
};

/// Writes head and page of a frame at `target` and moves the chain on.
void vfd_PutFrame(unsigned char* target, std::uint64_t page, const unsigned char* bytes,
                  std::uint64_t& chain);
/// True when the record at `record` is a frame of that page; its checksum is not looked at.
bool vfd_IsFrameOf(const unsigned char* record, std::uint64_t page);
/// Writes a commit record at `target` and moves the chain on.
void vfd_PutCommit(unsigned char* target, std::uint32_t frames, std::uint64_t eof, std::uint64_t sequence,
                   std::uint64_t& chain);
/// Checksum of a file's first sector, shorter files padded with zeros: from its bytes, or read from a file.
std::uint64_t vfd_SectorSum(const unsigned char* bytes);
/// \return false with errno set.
bool vfd_ReadSectorSum(int file, std::uint64_t& sum);

/// Where in the journal the newest frame of each page stands, ordered by page.
class vfd_PageIndex {
 public:
  struct Entry {
    std::uint64_t page, frame; // frame: offset of the frame's record in the journal
  };
  using Entries = std::vector<Entry>;

  const Entry* Find(std::uint64_t page) const;
  const Entries& All() const { return m_entries; }
  bool Empty() const { return m_entries.empty(); }
  void Clear() { m_entries.clear(); }
  /// Makes room so that Merge of `more` entries does not fail. Throws std::bad_alloc.
  void Reserve(std::size_t more);
  /// Takes entries, ordered by page; they are newer. Does not throw after Reserve.
  void Merge(const Entries& newer) noexcept;
  /// Forgets pages from `end` on.
  void DropFrom(std::uint64_t end);

 private:
  Entries m_entries;
};

/// What a journal holds up to its last whole commit.
struct vfd_JournalContent {
  enum class State { kMissing, kEmpty, kNoHeader, kSound };

  State state = State::kMissing;
  vfd_Header header;
  vfd_PageIndex index;
  std::uint64_t size = 0;                  // of the journal, bytes
  std::uint64_t commits = 0;               // whole ones in this generation
  std::uint64_t frames = 0;                // in them
  std::uint64_t eof = 0;                   // bytes of the image after the last; the header's base without one
  std::uint64_t sequence = 0;              // of the last
  std::uint64_t end = kVfdHeader;          // where the next record goes
  std::uint64_t chain = 0;                 // the checksum up to there
  std::uint64_t unfinished = 0;            // bytes of whole frames behind it, which no commit makes count
  std::uint64_t reach = 0;                 // pages: at or past everything that was committed or has a frame
  std::uint64_t reachOfFrames = 0;         // the same of the frames alone
  std::vector<std::uint64_t> firstSectors; // checksums of the first sector in the commits

  /// Reads and checks the whole journal. Throws std::bad_alloc. \return false with errno set when reading
  /// failed.
  bool Read(int journal);
  /// True when the main file whose first sector has that checksum is the one the journal was written for.
  bool Belongs(std::uint64_t sectorSum) const;
};
