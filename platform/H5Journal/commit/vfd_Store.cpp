#include <H5Journal/commit/vfd_Store.h>

#include <H5Journal/files/vfd_Rules.h>
#include <H5Journal/journal/vfd_Appender.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace {
constexpr std::size_t kLargeCall = std::size_t{256}
                                   << 10; // written without going through memory where allowed
constexpr std::uint64_t kMostMemory = std::uint64_t{32} << 20; // of changed pages
} // namespace

vfd_Store::vfd_Store(const vfd_Options& options)
    : m_options(options), m_owner(::getpid()), m_forks(vfd_Forks()), m_spillAt(SpillLimit()) {}

std::uint64_t vfd_Store::SpillLimit() {
  return vfd_Limit("PDM_TEST_SPILL_LIMIT", kMostMemory) / kVfdPage;
}

bool vfd_Store::Forked() const {
  return vfd_Forks() != m_forks || ::getpid() != m_owner;
}

bool vfd_Store::Fail(const char* what) const {
  m_cause = std::string(what) + ": " + std::generic_category().message(errno);
  return false;
}

bool vfd_Store::ReadFrame(std::uint64_t page, std::uint64_t frame, unsigned char* bytes) const {
  unsigned char record[kVfdFrame];
  std::size_t got = 0;
  if (!vfd_ReadAt(m_journal.Get(), record, sizeof record, frame, got))
    return Fail("read the journal");
  return TakeFrame(page, record, got, bytes);
}

// The page out of the first of `got` bytes that were read at its frame.
bool vfd_Store::TakeFrame(std::uint64_t page, const unsigned char* record, std::size_t got,
                          unsigned char* bytes) const {
  if (got < kVfdFrame || !vfd_IsFrameOf(record, page)) {
    errno = EIO;
    return Fail("the journal has changed");
  }
  std::memcpy(bytes, record + kVfdFrameHead, kVfdPage);
  return true;
}

// Null for a page that has to be read.
const unsigned char* vfd_Store::InMemory(std::uint64_t page) const {
  const auto* slot = m_overlay.Find(page);
  if (slot == nullptr)
    slot = m_recent.Find(page);
  return slot != nullptr ? slot->bytes.get() : nullptr;
}

// A page as HDF5 last wrote it.
bool vfd_Store::ReadPage(std::uint64_t page, unsigned char* bytes) const {
  if (const unsigned char* const memory = InMemory(page)) {
    std::memcpy(bytes, memory, kVfdPage);
    return true;
  }
  if (const auto* const slot = m_overlay.Find(page))
    return ReadFrame(page, slot->frame, bytes);
  if (const auto* const entry = m_unapplied.Find(page))
    return ReadFrame(page, entry->frame, bytes);
  return vfd_ReadPadded(m_main.Get(), bytes, kVfdPage, page * kVfdPage) || Fail("read");
}

bool vfd_Store::Read(std::uint64_t address, std::size_t count, void* bytes) const {
  auto* target = static_cast<unsigned char*>(bytes);
  if (m_options.readOnly && address + count > m_eof) { // the main file may be longer than the image
    const std::size_t within = address < m_eof ? m_eof - address : 0;
    std::memset(target + within, 0, count - within);
    count = within;
  }
  if (m_overlay.Empty() && m_unapplied.Empty())
    return vfd_ReadPadded(m_main.Get(), target, count, address) || Fail("read");
  // Pages that are only in the main file are read together.
  std::uint64_t runStart = address;
  const std::uint64_t end = address + count;
  const auto readRun = [&](std::uint64_t runEnd) {
    return runStart >= runEnd ||
           vfd_ReadPadded(m_main.Get(), target + (runStart - address), runEnd - runStart, runStart) ||
           Fail("read");
  };
  for (std::uint64_t at = address; at < end;) {
    const std::uint64_t page = at / kVfdPage, next = std::min(end, (page + 1) * kVfdPage);
    const unsigned char* source = InMemory(page);
    if (source != nullptr || m_overlay.Find(page) != nullptr || m_unapplied.Find(page) != nullptr) {
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

// The page in memory, null when it cannot be had. \param whole its former bytes do not matter.
unsigned char* vfd_Store::PageForWriting(std::uint64_t page, bool whole) {
  auto* const slot = m_overlay.Find(page);
  if (slot != nullptr && slot->bytes != nullptr)
    return slot->bytes.get();
  auto bytes = m_overlay.NewPage();
  if (!whole && !ReadPage(page, bytes.get()))
    return nullptr;
  unsigned char* const result = bytes.get();
  m_overlay.Put(page, std::move(bytes));
  return result;
}

// Such a page is beyond everything that a commit point, a frame or a reader may know.
bool vfd_Store::MayBypass(std::uint64_t page) const {
  return page >= m_floor || vfd_Broken(vfd_Rule::kDirectOnlyBeyond);
}

bool vfd_Store::WriteMain(std::uint64_t address, std::size_t count, const void* bytes) {
  if (!vfd_WriteAt(m_main.Get(), bytes, count, address))
    return Fail("write");
  m_mainSize = std::max(m_mainSize, address + count);
  m_directDirty = true;
  return true;
}

bool vfd_Store::Write(std::uint64_t address, std::size_t count, const void* bytes) {
  if (m_closing == Closing::kDiscard || vfd_Forks() != m_forks)
    return true;
  if (m_options.readOnly || address + count > kVfdLargest) {
    errno = m_options.readOnly ? EROFS : EFBIG;
    return Fail("write");
  }
  const auto* source = static_cast<const unsigned char*>(bytes);
  const std::uint64_t end = address + count;
  m_eof = std::max(m_eof, end);
  if (Scratch())
    return !m_poison.empty() || WriteMain(address, count, bytes) || ScratchFailed();
  const bool large = count >= kLargeCall && m_closing == Closing::kNo;
  // After a failed sync nobody knows which record counts: neither file is written any more, and memory is not
  // filled with what can never be committed.
  if (IsPoisoned() && (large || (m_closing == Closing::kNo && m_overlay.InMemory() >= m_spillAt))) {
    m_cause = m_poison;
    return false;
  }
  bool frames = large;
  std::uint64_t runStart = address; // what goes straight to the main file
  const auto writeRun = [&](std::uint64_t runEnd) {
    return runStart >= runEnd || WriteMain(runStart, runEnd - runStart, source + (runStart - address));
  };
  for (std::uint64_t at = address; at < end;) {
    const std::uint64_t page = at / kVfdPage, next = std::min(end, (page + 1) * kVfdPage);
    if (const std::uint64_t pages = frames ? PagesToFrame(at, end) : 0; pages > 0) {
      if (!writeRun(at))
        return false;
      runStart = at;
      if ((frames = WriteFrames(page, pages, source + (at - address)))) {
        runStart = at += pages * kVfdPage;
        continue;
      }
      if (IsPoisoned())
        return false;
    }
    if (!(large && MayBypass(page) && m_overlay.Find(page) == nullptr)) {
      unsigned char* const target = writeRun(at) ? PageForWriting(page, next - at == kVfdPage) : nullptr;
      if (target == nullptr)
        return false;
      std::memcpy(target + at % kVfdPage, source + (at - address), next - at);
      runStart = next;
      if (m_overlay.InMemory() >= m_spillAt)
        Spill();
    }
    at = next;
  }
  return writeRun(end);
}

bool vfd_Store::SetEnd(std::uint64_t end) {
  if (m_closing == Closing::kDiscard || m_options.readOnly || vfd_Forks() != m_forks)
    return true;
  m_eof = end;
  if (!Scratch()) {
    m_overlay.DropFrom(vfd_PagesOf(end));
    return true;
  }
  if (end == m_mainSize)
    return true;
  if (!vfd_SetSize(m_main.Get(), end))
    return !m_poison.empty() || (Fail("set the file's size"), ScratchFailed());
  m_mainSize = end;
  return true;
}

// HDF5 does not survive a write that fails while it closes a file, so after the first failure, which bars the
// context, a scratch file takes everything without a word.
bool vfd_Store::ScratchFailed() {
  m_poison = m_cause;
  return m_closing != Closing::kNo;
}

// How many pages from `at` on can go into the journal at once: whole ones below the floor that this update
// writes for the first time, so that the journal does not grow with each rewriting; and not the first page,
// which decides whether a journal belongs to its file.
std::uint64_t vfd_Store::PagesToFrame(std::uint64_t at, std::uint64_t end) const {
  const std::uint64_t first = at / kVfdPage, last = end / kVfdPage;
  std::uint64_t page = first;
  if (at % kVfdPage == 0 && first != 0)
    while (page < last && !MayBypass(page) && m_overlay.Find(page) == nullptr)
      ++page;
  return page - first;
}

bool vfd_Store::WriteFrames(std::uint64_t page, std::uint64_t count, const unsigned char* bytes) {
  std::vector<Page> pages;
  pages.reserve(count);
  for (std::uint64_t i = 0; i < count; ++i)
    pages.push_back({page + i, bytes + i * kVfdPage});
  return SpillFrames(pages);
}

// Frames of an update that goes on: no record makes them count yet.
bool vfd_Store::SpillFrames(const std::vector<Page>& pages) {
  if (!BeginGeneration())
    return false;
  vfd_Appender frames(m_journal.Get(), m_openEnd, m_openChain);
  frames.Reserve(pages.size());
  bool written = true;
  for (std::size_t i = 0; written && i < pages.size(); ++i)
    written = frames.Put(pages[i].number, pages[i].bytes);
  if (!written || !frames.Flush()) {
    Fail("write the journal");
    CutJournal(m_openEnd); // there may be no room on the disk
    return false;
  }
  std::uint64_t frame = std::exchange(m_openEnd, frames.End());
  m_openChain = frames.Chain();
  m_spilled += pages.size();
  m_journalSize = std::max(m_journalSize, m_openEnd);
  for (const Page& page : pages) {
    m_overlay.Spilled(page.number, frame);
    frame += kVfdFrame;
  }
  return true;
}

void vfd_Store::HasFailed() noexcept {
  const bool matters = m_closing == Closing::kNo || (m_closing == Closing::kKeep && !Scratch());
  if (!matters || !m_broken.empty())
    return;
  try {
    m_broken = m_cause.empty() ? "out of memory" : m_cause;
  } catch (const std::bad_alloc&) {
    m_broken = "no memory"; // short enough to need none
  }
}

void vfd_Store::Discard() {
  m_broken.clear();
  CutLongJournal();
  m_overlay.Clear();
  m_openEnd = m_journalEnd;
  m_openChain = m_chain;
  m_spilled = 0;
  m_spillAt = SpillLimit();
  if (!Scratch())
    m_eof = m_committedEnd;
}

void vfd_Store::BeginClosing(bool keep) {
  m_closing = keep ? Closing::kKeep : Closing::kDiscard;
}

void vfd_Store::OpenedBy(vfd_Store** user) {
  if (m_user != nullptr)
    *m_user = nullptr;
  m_user = user;
}

void vfd_Store::ClosedBy(vfd_Store** user, bool opening) {
  if (m_user == user)
    m_user = nullptr;
  if (!opening && m_closing == Closing::kNo)
    Finish();
}

void vfd_Store::EndClosing(bool good) {
  CutOff();
  try {
    std::string cause;
    if (m_closing == Closing::kKeep && (good || Scratch()))
      Commit(cause);
  } catch (const std::bad_alloc&) { // the cause, which nobody asks for
  }
  Discard();
  m_closing = Closing::kNo;
}
