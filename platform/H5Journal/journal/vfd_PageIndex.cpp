#include <H5Journal/journal/vfd_PageIndex.h>

#include <algorithm>

namespace {
bool byPage(const vfd_PageIndex::Entry& a, const vfd_PageIndex::Entry& b) {
  return a.page < b.page;
}
} // namespace

void vfd_PageIndex::KeepNewest(Entries& entries) {
  std::stable_sort(entries.begin(), entries.end(), byPage);
  std::size_t kept = 0;
  for (std::size_t i = 0; i < entries.size(); ++i)
    if (i + 1 == entries.size() || entries[i + 1].page != entries[i].page)
      entries[kept++] = entries[i];
  entries.resize(kept);
}

const vfd_PageIndex::Entry* vfd_PageIndex::Find(std::uint64_t page) const {
  const auto found = std::lower_bound(m_entries.begin(), m_entries.end(), Entry{page, {}}, byPage);
  return found != m_entries.end() && found->page == page ? &*found : nullptr;
}

void vfd_PageIndex::Reserve(std::size_t more) {
  if (const std::size_t needed = m_entries.size() + more; needed > m_entries.capacity())
    m_entries.reserve(std::max(needed, 2 * m_entries.capacity()));
}

void vfd_PageIndex::Merge(const Entries& newer) noexcept {
  // Most of a small update's pages are known, however many others there are.
  const auto known = static_cast<std::ptrdiff_t>(m_entries.size());
  for (const Entry& entry : newer) {
    const auto old = std::lower_bound(m_entries.begin(), m_entries.begin() + known, entry, byPage);
    if (old != m_entries.begin() + known && old->page == entry.page)
      old->frame = entry.frame;
    else
      m_entries.push_back(entry);
  }
  std::inplace_merge(m_entries.begin(), m_entries.begin() + known, m_entries.end(), byPage);
}

void vfd_PageIndex::DropFrom(std::uint64_t end) {
  m_entries.erase(std::lower_bound(m_entries.begin(), m_entries.end(), Entry{end, {}}, byPage),
                  m_entries.end());
}
