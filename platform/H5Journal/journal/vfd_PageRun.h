#pragma once

#include <H5Journal/journal/vfd_MainFile.h>

#include <cstdint>
#include <vector>

/// Writes pages into the main file, in ascending order, neighbours with one call. The first page gets the
/// mark as it is now.
class vfd_PageRun {
 public:
  /// \param end of the image, which may lie within its last page.
  vfd_PageRun(vfd_MainFile& main, std::uint64_t end) : m_main(main), m_end(end) {}
  /// Throws std::bad_alloc.
  bool Put(std::uint64_t page, const unsigned char* bytes);
  bool Flush();

 private:
  vfd_MainFile& m_main;
  std::uint64_t m_end;
  std::uint64_t m_first = 0;
  std::vector<unsigned char> m_bytes;
};
