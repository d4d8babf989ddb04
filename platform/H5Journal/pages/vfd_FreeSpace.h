#pragma once

#include <H5Journal/journal/vfd_PageIndex.h>

#include <cstdint>
#include <vector>

/// Pages that the last commit point does not know, though they lie within the file: nobody reads them who
/// reads the file as it is then.
class vfd_FreeSpace {
 public:
  void Clear() { m_ranges.clear(); }
  bool Empty() const { return m_ranges.empty(); }
  /// Takes the whole pages of an extent. Throws std::bad_alloc. Extents come in any order and do not overlap.
  void Add(std::uint64_t address, std::uint64_t bytes);
  /// After the last Add.
  void Sort();
  bool Contains(std::uint64_t page) const;

 private:
  struct Range {
    std::uint64_t first, end;
  };
  std::vector<Range> m_ranges;
};
