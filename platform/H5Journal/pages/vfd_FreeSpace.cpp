#include <H5Journal/pages/vfd_FreeSpace.h>

#include <algorithm>

void vfd_FreeSpace::Add(std::uint64_t address, std::uint64_t bytes) {
  const Range range{vfd_PagesOf(address), (address + bytes) / kVfdPage};
  if (range.first < range.end)
    m_ranges.push_back(range);
}

void vfd_FreeSpace::Sort() {
  std::sort(m_ranges.begin(), m_ranges.end(), [](Range a, Range b) { return a.first < b.first; });
}

bool vfd_FreeSpace::Contains(std::uint64_t page) const {
  const auto next = std::upper_bound(m_ranges.begin(), m_ranges.end(), page,
                                     [](std::uint64_t wanted, Range range) { return wanted < range.first; });
  return next != m_ranges.begin() && page < (next - 1)->end;
}
