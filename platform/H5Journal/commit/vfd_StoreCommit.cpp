#include <H5Journal/commit/vfd_Store.h>

#include <H5Journal/files/vfd_Rules.h>
#include <H5Journal/journal/vfd_PageRun.h>
#include <H5Journal/opening/vfd_Locks.h>
#include <H5Journal/opening/vfd_Superblock.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <utility>

namespace {
constexpr std::size_t kManyFresh = 64; // new pages for which a sync of the main file is cheaper than frames
constexpr std::size_t kFewPages = 16;
} // namespace

/// The pages of an update by the road they take.
struct vfd_Store::Plan {
  std::vector<vfd_NewPage> framed;   // through the journal
  std::vector<std::uint64_t> fresh;  // straight to the main file: nobody can reach them yet
  vfd_PageIndex::Entries entries;    // all that go through the journal, with the spilled ones
  std::vector<std::size_t> unplaced; // which entries the framed ones are
};

// The cause is the last one.
bool vfd_Store::Poison() {
  m_poison = vfd_LastCause();
  return false;
}

bool vfd_Store::Commit() {
  if (m_options.readOnly)
    return true;
  if (Forked())
    return vfd_Refuse("the file belongs to another process");
  if (!MayRetry())
    return vfd_Refuse(Obstacle());
  if (!MayMove())
    return false;
  return vfd_Try(false, [&] { return IsNew() ? CommitFirst() : CommitUpdate(); });
}

bool vfd_Store::PlaceFresh(const Plan& plan) {
  if (!m_files.main.Extend(m_eof))
    return false;
  // As far as recovery is going to believe in the size on the disk.
  m_directDirty = m_directDirty || !plan.fresh.empty() || m_eof >= m_files.main.SyncedSize() + kVfdUnseenEnd;
  vfd_PageRun run(m_files.main, m_eof);
  for (const std::uint64_t page : plan.fresh)
    if (!run.Put(page, m_image.written.Find(page)->bytes.get()))
      return false;
  return run.Flush();
}

// A file that had holes when it was opened may have no room for what the journal is going to bring.
bool vfd_Store::ReserveHoles(const Plan& plan) {
  for (const auto& [page, frame] : plan.entries)
    if (const std::uint64_t start = page * kVfdPage;
        start < m_eof && !m_files.main.ReserveHole(start, std::min(start + kVfdPage, m_eof)))
      return false;
  return true;
}

// Gives memory back in the middle of a large update. What fails is kept in memory, and tried again when there
// is twice as much; the first page, which decides whether a journal belongs to its file, always is.
void vfd_Store::Spill() {
  if (m_closing == Closing::kNo && !IsPoisoned() && SpillPages())
    m_spillAt = SpillLimit();
  else
    m_spillAt = 2 * m_image.written.InMemory();
}

bool vfd_Store::SpillPages() {
  Plan plan;
  for (const std::uint64_t page : m_image.written.Pages()) {
    const auto& slot = *m_image.written.Find(page);
    const unsigned char* const bytes = slot.bytes.get();
    if (page != 0 && bytes != nullptr && !slot.HasFrame() && MayBypass(page))
      plan.fresh.push_back(page);
    else if (page != 0 && bytes != nullptr)
      plan.framed.push_back({page, bytes});
  }
  if (!PlaceFresh(plan))
    return false;
  for (const std::uint64_t page : plan.fresh)
    m_image.written.Drop(page);
  return plan.framed.empty() || SpillFrames(plan.framed);
}

// The file says before the record does that pages of the update are in it alone, so that an older copy of the
// file does not fit.
bool vfd_Store::AnnounceDirect() {
  vfd_Mark& mark = m_files.main.Mark();
  const std::uint64_t before = std::exchange(mark.direct, m_sequence + 1);
  if (!mark.hasJournal || m_files.main.WriteMark())
    return true;
  mark.direct = before;
  return false;
}

// A sync that failed may have lost what it was to write, so it is never tried again.
bool vfd_Store::SyncDirect() {
  if (!m_options.Power() || !m_directDirty || vfd_Broken(vfd_Rule::kDirectSync) || SyncMain()) {
    m_directDirty = false;
    return true;
  }
  return false;
}

bool vfd_Store::SyncMain() {
  return m_files.main.Sync() || Poison();
}

bool vfd_Store::SyncDirectory() {
  return !m_options.Power() || vfd_Broken(vfd_Rule::kDirectorySync) || m_files.place.Sync() ||
         (vfd_Fail("sync the directory"), Poison());
}

// What lies there under the journal's name belongs to a file that is gone or has another name now: perhaps
// all that is left of it. One without a commit may get some from a writer at work. \param lost becomes its
// new name.
bool vfd_Store::SetAsideJournal(std::string& lost) {
  const vfd_Place& place = m_files.place;
  const std::string name = place.JournalName();
  struct stat status;
  if (!place.Status(name, status))
    return true;
  vfd_JournalContent content;
  const vfd_Descriptor journal = place.Open(name, O_RDONLY);
  if (!journal.IsOpen() || !content.Read(journal.Get()))
    return vfd_Fail("read an old journal");
  if (content.state == vfd_JournalContent::State::kNoHeader)
    return vfd_Refuse("a file " + name + " that is no journal is in the way");
  if (content.state == vfd_JournalContent::State::kEmpty)
    return place.Remove(name, vfd_FileIdentity::Of(status)) || vfd_Fail("remove an old journal");
  const vfd_Header& header = content.header;
  if (!place.SetJournalAside(header.generation != 0 ? header.generation : header.salt, lost))
    return vfd_Fail("set an old journal aside");
  m_note = "note: a journal of another file was in the way; it is kept as " + lost;
  return true;
}

// Another process may have given the name, and a journal, to a file of its own since.
bool vfd_Store::TakeName() {
  const vfd_Place& place = m_files.place;
  const auto fail = [] { return vfd_Fail("give the file its name"); };
  vfd_FileIdentity old;
  struct stat status;
  const bool replaces =
      m_replaced.IsOpen() && vfd_FileIdentity::Of(m_replaced.Get(), old) && place.Is(place.Name(), old);
  if (!replaces && place.Status(place.Name(), status)) {
    errno = EEXIST;
    return fail();
  }
  std::string lost;
  if (!SetAsideJournal(lost) || (!m_note.empty() && !SyncDirectory()))
    return false;
  if (!place.Rename(m_temporary, place.Name(), !replaces)) {
    fail();
    if (!lost.empty() && place.Rename(lost, place.JournalName(), true))
      m_note.clear();
    return false;
  }
  m_temporary.clear();
  return true;
}

bool vfd_Store::CommitFirst() {
  CutWritten();
  // The mark stays where HDF5 has left room for it.
  const auto read = [&](std::uint64_t address, std::size_t count, void* bytes) {
    return Read(address, count, bytes);
  };
  m_superblock = vfd_Superblock::Read(m_eof, read).start;
  vfd_Mark& mark = m_files.main.Mark();
  mark.present = m_superblock >= kVfdMark;
  if (mark.present && mark.fileId == vfd_FileId{}) {
    const std::uint64_t numbers[2] = {vfd_Random(), vfd_Random()};
    std::memcpy(mark.fileId.data(), numbers, mark.fileId.size());
  }
  Plan plan;
  plan.fresh = m_image.written.Pages();
  if (!PlaceFresh(plan))
    return false;
  if (m_files.main.Size() > m_eof && !m_files.main.SetSize(m_eof))
    return false;
  // Whatever was promised for this file: the one that it replaces was on the disk.
  m_directDirty = true;
  if (!(m_options.Power() ? SyncDirect() : !m_replaced.IsOpen() || SyncMain()))
    return false;
  if (!TakeName())
    return false;
  m_replaced.Close();
  const bool synced = SyncDirectory();
  mark.isNew = false;
  m_files.main.WriteMark(); // the file has its name whatever its mark says
  m_committedEnd = m_eof;
  m_floor = vfd_PagesOf(m_eof);
  m_image.written.Clear();
  m_directDirty = false;
  ++m_sequence;
  vfd_Locks::MarkWriter(m_files.main.Get());
  return synced;
}

bool vfd_Store::CommitUpdate() {
  CutWritten();
  StripOpenMark();
  // HDF5 likes to write the same again: a file in which nothing was changed needs no journal.
  if (m_files.journal.HeaderState() == vfd_Journal::Header::kNone && m_image.written.InMemory() <= kFewPages)
    m_image.DropUnchanged();
  if (m_options.Scratch() || (m_image.written.Empty() && m_eof == m_committedEnd && !m_directDirty))
    return true;
  Plan plan = MakePlan();
  m_image.unapplied.Reserve(plan.entries.size());
  if (!PlaceFresh(plan) || !ReserveHoles(plan))
    return false;
  if (vfd_Broken(vfd_Rule::kJournalFirst))
    for (const vfd_NewPage& page : plan.framed)
      m_files.main.Write(page.number * kVfdPage, kVfdPage, page.bytes);
  const bool direct = m_directDirty;
  if (!BeginGeneration() || (direct && !AnnounceDirect()) || !SyncDirect() || !AppendRecord(plan, direct))
    return false;
  HasCommitted(plan);
  return true;
}

vfd_Store::Plan vfd_Store::MakePlan() {
  Plan plan;
  const auto pages = m_image.written.Pages();
  const auto beyond = static_cast<std::size_t>(
      std::count_if(pages.begin(), pages.end(), [&](std::uint64_t page) { return MayBypass(page); }));
  // With few new pages frames are cheaper than one more sync.
  const bool bypass = !m_options.Power() || beyond >= kManyFresh || m_directDirty;
  plan.entries.reserve(pages.size());
  for (const std::uint64_t page : pages) {
    const auto& slot = *m_image.written.Find(page);
    if (slot.bytes != nullptr && !slot.HasFrame() && bypass && MayBypass(page)) {
      plan.fresh.push_back(page);
      continue;
    }
    if (slot.bytes != nullptr) {
      plan.unplaced.push_back(plan.entries.size());
      plan.framed.push_back({page, slot.bytes.get()});
    }
    plan.entries.push_back({page, slot.frame});
  }
  return plan;
}

// The frames of pages behind the new end stay in the journal, and would come back with the space.
void vfd_Store::NoteDropped() {
  m_mayReuse = m_mayReuse && vfd_Try(false, [&] {
                 for (const auto& entry : m_image.unapplied.All())
                   if (entry.page >= vfd_PagesOf(m_eof))
                     m_dropped.push_back(entry.page);
                 std::sort(m_dropped.begin(), m_dropped.end());
                 return true;
               });
}

// What was free at the commit point before is of use after one that HDF5 makes as it closes the file, as far
// as it has not used it; after others HDF5 says what is.
void vfd_Store::NoteFree(const Plan& plan) {
  const bool closing = m_closing == Closing::kKeep;
  const bool known = vfd_Try(false, [&] {
    const auto take = [&](std::uint64_t page) { m_free.Remove({page * kVfdPage, (page + 1) * kVfdPage}); };
    for (std::size_t i = 0; closing && i < plan.entries.size(); ++i)
      take(plan.entries[i].page);
    for (std::size_t i = 0; closing && i < plan.fresh.size(); ++i)
      take(plan.fresh[i]);
    if (!vfd_Broken(vfd_Rule::kSpare))
      m_spare = m_spareNow;
    return true;
  });
  if (!closing || !known)
    m_free.Clear();
  if (!known) {
    m_spare.Clear();
    m_spareNow.Clear();
  }
}

// The commit point has been passed: from here on nothing makes it undone.
void vfd_Store::HasCommitted(Plan& plan) {
  m_image.unapplied.Merge(plan.entries);
  if (m_eof < m_committedEnd) {
    NoteDropped();
    m_image.unapplied.DropFrom(vfd_PagesOf(m_eof));
    m_image.recent.DropFrom(vfd_PagesOf(m_eof));
  }
  m_committedEnd = m_eof;
  NoteFree(plan);
  m_announced = false;
  m_reuse = Reuse::kUnknown;
  const bool keepFloor = !vfd_Broken(vfd_Rule::kFloor);
  const std::uint64_t framed = plan.entries.empty() || !keepFloor ? 0 : plan.entries.back().page + 1;
  m_floor = std::max({keepFloor ? m_floor : 0, vfd_PagesOf(m_committedEnd), framed});
  const bool kept = vfd_Try(false, [&] {
    if ((m_files.journal.End() < m_nextTry && !std::exchange(m_endsSoon, false)) || !EndGeneration())
      m_image.KeepRecent(plan.entries);
    return true;
  });
  if (!kept)
    m_image.recent.Clear(); // the journal has all of it
  m_image.written.Clear();
  m_spillAt = SpillLimit();
}

// The frames of the pages that are still in memory, and the record that makes all of them count.
bool vfd_Store::AppendRecord(Plan& plan, bool direct) {
  vfd_Journal& journal = m_files.journal;
  std::vector<vfd_FrameRef> frames;
  if (!journal.Append(plan.framed, m_eof, m_sequence + 1, direct, frames)) {
    TakeBack();
    return false;
  }
  for (std::size_t i = 0; i < frames.size(); ++i)
    plan.entries[plan.unplaced[i]].frame = frames[i];
  if (m_options.Power())
    journal.WriteAhead();
  if (m_options.Power() && !vfd_Broken(vfd_Rule::kCommitSync) && !journal.Sync()) {
    Poison();
    // A live reader may have seen the record; then it stays, and the next opening says whether it counts.
    const auto readers = vfd_Locks::TryReaders(m_files.main.Get());
    if (readers == vfd_Locks::Result::kTaken || readers == vfd_Locks::Result::kUnsupported) {
      TakeBack();
      vfd_Locks::ReleaseReaders(m_files.main.Get());
    }
    return false;
  }
  journal.Accept();
  ++m_sequence;
  // The commit stands, whatever the mark says: an older journal is told by it.
  if (m_files.main.Mark().hasJournal)
    m_files.main.StateReached(m_sequence);
  return true;
}

// A record of which nobody knows how much arrived must not come to life later.
void vfd_Store::TakeBack() {
  const vfd_Cause cause = vfd_LastCause();
  if (!m_files.journal.Cut(m_files.journal.OpenEnd()) && m_poison.Empty()) {
    vfd_Fail("take an unfinished commit back");
    Poison();
  }
  vfd_LastCause() = cause;
}

// While a file of HDF5's newest format is open for writing its superblock says so, and a file whose writer
// died would be refused. Our own lock says it better.
void vfd_Store::StripOpenMark() {
  const auto* const slot = m_image.written.Find(m_superblock / kVfdPage);
  if (slot != nullptr && slot->bytes != nullptr)
    vfd_Superblock::StripOpenMark(slot->bytes.get() + m_superblock % kVfdPage,
                                  kVfdPage - m_superblock % kVfdPage);
}
