#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

inline constexpr std::size_t kVfdPage = 4096;                        // bytes of a page of the main file
inline constexpr std::uint64_t kVfdLargest = std::uint64_t{1} << 62; // no file is as long

/// Number of the pages that `bytes` bytes touch.
constexpr std::uint64_t vfd_PagesOf(std::uint64_t bytes) {
  return bytes / kVfdPage + (bytes % kVfdPage != 0 ? 1 : 0);
}

/// A page's content in the journal, and what to hold it against when it is read.
struct vfd_FrameRef {
  std::uint64_t at = 0;     // offset of the frame in the journal
  std::uint64_t before = 0; // the checksum that it continues
  std::uint64_t sum = 0;    // its own
};

/// Where in the journal the newest frame of each page stands, ordered by page.
class vfd_PageIndex {
 public:
  struct Entry {
    std::uint64_t page;
    vfd_FrameRef frame;
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
  /// Orders by page and keeps the last entry of each.
  static void KeepNewest(Entries& entries);

 private:
  Entries m_entries;
};
