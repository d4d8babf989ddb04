#include <H5Journal/commit/vfd_Store.h>

#include <H5Journal/files/vfd_Rules.h>
#include <H5Journal/opening/vfd_Locks.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace {
constexpr std::size_t kLargeCall = std::size_t{256}
                                   << 10; // written without going through memory where allowed
} // namespace

vfd_Store::vfd_Store(const vfd_Options& options)
    : m_options(options), m_image(m_files.main, m_files.journal), m_spillAt(SpillLimit()),
      m_registered(options.readOnly, options.live) {}

vfd_Store::~vfd_Store() {
  CutOff();
  Finish();
}

bool vfd_Store::Read(std::uint64_t address, std::size_t count, void* bytes) const {
  auto* const target = static_cast<unsigned char*>(bytes);
  if (m_options.readOnly && address + count > m_eof) { // the main file may be longer than the image
    const std::size_t within = address < m_eof ? m_eof - address : 0;
    std::memset(target + within, 0, count - within);
    count = within;
  }
  return m_image.Read(address, count, target);
}

// Such a page is beyond everything that a commit point, a frame or a reader may know.
bool vfd_Store::MayBypass(std::uint64_t page) {
  return (!m_announced && (page >= m_floor || MayReuse(page))) || vfd_Broken(vfd_Rule::kDirectOnlyBeyond);
}

// A copy of the file made now would pass for one that has what the next commit writes directly: so all of
// that commit goes through the journal.
void vfd_Store::NoteAnnounced() {
  const vfd_Mark& mark = m_files.main.Mark();
  m_announced = mark.hasJournal && mark.direct > m_sequence;
}

// Space that was free at the last commit point, or behind its end: not where a frame of this generation would
// bury what is written now, and not as long as a live reader may look at a commit point to which it belonged.
// Readers that come later begin with the last one.
bool vfd_Store::MayReuse(std::uint64_t page) {
  if (page < vfd_PagesOf(m_committedEnd) && !m_free.Contains(page) && !m_spare.Contains(page))
    return false;
  if (vfd_Broken(vfd_Rule::kReuse))
    return true;
  if (m_reuse == Reuse::kUnknown) {
    const auto readers = vfd_Locks::TryReaders(m_files.main.Get());
    if (readers == vfd_Locks::Result::kTaken)
      vfd_Locks::ReleaseReaders(m_files.main.Get());
    const bool alone = readers == vfd_Locks::Result::kTaken || readers == vfd_Locks::Result::kUnsupported;
    m_reuse = alone ? Reuse::kYes : Reuse::kNo;
  }
  return m_reuse == Reuse::kYes && m_mayReuse && m_image.unapplied.Find(page) == nullptr &&
         !std::binary_search(m_dropped.begin(), m_dropped.end(), page);
}

bool vfd_Store::WriteMain(std::uint64_t address, std::size_t count, const void* bytes) {
  if (!m_files.main.Write(address, count, bytes))
    return false;
  m_directDirty = true;
  return true;
}

bool vfd_Store::Write(std::uint64_t address, std::size_t count, const void* bytes) {
  if (m_closing == Closing::kDiscard || m_owner.ForkedAsFarAsTold())
    return true;
  if (m_options.readOnly || address + count > kVfdLargest) {
    errno = m_options.readOnly ? EROFS : EFBIG;
    return vfd_Fail("write");
  }
  m_eof = std::max(m_eof, address + count);
  if (m_options.Scratch())
    return !m_poison.Empty() || WriteMain(address, count, bytes) || ScratchFailed();
  return WriteParts(address, count, static_cast<const unsigned char*>(bytes));
}

// Page by page: straight to the main file, into the journal, or into memory.
bool vfd_Store::WriteParts(std::uint64_t address, std::size_t count, const unsigned char* source) {
  const std::uint64_t end = address + count;
  const bool large = count >= kLargeCall && m_closing == Closing::kNo;
  m_large = m_large || large;
  // After a failed sync nobody knows which record counts: neither file is written any more, and memory is not
  // filled with what can never be committed.
  if (IsPoisoned() && (large || (m_closing == Closing::kNo && m_image.written.InMemory() >= m_spillAt)))
    return vfd_Refuse(m_poison.Text());
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
    if (!(large && MayBypass(page) && m_image.written.Find(page) == nullptr)) {
      unsigned char* const target =
          writeRun(at) ? m_image.PageForWriting(page, next - at == kVfdPage) : nullptr;
      if (target == nullptr)
        return false;
      std::memcpy(target + at % kVfdPage, source + (at - address), next - at);
      runStart = next;
      if (m_image.written.InMemory() >= m_spillAt)
        Spill();
    }
    at = next;
  }
  return writeRun(end);
}

// Pages behind HDF5's end are forgotten; their frames are not: they count with the next commit.
void vfd_Store::CutWritten() {
  m_image.written.DropFrom(vfd_PagesOf(m_eof), m_dropped);
  std::sort(m_dropped.begin(), m_dropped.end());
}

bool vfd_Store::SetEnd(std::uint64_t end) {
  if (m_closing == Closing::kDiscard || m_options.readOnly || m_owner.ForkedAsFarAsTold())
    return true;
  m_eof = end;
  if (!m_options.Scratch()) {
    CutWritten();
    return true;
  }
  return end == m_files.main.Size() || m_files.main.SetSize(end) || !m_poison.Empty() || ScratchFailed();
}

// HDF5 does not survive a write that fails while it closes a file, so after the first failure, which bars the
// file, a scratch file takes everything without a word.
bool vfd_Store::ScratchFailed() {
  m_poison = vfd_LastCause();
  return m_closing != Closing::kNo;
}

// How many pages from `at` on can go into the journal at once: whole ones below the floor that this update
// writes for the first time, so that the journal does not grow with each rewriting; and not the first page,
// which decides whether a journal belongs to its file.
std::uint64_t vfd_Store::PagesToFrame(std::uint64_t at, std::uint64_t end) {
  const std::uint64_t first = at / kVfdPage, last = end / kVfdPage;
  std::uint64_t page = first;
  if (at % kVfdPage == 0 && first != 0)
    while (page < last && !MayBypass(page) && m_image.written.Find(page) == nullptr)
      ++page;
  return page - first;
}

bool vfd_Store::WriteFrames(std::uint64_t page, std::uint64_t count, const unsigned char* bytes) {
  std::vector<vfd_NewPage> pages;
  pages.reserve(count);
  for (std::uint64_t i = 0; i < count; ++i)
    pages.push_back({page + i, bytes + i * kVfdPage});
  return SpillFrames(pages);
}

// Frames of an update that goes on: no record makes them count yet.
bool vfd_Store::SpillFrames(const std::vector<vfd_NewPage>& pages) {
  std::vector<vfd_FrameRef> frames;
  if (!BeginGeneration() || !m_files.journal.Spill(pages, frames))
    return false;
  for (std::size_t i = 0; i < pages.size(); ++i)
    m_image.written.Spilled(pages[i].number, frames[i]);
  return true;
}

void vfd_Store::HasFailed() noexcept {
  const bool matters = m_closing == Closing::kNo || (m_closing == Closing::kKeep && !m_options.Scratch());
  if (matters && m_broken.Empty())
    m_broken.Set(vfd_LastCause().Empty() ? "out of memory" : vfd_LastCause().Text());
}

std::uint64_t vfd_Store::TakeSpare(std::uint64_t bytes, std::uint64_t alignment) {
  if (m_spareNow.Empty() || bytes < kLargeCall || m_closing != Closing::kNo)
    return 0;
  return vfd_Try(std::uint64_t{0}, [&] { return m_spareNow.Take(bytes, alignment); });
}

void vfd_Store::Discard() {
  m_broken.Clear();
  if (!vfd_Try(false, [&] { return m_spareNow = m_spare, true; }))
    m_spareNow.Clear();
  NoteAnnounced();
  CutLongJournal();
  m_image.written.Clear();
  m_files.journal.Forget();
  m_spillAt = SpillLimit();
  if (!m_options.Scratch())
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

bool vfd_Store::ClosedBy(vfd_Store** user, bool opening) {
  if (m_user == user)
    m_user = nullptr;
  return !opening && m_closing == Closing::kNo;
}

void vfd_Store::EndClosing(bool good) {
  CutOff();
  if (m_closing == Closing::kKeep && (good || m_options.Scratch()))
    Commit();
  Discard();
  m_closing = Closing::kNo;
}
