#pragma once

#include <H5Journal/journal/vfd_PageIndex.h>

#include <cstdint>
#include <vector>

/// Space that the last commit point does not know, though it lies within the file: nobody reads it who reads
/// the file as it is then. Addresses and lengths in bytes.
class vfd_FreeSpace {
 public:
  struct Range {
    std::uint64_t first, end;
    std::uint64_t Bytes() const { return end - first; }
  };

  void Clear() { m_ranges.clear(); }
  bool Empty() const { return m_ranges.empty(); }
  /// Takes an extent. Throws std::bad_alloc. Extents come in any order and do not overlap.
  void Add(Range extent);
  /// After the last Add.
  void Sort();
  /// True for a page that is wholly free.
  bool Contains(std::uint64_t page) const;
  /// In their order, without overlaps.
  const std::vector<Range>& Ranges() const { return m_ranges; }
  /// Takes space out, as far as it is there. Throws std::bad_alloc.
  void Remove(Range taken);
  /// Takes so many bytes out of the smallest range that has them, from a multiple of `alignment` on. Throws
  /// std::bad_alloc.
  /// \return the address, 0 where there is no such range.
  std::uint64_t Take(std::uint64_t bytes, std::uint64_t alignment);

 private:
  std::vector<Range> m_ranges;
};
