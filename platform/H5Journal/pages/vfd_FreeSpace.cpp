#include <H5Journal/pages/vfd_FreeSpace.h>

#include <algorithm>

void vfd_FreeSpace::Add(Range extent) {
  if (extent.first < extent.end)
    m_ranges.push_back(extent);
}

void vfd_FreeSpace::Sort() {
  std::sort(m_ranges.begin(), m_ranges.end(), [](Range a, Range b) { return a.first < b.first; });
}

bool vfd_FreeSpace::Contains(std::uint64_t page) const {
  const std::uint64_t first = page * kVfdPage;
  const auto next = std::upper_bound(m_ranges.begin(), m_ranges.end(), first,
                                     [](std::uint64_t wanted, Range range) { return wanted < range.first; });
  return next != m_ranges.begin() && first + kVfdPage <= (next - 1)->end;
}

void vfd_FreeSpace::Remove(Range taken) {
  std::vector<Range> left;
  left.reserve(m_ranges.size() + 1);
  for (const Range& range : m_ranges) {
    const Range before{range.first, std::min(range.end, taken.first)};
    const Range behind{std::max(range.first, taken.end), range.end};
    if (taken.end <= range.first || range.end <= taken.first) {
      left.push_back(range);
      continue;
    }
    if (before.first < before.end)
      left.push_back(before);
    if (behind.first < behind.end)
      left.push_back(behind);
  }
  m_ranges = std::move(left);
}

std::uint64_t vfd_FreeSpace::Take(std::uint64_t bytes, std::uint64_t alignment) {
  const Range* best = nullptr;
  const auto start = [&](const Range& range) {
    return (range.first + alignment - 1) / alignment * alignment;
  };
  for (const Range& range : m_ranges)
    if (start(range) + bytes <= range.end && (best == nullptr || range.Bytes() < best->Bytes()))
      best = &range;
  if (best == nullptr)
    return 0;
  const std::uint64_t first = start(*best);
  Remove({first, first + bytes});
  return first;
}
