#include <H5Journal/pages/vfd_Image.h>

#include <H5Journal/files/vfd_Cause.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {
constexpr std::size_t kMostRecent = 2048; // committed pages kept in memory
} // namespace

// Null for a page that has to be read.
const unsigned char* vfd_Image::InMemory(std::uint64_t page) const {
  const auto* slot = written.Find(page);
  if (slot == nullptr)
    slot = recent.Find(page);
  return slot != nullptr ? slot->bytes.get() : nullptr;
}

// Null for a page that is in the main file. Not for one in memory.
const vfd_FrameRef* vfd_Image::FrameOf(std::uint64_t page) const {
  if (const auto* const slot = written.Find(page))
    return &slot->frame;
  const auto* const entry = unapplied.Find(page);
  return entry == nullptr ? nullptr : &entry->frame;
}

bool vfd_Image::ReadPage(std::uint64_t page, unsigned char* bytes) const {
  if (const unsigned char* const memory = InMemory(page)) {
    std::memcpy(bytes, memory, kVfdPage);
    return true;
  }
  if (const vfd_FrameRef* const frame = FrameOf(page))
    return m_journal.ReadFrame(page, *frame, bytes);
  return m_main.Read(page * kVfdPage, kVfdPage, bytes);
}

bool vfd_Image::Read(std::uint64_t address, std::size_t count, unsigned char* target) const {
  if (written.Empty() && unapplied.Empty())
    return m_main.Read(address, count, target);
  // Pages that are only in the main file are read together.
  std::uint64_t runStart = address;
  const std::uint64_t end = address + count;
  const auto readRun = [&](std::uint64_t runEnd) {
    return runStart >= runEnd || m_main.Read(runStart, runEnd - runStart, target + (runStart - address));
  };
  for (std::uint64_t at = address; at < end;) {
    const std::uint64_t page = at / kVfdPage, next = std::min(end, (page + 1) * kVfdPage);
    const unsigned char* source = InMemory(page);
    if (source != nullptr || FrameOf(page) != nullptr) {
      unsigned char whole[kVfdPage];
      if (!readRun(at) || (source == nullptr && !ReadPage(page, whole)))
        return false;
      std::memcpy(target + (at - address), (source != nullptr ? source : whole) + at % kVfdPage, next - at);
      runStart = next;
    }
    at = next;
  }
  return readRun(end);
}

bool vfd_Image::ForEachPatch(std::uint64_t first, std::uint64_t end,
                             const std::function<bool(std::uint64_t, const unsigned char*)>& take) const {
  std::vector<std::uint64_t> pages = written.Pages();
  for (const auto& entry : unapplied.All())
    pages.push_back(entry.page);
  std::erase_if(pages, [&](std::uint64_t page) { return page < first || page >= end; });
  std::sort(pages.begin(), pages.end());
  pages.erase(std::unique(pages.begin(), pages.end()), pages.end());
  unsigned char bytes[kVfdPage];
  return std::all_of(pages.begin(), pages.end(),
                     [&](std::uint64_t page) { return ReadPage(page, bytes) && take(page, bytes); });
}

unsigned char* vfd_Image::PageForWriting(std::uint64_t page, bool whole) {
  auto* const slot = written.Find(page);
  if (slot != nullptr && slot->bytes != nullptr)
    return slot->bytes.get();
  auto bytes = written.NewPage();
  if (!whole && !ReadPage(page, bytes.get()))
    return nullptr;
  unsigned char* const result = bytes.get();
  written.Put(page, std::move(bytes));
  return result;
}

void vfd_Image::DropUnchanged() {
  unsigned char before[kVfdPage];
  for (const std::uint64_t page : written.Pages()) {
    const unsigned char* const bytes = written.Find(page)->bytes.get();
    const std::size_t skipped = page == 0 && m_main.Mark().present ? kVfdMark : 0; // not HDF5's
    if (bytes != nullptr && m_main.Read(page * kVfdPage, kVfdPage, before) &&
        std::memcmp(bytes + skipped, before + skipped, kVfdPage - skipped) == 0)
      written.Drop(page);
  }
}

// Pages that were written together have their frames together: such frames are read together.
bool vfd_Image::ForEachUnapplied(
    const std::function<bool(std::uint64_t page, const unsigned char* bytes)>& take) const {
  std::vector<unsigned char> stretch;
  unsigned char whole[kVfdPage];
  std::uint64_t start = 0;
  for (const auto& [page, frame] : unapplied.All()) {
    if (const unsigned char* const memory = InMemory(page)) {
      if (!take(page, memory))
        return false;
      continue;
    }
    const std::uint64_t end = start + stretch.size();
    if (frame.at < start || frame.at + kVfdFrame > end) {
      const std::size_t next = std::clamp(2 * stretch.size(), kVfdFrame, kVfdFramesAtOnce * kVfdFrame);
      stretch.resize(frame.at >= start && frame.at <= end ? next : kVfdFrame);
      std::size_t got = 0;
      if (!vfd_ReadAt(m_journal.Get(), stretch.data(), stretch.size(), start = frame.at, got))
        return vfd_Fail("read the journal");
      stretch.resize(got);
    }
    const std::size_t skipped = frame.at - start;
    if (!vfd_Journal::TakeFrame(page, frame, stretch.data() + skipped, stretch.size() - skipped, whole) ||
        !take(page, whole))
      return false;
  }
  return true;
}

void vfd_Image::HasApplied() {
  unapplied.Clear();
  recent.Clear();
}

// Copying every commit into the main file at once would double its cost; as long as the generation lasts its
// pages are read from here, and those that change again and again are copied once.
void vfd_Image::KeepRecent(const vfd_PageIndex::Entries& committed) {
  for (const auto& entry : committed)
    if (written.Find(entry.page)->bytes != nullptr && recent.InMemory() < kMostRecent)
      recent.Put(entry.page, written.TakeOut(entry.page));
    else
      recent.Drop(entry.page); // only the journal has the newest
}
