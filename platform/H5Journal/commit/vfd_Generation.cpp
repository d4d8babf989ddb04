// The life of a journal: generations begin, are written anew beside live readers, and end.

#include <H5Journal/commit/vfd_Store.h>

#include <H5Journal/files/vfd_Rules.h>
#include <H5Journal/journal/vfd_PageRun.h>
#include <H5Journal/opening/vfd_Locks.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <utility>

namespace {
constexpr std::uint64_t kLongJournal = 64;                        // times the limit: its file is cut as well
constexpr std::uint64_t kWorthKeeping = std::uint64_t{256} << 10; // bytes of spare space
constexpr std::uint64_t kMostSpare = std::uint64_t{1} << 48;      // the mark has six bytes for an address
constexpr std::uint64_t kTriesALimit = 16; // looks for readers while the journal grows by its limit
} // namespace

// Starts a generation where none is open. Its header is on the disk before the file names it, and the file
// names it before any frame can be.
bool vfd_Store::BeginGeneration() {
  vfd_Journal& journal = m_files.journal;
  // What is committed into a file without a name is lost with the process.
  if (journal.HeaderState() != vfd_Journal::Header::kNone && journal.IsKnownRemoved())
    return vfd_Refuse("its journal has been removed: close the file, which keeps what was committed");
  if (journal.HeaderState() == vfd_Journal::Header::kDurable)
    return true;
  const bool fresh = journal.HeaderState() == vfd_Journal::Header::kNone;
  if (fresh) {
    // What former sessions committed is the ground on which this generation stands.
    struct stat status;
    if (m_options.Power() && !SyncMain())
      return false;
    if (!m_files.place.Is(m_files.place.Name(), Identity()) || ::fstat(m_files.main.Get(), &status) != 0)
      return vfd_Refuse("the file has been moved or removed since it was opened");
    if (!journal.Make(m_files.place, m_files.place.JournalName(), status))
      return false;
    m_newJournal = true;
    if (!StartGeneration()) {
      const vfd_Cause cause = vfd_LastCause();
      journal.Remove(m_files.place);
      vfd_LastCause() = cause;
      return false;
    }
  }
  if (m_options.Power() && !vfd_Broken(vfd_Rule::kHeaderSync) && !journal.Sync())
    return Poison();
  if ((m_newJournal && !SyncDirectory()) || !NameGeneration())
    return false;
  m_newJournal = false;
  journal.HeaderIsDurable();
  return true;
}

// From here on the file is nothing without its journal, and says so.
bool vfd_Store::NameGeneration() {
  vfd_Mark& mark = m_files.main.Mark();
  if (!mark.present || vfd_Broken(vfd_Rule::kMarkFirst))
    return true;
  const vfd_Mark before = mark;
  if (mark.hasJournal)
    mark.finished = mark.current;
  else
    m_unnamed = mark, m_unnamedAt = m_sequence;
  mark.hasJournal = true;
  mark.current = m_files.journal.Generation();
  mark.direct = m_directDirty ? m_sequence + 1 : 0;
  mark.reached = m_sequence;
  mark.spare = {};
  mark.writer = vfd_Writer::Self();
  mark.journalName = m_files.place.JournalName();
  if (!m_files.main.WriteMark()) {
    mark = before;
    return false;
  }
  if (!m_options.Power() || vfd_Broken(vfd_Rule::kMarkSync))
    return true;
  if (!SyncMain())
    return false;
  m_directDirty = m_directDirty && vfd_Broken(vfd_Rule::kDirectSync);
  return true;
}

// All of the generation that the file names is in it: it is whole without a journal.
bool vfd_Store::CloseMark() {
  vfd_Mark& mark = m_files.main.Mark();
  if (!mark.present || !mark.hasJournal)
    return true;
  if (m_unnamed.present && m_sequence == m_unnamedAt) { // nothing was committed: as if it had not been opened
    mark = m_unnamed;
  } else {
    mark.finished = std::exchange(mark.current, 0);
    mark.hasJournal = false;
    mark.writer = {};
    mark.journalName.clear();
    NoteSpare();
  }
  return m_files.main.WriteMark();
}

// The largest pieces of what the last commit point leaves free, for the sessions to come.
void vfd_Store::NoteSpare() {
  auto& spare = m_files.main.Mark().spare;
  spare = {};
  for (const vfd_FreeSpace* const space : {&m_free, &m_spare})
    for (const vfd_FreeSpace::Range& range : space->Ranges()) {
      const auto least = std::min_element(spare.begin(), spare.end(),
                                          [](vfd_Spare a, vfd_Spare b) { return a.bytes < b.bytes; });
      const std::uint64_t end = std::min(range.end, m_committedEnd);
      if (range.first < end && end - range.first >= std::max(kWorthKeeping, least->bytes + 1) &&
          end < kMostSpare)
        *least = {range.first, end - range.first};
    }
}

vfd_Header vfd_Store::NewHeader() const {
  const vfd_Mark& mark = m_files.main.Mark();
  vfd_Header header;
  header.base = m_committedEnd;
  header.sectorAt = m_superblock <= kVfdPage - kVfdMark ? m_superblock : 0;
  header.previous = mark.present ? mark.current : 0;
  header.fileId = mark.present ? mark.fileId : m_fileId;
  header.sequence = m_sequence;
  header.writer = vfd_Writer::Self();
  return header;
}

bool vfd_Store::StartGeneration() {
  return vfd_Try(false, [&] {
    vfd_Header header = NewHeader();
    if (!vfd_ReadSectorSum(m_files.main.Get(), header.sectorAt, header.sector))
      return vfd_Fail("read");
    if (!m_files.journal.Start(header))
      return false;
    m_nextTry = m_options.journalLimit;
    m_mayReuse = true;
    m_dropped.clear();
    return true;
  });
}

// Live readers look at the main file as it was, so what is committed stays in the journal while they do.
// \return false when it does.
bool vfd_Store::EndGeneration() {
  vfd_Journal& journal = m_files.journal;
  m_nextTry = journal.End() + m_options.journalLimit / kTriesALimit;
  const auto readers = vfd_Locks::TryReaders(m_files.main.Get());
  if (readers == vfd_Locks::Result::kTaken || readers == vfd_Locks::Result::kUnsupported)
    return Apply();
  // Half of what is written again must be gained, or more.
  if (journal.End() >= m_options.journalLimit + 2 * m_image.unapplied.All().size() * kVfdFrame)
    Shorten();
  return false;
}

// Puts a journal with the newest frame of each page in the place of this one, so that it does not grow for as
// long as somebody reads. It is the same generation. Readers that have the old one open keep it, without its
// name, until they let go. When this fails the old one is gone on with.
void vfd_Store::Shorten() {
  const vfd_Place& place = m_files.place;
  vfd_Journal next;
  vfd_PageIndex index;
  const bool done = vfd_Try(false, [&] {
    return place.Is(place.JournalName(), m_files.journal.Identity()) && WriteShortened(next, index) &&
           place.Rename(place.NextName(), place.JournalName(), false);
  });
  if (!done) {
    if (next.IsOpen())
      vfd_Try(false, [&] { return place.Remove(place.NextName(), next.Identity()); });
    m_nextTry = m_files.journal.End() + m_options.journalLimit;
    vfd_LastCause().Clear(); // nobody is told
    return;
  }
  m_files.journal = std::move(next);
  m_files.journal.HeaderIsDurable();
  m_image.unapplied = std::move(index);
  m_nextTry = m_files.journal.End() + m_options.journalLimit;
  SyncDirectory(); // should the name be the old journal's again, the next commits would be lost
}

// All that is committed and not in the main file, as one commit of that number.
bool vfd_Store::WriteShortened(vfd_Journal& journal, vfd_PageIndex& index) {
  // The header tells a file without a mark by its first sector, which a copying that failed may have written
  // without a sync.
  struct stat status;
  vfd_Header header = NewHeader();
  header.generation = m_files.journal.Generation();
  header.sequence = m_sequence - 1;
  header.whole = true;
  header.direct = m_files.main.Mark().direct;
  if ((m_options.Power() && !SyncMain()) || ::fstat(m_files.main.Get(), &status) != 0 ||
      !vfd_ReadSectorSum(m_files.main.Get(), header.sectorAt, header.sector) ||
      !journal.Make(m_files.place, m_files.place.NextName(), status) || !journal.Start(header))
    return false;
  vfd_PageIndex::Entries entries;
  std::vector<unsigned char> bytes(kVfdFramesAtOnce * kVfdPage);
  std::vector<vfd_NewPage> pages;
  std::vector<vfd_FrameRef> frames;
  const auto flush = [&] {
    if (!journal.Spill(pages, frames))
      return false;
    for (std::size_t i = 0; i < pages.size(); ++i)
      entries.push_back({pages[i].number, frames[i]});
    pages.clear();
    return true;
  };
  const bool copied = m_image.ForEachUnapplied([&](std::uint64_t page, const unsigned char* content) {
    unsigned char* const target = bytes.data() + pages.size() * kVfdPage;
    std::memcpy(target, content, kVfdPage);
    pages.push_back({page, target});
    return pages.size() < kVfdFramesAtOnce || flush();
  });
  if (!copied || !flush() || !journal.Append({}, m_committedEnd, m_sequence, false, frames))
    return false;
  journal.Accept();
  index.Reserve(entries.size());
  index.Merge(entries);
  return !m_options.Power() || vfd_Broken(vfd_Rule::kHeaderSync) || journal.Sync();
}

// Brings committed pages into the main file and ends the generation. What fails is tried again at a later
// commit point; until then they are read from the journal.
bool vfd_Store::Apply() {
  const bool done = vfd_Try(false, [&] { return ApplyPages() && Checkpoint(); });
  vfd_Locks::ReleaseReaders(m_files.main.Get());
  return done;
}

bool vfd_Store::ApplyPages() {
  vfd_PageRun run(m_files.main, m_committedEnd);
  const bool copied = m_image.ForEachUnapplied(
      [&](std::uint64_t page, const unsigned char* bytes) { return run.Put(page, bytes); });
  if (!copied || !run.Flush())
    return false;
  // It may be shorter, too, where a loss of power took an extension without content.
  return m_files.main.Size() == m_committedEnd || m_files.main.SetSize(m_committedEnd);
}

// Ends a generation: all of it is in the main file, and once that is on the disk the next one may begin. The
// new header is written at once, so that no reader finds frames here that are about to be overwritten.
bool vfd_Store::Checkpoint() {
  // The file says that it lacks nothing of the generation: an older copy of it must not meet the next header.
  vfd_Mark& mark = m_files.main.Mark();
  const std::uint64_t before = std::exchange(mark.finished, mark.hasJournal ? mark.current : mark.finished);
  if (!m_files.main.WriteMark()) {
    mark.finished = before;
    return false;
  }
  if (m_options.Power() && !vfd_Broken(vfd_Rule::kCheckpointSync) && !SyncMain())
    return false;
  // As long as the old header stands its frames count.
  if (!StartGeneration() && !(CloseMark() && m_files.journal.Remove(m_files.place)))
    Poison();
  m_image.HasApplied();
  m_floor = vfd_PagesOf(m_committedEnd);
  CutLongJournal();
  return true;
}

// Gives room on the disk back that an unusually large update has taken. As long as the disk may have the
// header of the generation before, its records stay.
void vfd_Store::CutLongJournal() {
  vfd_Journal& journal = m_files.journal;
  if (!journal.IsOpen() || journal.FileBytes() < kLongJournal * m_options.journalLimit || !m_poison.Empty() ||
      m_options.readOnly || NeedsRecovery() || Forked())
    return;
  const bool durable = !m_options.Power() || journal.HeaderState() == vfd_Journal::Header::kDurable;
  if (durable || journal.Sync() || Poison())
    journal.Cut(journal.End());
}

bool vfd_Store::Finish() {
  bool whole = true;
  if (m_files.main.IsOpen() && !Forked() && !NeedsRecovery()) {
    if (IsNew())
      vfd_Try(false, [&] { return m_files.place.Remove(m_temporary, Identity()); });
    else if (!m_options.readOnly)
      whole = m_poison.Empty() ? BringHome() : vfd_Refuse(m_poison.Text());
  }
  Abandon();
  return whole;
}

// For the readers' sake the journal stays, with all commits in it. One that somebody has removed is made
// anew.
bool vfd_Store::LeaveJournal() {
  const vfd_Place& place = m_files.place;
  vfd_Journal next;
  vfd_PageIndex index;
  if (!m_files.journal.IsRemoved())
    return true;
  if (m_image.unapplied.All().empty() ? !CloseMark() : !WriteShortened(next, index))
    return false;
  if (next.IsOpen() && !place.Rename(place.NextName(), place.JournalName(), true))
    return vfd_Fail("make its removed journal anew");
  return !m_options.Power() || (m_files.main.Sync() && place.Sync());
}

bool vfd_Store::BringHome() {
  Discard();
  vfd_Journal& journal = m_files.journal;
  if (m_options.Scratch() || !journal.IsOpen())
    return true;
  const auto readers = vfd_Locks::TryReaders(m_files.main.Get());
  if (readers == vfd_Locks::Result::kHeld)
    return vfd_Try(false, [&] { return LeaveJournal(); });
  if (readers == vfd_Locks::Result::kFailed)
    return vfd_Fail("lock the file");
  return vfd_Try(false, [&] {
    const bool sync = m_options.Power() && !vfd_Broken(vfd_Rule::kCheckpointSync);
    const bool markSync = m_options.Power() && !vfd_Broken(vfd_Rule::kMarkSync);
    if (!ApplyPages() || (sync && !m_files.main.Sync()))
      return false;
    m_image.HasApplied();
    // A journal that stayed or came back would meet a file that others have changed since.
    return CloseMark() && (!markSync || m_files.main.Sync()) && journal.Remove(m_files.place) &&
           (!sync || m_files.place.Sync());
  });
}

void vfd_Store::Abandon() {
  m_files.journal.Close();
  m_replaced.Close();
  m_files.main.Close();
}
