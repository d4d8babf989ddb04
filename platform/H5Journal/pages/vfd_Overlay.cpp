#include <H5Journal/pages/vfd_Overlay.h>

#include <algorithm>

vfd_Overlay::Slot* vfd_Overlay::Find(std::uint64_t page) {
  const auto found = m_slots.find(page);
  return found == m_slots.end() ? nullptr : &found->second;
}

std::unique_ptr<unsigned char[]> vfd_Overlay::NewPage() {
  if (m_spare.empty())
    return std::unique_ptr<unsigned char[]>(new unsigned char[kVfdPage]);
  auto bytes = std::move(m_spare.back());
  m_spare.pop_back();
  return bytes;
}

const vfd_Overlay::Slot* vfd_Overlay::Find(std::uint64_t page) const {
  const auto found = m_slots.find(page);
  return found == m_slots.end() ? nullptr : &found->second;
}

void vfd_Overlay::Put(std::uint64_t page, std::unique_ptr<unsigned char[]> bytes) {
  Slot& slot = m_slots[page];
  Release(slot);
  slot.bytes = std::move(bytes);
  ++m_inMemory;
}

std::unique_ptr<unsigned char[]> vfd_Overlay::TakeOut(std::uint64_t page) {
  const auto found = m_slots.find(page);
  auto bytes = std::move(found->second.bytes);
  m_slots.erase(found);
  --m_inMemory;
  return bytes;
}

std::vector<std::uint64_t> vfd_Overlay::Pages() const {
  std::vector<std::uint64_t> pages;
  pages.reserve(m_slots.size());
  for (const auto& [page, slot] : m_slots)
    pages.push_back(page);
  std::sort(pages.begin(), pages.end());
  return pages;
}

void vfd_Overlay::Release(Slot& slot) {
  if (slot.bytes == nullptr)
    return;
  --m_inMemory;
  if (m_spare.size() < kSpare)
    m_spare.push_back(std::move(slot.bytes));
  slot.bytes.reset();
}

void vfd_Overlay::Spilled(std::uint64_t page, const vfd_FrameRef& frame) {
  Slot& slot = m_slots[page];
  Release(slot);
  slot.frame = frame;
}

void vfd_Overlay::Drop(std::uint64_t page) {
  const auto found = m_slots.find(page);
  if (found == m_slots.end())
    return;
  Release(found->second);
  m_slots.erase(found);
}

void vfd_Overlay::DropFrom(std::uint64_t end, std::vector<std::uint64_t>& framed) {
  for (const auto& [page, slot] : m_slots)
    if (page >= end && slot.HasFrame())
      framed.push_back(page);
  DropFrom(end);
}

void vfd_Overlay::DropFrom(std::uint64_t end) {
  for (auto slot = m_slots.begin(); slot != m_slots.end();)
    if (slot->first >= end) {
      Release(slot->second);
      slot = m_slots.erase(slot);
    } else {
      ++slot;
    }
}

void vfd_Overlay::Clear() {
  for (auto& [page, slot] : m_slots)
    Release(slot);
  if (m_slots.size() > kMany)
    m_slots = decltype(m_slots)(); // else every later update would clear a large table
  m_slots.clear();
}
