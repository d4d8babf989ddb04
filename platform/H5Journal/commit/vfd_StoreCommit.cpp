#include <H5Journal/commit/vfd_Store.h>

#include <H5Journal/files/vfd_Rules.h>
#include <H5Journal/journal/vfd_Appender.h>
#include <H5Journal/opening/hdf_Superblock.h>
#include <H5Journal/opening/vfd_Locks.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <unistd.h>

namespace {
constexpr std::size_t kMostRecent = 2048; // committed pages kept in memory
constexpr std::size_t kManyFresh = 64; // new pages for which a sync of the main file is cheaper than frames
constexpr std::size_t kRunBytes = std::size_t{1} << 20; // written at once to the main file
} // namespace

/// The pages in memory by the road they take.
struct vfd_Store::Plan {
  std::vector<std::uint64_t> framed; // through the journal
  std::vector<std::uint64_t> fresh;  // straight to the main file: nobody can reach them yet
  vfd_PageIndex::Entries entries;    // where the frames are going to be, and the spilled ones are
};

bool vfd_Store::Poison(const char* what) {
  m_poison = "I/O error"; // needs no memory, which the cause may not get
  Fail(what);
  m_poison = m_cause;
  return false;
}

bool vfd_Store::Commit(std::string& cause) {
  if (m_options.readOnly)
    return true;
  if (Forked())
    m_cause = "the context belongs to another process";
  else if (!MayRetry())
    m_cause = Obstacle();
  else
    try {
      if (IsNew() ? CommitFirst() : CommitUpdate())
        return true;
    } catch (const std::bad_alloc&) {
      m_cause = "out of memory";
    }
  cause = m_cause;
  return false;
}

// Writes pages in ascending order, neighbours together. bytesOf(page, target) gives false when it fails.
template <class Pages, class Bytes>
bool vfd_Store::WritePages(const Pages& pages, Bytes bytesOf) {
  std::vector<unsigned char> run;
  std::uint64_t first = 0;
  for (const std::uint64_t page : pages) {
    if (!run.empty() && (page != first + run.size() / kVfdPage || run.size() >= kRunBytes) &&
        !WriteRun(run, first))
      return false;
    if (run.empty())
      first = page;
    run.resize(run.size() + kVfdPage);
    if (!bytesOf(page, run.data() + run.size() - kVfdPage))
      return false;
  }
  return run.empty() || WriteRun(run, first);
}

// The image may end within its last page.
bool vfd_Store::WriteRun(std::vector<unsigned char>& run, std::uint64_t firstPage) {
  const std::uint64_t start = firstPage * kVfdPage;
  const std::uint64_t count = std::min<std::uint64_t>(run.size(), m_eof > start ? m_eof - start : 0);
  if (!vfd_WriteAt(m_main.Get(), run.data(), count, start))
    return Fail("write");
  m_mainSize = std::max(m_mainSize, start + count);
  run.clear();
  return true;
}

bool vfd_Store::PlaceFresh(const Plan& plan) {
  if (m_mainSize < m_eof) {
    if (!vfd_SetSize(m_main.Get(), m_eof))
      return Fail("extend the file");
    m_mainSize = m_eof;
  }
  // As far as recovery is going to believe in the size on the disk.
  m_directDirty = m_directDirty || !plan.fresh.empty() || m_eof >= m_syncedSize + kVfdUnseenEnd;
  return WritePages(plan.fresh, [&](std::uint64_t page, unsigned char* target) {
    std::memcpy(target, m_overlay.Find(page)->bytes.get(), kVfdPage);
    return true;
  });
}

// Gives memory back in the middle of a large update. What fails is kept in memory, and tried again when there
// is twice as much; the first page, which decides whether a journal belongs to its file, always is.
void vfd_Store::Spill() {
  if (m_closing == Closing::kNo && !IsPoisoned() && SpillPages())
    m_spillAt = SpillLimit();
  else
    m_spillAt = 2 * m_overlay.InMemory();
}

bool vfd_Store::SpillPages() {
  Plan plan;
  std::vector<Page> framed;
  for (const std::uint64_t page : m_overlay.Pages()) {
    const unsigned char* const bytes = m_overlay.Find(page)->bytes.get();
    if (page != 0 && bytes != nullptr && MayBypass(page))
      plan.fresh.push_back(page);
    else if (page != 0 && bytes != nullptr)
      framed.push_back({page, bytes});
  }
  if (!PlaceFresh(plan))
    return false;
  for (const std::uint64_t page : plan.fresh)
    m_overlay.Drop(page);
  return framed.empty() || SpillFrames(framed);
}

// A sync that failed may have lost what it was to write, so it is never tried again.
bool vfd_Store::SyncMain() {
  if (!Power() || !m_directDirty || vfd_Broken(vfd_Rule::kDirectSync) || SyncMainFile()) {
    m_directDirty = false;
    return true;
  }
  return false;
}

bool vfd_Store::SyncMainFile() {
  if (!vfd_Sync(m_main.Get()))
    return Poison("sync the file");
  m_syncedSize = m_mainSize;
  return true;
}

// False also when there is no memory for the directory's name.
bool vfd_Store::SyncDirectory() {
  try {
    return !Power() || vfd_Broken(vfd_Rule::kDirectorySync) || vfd_SyncDirectoryOf(m_name) ||
           Poison("sync the directory");
  } catch (const std::bad_alloc&) {
    m_poison = "no memory"; // short enough to need none
    return false;
  }
}

bool vfd_Store::CommitFirst() {
  m_overlay.DropFrom(vfd_PagesOf(m_eof));
  Plan plan;
  plan.fresh = m_overlay.Pages();
  if (!PlaceFresh(plan))
    return false;
  if (m_mainSize > m_eof && !vfd_SetSize(m_main.Get(), m_eof))
    return Fail("set the file's size");
  m_mainSize = m_eof;
  if (!SyncMain())
    return false;
  // What lies there belonged to a file of that name that is gone.
  const std::string journal = JournalName(m_name);
  if (!m_replaced.IsOpen() && ::access(journal.c_str(), F_OK) == 0 &&
      (!vfd_Remove(journal) || (Power() && !vfd_SyncDirectoryOf(m_name))))
    return Fail("remove an old journal");
  if (!vfd_Rename(m_temporary, m_name, !m_replaced.IsOpen()))
    return Fail("give the file its name");
  m_temporary.clear();
  m_replaced.Close();
  m_committedEnd = m_eof;
  m_floor = vfd_PagesOf(m_eof);
  m_overlay.Clear();
  ++m_sequence;
  vfd_Locks::MarkWriter(m_main.Get());
  return SyncDirectory();
}

bool vfd_Store::CommitUpdate() {
  m_overlay.DropFrom(vfd_PagesOf(m_eof));
  if (Scratch() || (m_overlay.Empty() && m_eof == m_committedEnd))
    return true;
  StripOpenMark();
  const Plan plan = MakePlan();
  m_unapplied.Reserve(plan.entries.size());
  if (!PlaceFresh(plan) || !SyncMain())
    return false;
  if (vfd_Broken(vfd_Rule::kJournalFirst))
    WritePages(plan.framed, [&](std::uint64_t page, unsigned char* bytes) { return ReadPage(page, bytes); });
  if (!BeginGeneration() || !AppendRecord(plan))
    return false;
  HasCommitted(plan);
  return true;
}

vfd_Store::Plan vfd_Store::MakePlan() const {
  Plan plan;
  const auto pages = m_overlay.Pages();
  const auto beyond = static_cast<std::size_t>(
      std::count_if(pages.begin(), pages.end(), [&](std::uint64_t page) { return MayBypass(page); }));
  // With few new pages frames are cheaper than one more sync.
  const bool bypass = !Power() || beyond >= kManyFresh || m_directDirty;
  plan.entries.reserve(pages.size());
  for (const std::uint64_t page : pages) {
    const auto& slot = *m_overlay.Find(page);
    if (slot.bytes == nullptr) {
      plan.entries.push_back({page, slot.frame});
    } else if (bypass && MayBypass(page)) {
      plan.fresh.push_back(page);
    } else {
      plan.entries.push_back({page, m_openEnd + plan.framed.size() * kVfdFrame});
      plan.framed.push_back(page);
    }
  }
  return plan;
}

// The commit point has been passed: from here on nothing makes it undone.
void vfd_Store::HasCommitted(const Plan& plan) {
  m_unapplied.Merge(plan.entries);
  if (m_eof < m_committedEnd) {
    m_unapplied.DropFrom(vfd_PagesOf(m_eof));
    m_recent.DropFrom(vfd_PagesOf(m_eof));
  }
  m_committedEnd = m_eof;
  const bool keepFloor = !vfd_Broken(vfd_Rule::kFloor);
  const std::uint64_t framed = plan.entries.empty() || !keepFloor ? 0 : plan.entries.back().page + 1;
  m_floor = std::max({keepFloor ? m_floor : 0, vfd_PagesOf(m_committedEnd), framed});
  try {
    if (m_journalEnd < m_nextTry || !EndGeneration())
      KeepRecent(plan);
  } catch (const std::bad_alloc&) {
    m_recent.Clear(); // the journal has all of it
  }
  m_overlay.Clear();
  m_spillAt = SpillLimit();
}

// The frames of the pages that are still in memory, and the record that makes all of them count.
bool vfd_Store::AppendRecord(const Plan& plan) {
  vfd_Appender records(m_journal.Get(), m_openEnd, m_openChain);
  records.Reserve(plan.framed.size());
  bool written = true;
  for (std::size_t i = 0; written && i < plan.framed.size(); ++i)
    written = records.Put(plan.framed[i], m_overlay.Find(plan.framed[i])->bytes.get());
  written = written && records.Commit(m_spilled + plan.framed.size(), m_eof, m_sequence + 1);
  if (!written) {
    Fail("write the journal");
    TakeBack(m_openEnd);
    return false;
  }
  ReserveJournal(records.End());
  if (Power() && !vfd_Broken(vfd_Rule::kCommitSync) && !vfd_Sync(m_journal.Get())) {
    Poison("sync the journal");
    // A live reader may have seen the record; then it stays, and the next opening says whether it counts.
    if (vfd_Locks::TryReaders(m_main.Get()) != vfd_Locks::Result::kHeld) {
      TakeBack(m_openEnd);
      vfd_Locks::ReleaseReaders(m_main.Get());
    }
    return false;
  }
  m_journalEnd = m_openEnd = records.End();
  m_chain = m_openChain = records.Chain();
  m_spilled = 0;
  ++m_sequence;
  return true;
}

// A sync of a file whose size and blocks stay as they are costs half as much. What lies behind the last
// record is never looked at, so it matters to nobody when this fails.
void vfd_Store::ReserveJournal(std::uint64_t end) {
  static constinit unsigned char s_zeros[std::size_t{128} << 10] = {};
  const bool atEnd = end > m_journalSize;
  m_journalSize = std::max(m_journalSize, end);
  if (Power() && atEnd && vfd_WriteAt(m_journal.Get(), s_zeros, sizeof s_zeros, end))
    m_journalSize = end + sizeof s_zeros;
}

// A record of which nobody knows how much arrived must not come to life later.
void vfd_Store::TakeBack(std::uint64_t end) {
  std::string cause;
  cause.swap(m_cause);
  if (!CutJournal(end) && m_poison.empty())
    Poison("take an unfinished commit back");
  m_cause.swap(cause);
}

// Copying every commit into the main file at once would double its cost; as long as the generation lasts its
// pages are read from here, and those that change again and again are copied once.
void vfd_Store::KeepRecent(const Plan& plan) {
  for (const auto& entry : plan.entries)
    if (m_overlay.Find(entry.page)->bytes != nullptr && m_recent.InMemory() < kMostRecent)
      m_recent.Put(entry.page, m_overlay.TakeOut(entry.page));
    else
      m_recent.Drop(entry.page); // only the journal has the newest
}

bool vfd_Store::ApplyPages() {
  std::vector<std::uint64_t> pages;
  pages.reserve(m_unapplied.All().size());
  for (const auto& entry : m_unapplied.All())
    pages.push_back(entry.page);
  // Pages that were written together have their frames together: such frames are read together.
  std::vector<unsigned char> stretch;
  std::uint64_t start = 0;
  const auto take = [&](std::uint64_t page, unsigned char* target) {
    if (InMemory(page) != nullptr)
      return ReadPage(page, target);
    const std::uint64_t frame = m_unapplied.Find(page)->frame, end = start + stretch.size();
    if (frame < start || frame + kVfdFrame > end) {
      const std::size_t next = std::clamp(2 * stretch.size(), kVfdFrame, kVfdFramesAtOnce * kVfdFrame);
      stretch.resize(frame >= start && frame <= end ? next : kVfdFrame);
      std::size_t got = 0;
      if (!vfd_ReadAt(m_journal.Get(), stretch.data(), stretch.size(), start = frame, got))
        return Fail("read the journal");
      stretch.resize(got);
    }
    return TakeFrame(page, stretch.data() + (frame - start), stretch.size() - (frame - start), target);
  };
  if (!WritePages(pages, take))
    return false;
  // It may be shorter, too, where a loss of power took an extension without content.
  if (m_mainSize != m_committedEnd && !vfd_SetSize(m_main.Get(), m_committedEnd))
    return Fail("set the file's size");
  m_mainSize = m_committedEnd;
  m_syncedSize = std::min(m_syncedSize, m_mainSize);
  return true;
}

vfd_Store::~vfd_Store() {
  CutOff();
  Finish();
}

// While a file of HDF5's newest format is open for writing its superblock says so, and a file whose writer
// died would be refused. Our own lock says it better.
void vfd_Store::StripOpenMark() {
  const auto* const slot = m_overlay.Find(m_superblock / kVfdPage);
  if (slot != nullptr && slot->bytes != nullptr)
    hdf_Superblock::StripOpenMark(slot->bytes.get() + m_superblock % kVfdPage,
                                  kVfdPage - m_superblock % kVfdPage);
}
