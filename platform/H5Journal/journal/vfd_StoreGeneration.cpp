#include <H5Journal/commit/vfd_Store.h>

#include <H5Journal/files/vfd_Rules.h>
#include <H5Journal/journal/vfd_Appender.h>
#include <H5Journal/opening/vfd_Locks.h>

#include <cerrno>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>

namespace {
constexpr std::uint64_t kJournalLimit = std::uint64_t{4} << 20; // a longer journal ends its generation
constexpr std::uint64_t kLongJournal = 64;                      // times the limit: its file is cut as well
constexpr std::uint64_t kTriesALimit = 16; // looks for readers while the journal grows by its limit

std::uint64_t journalLimit() {
  return vfd_Limit("PDM_TEST_JOURNAL_LIMIT", kJournalLimit);
}
} // namespace

// Starts a generation where none is open; its header is on the disk before any frame can be.
bool vfd_Store::BeginGeneration() {
  if (m_header == HeaderState::kNone) {
    // What former sessions committed is the ground on which this generation stands.
    if (Power() && !SyncMainFile())
      return false;
    m_journal = MakeJournal(JournalName(m_name));
    if (!m_journal.IsOpen())
      return false;
    m_newJournal = true;
    if (!StartGeneration()) {
      RemoveJournal();
      return false;
    }
  }
  if (m_header == HeaderState::kWritten && Power()) {
    if (!vfd_Broken(vfd_Rule::kHeaderSync) && !vfd_Sync(m_journal.Get()))
      return Poison("sync the journal");
    if (m_newJournal && !SyncDirectory())
      return false;
  }
  m_newJournal = false;
  m_header = HeaderState::kDurable;
  return true;
}

// Not open when that failed.
vfd_Descriptor vfd_Store::MakeJournal(const std::string& name) {
  struct stat status;
  vfd_FileIdentity named;
  vfd_Descriptor journal;
  if (::fstat(m_main.Get(), &status) != 0) {
    Fail("look at the file");
  } else if (!vfd_FileIdentity::Of(m_name, named) || named != m_identity) {
    errno = ENOENT;
    Fail("the file has been moved or removed since it was opened");
  } else if (!vfd_Remove(name)) { // one that could not be removed in time counts for nothing
    Fail("remove an old journal");
  } else {
    journal = vfd_Descriptor(
        ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, status.st_mode & 0777));
    if (journal.IsOpen())
      ::fchmod(journal.Get(), status.st_mode & 0777); // whoever may write the file may recover it
    else
      Fail("make the journal");
  }
  return journal;
}

// \param sequence of the last commit that is not in the journal.
bool vfd_Store::WriteHeader(int journal, std::uint64_t sequence, std::uint64_t& salt) {
  vfd_Header header;
  if (!vfd_ReadSectorSum(m_main.Get(), header.firstSector))
    return Fail("read");
  header.salt = vfd_Random();
  header.base = m_committedEnd;
  header.sequence = sequence;
  header.fileId = m_fileId;
  header.process = static_cast<std::uint64_t>(m_owner);
  header.host = vfd_Locks::HostName();
  unsigned char bytes[kVfdHeader];
  header.Encode(bytes);
  salt = header.salt;
  return vfd_WriteAt(journal, bytes, sizeof bytes, 0) || Fail("write the journal");
}

bool vfd_Store::StartGeneration() try {
  std::uint64_t salt = 0;
  if (!WriteHeader(m_journal.Get(), m_sequence, salt))
    return false;
  m_header = HeaderState::kWritten;
  m_journalEnd = m_openEnd = kVfdHeader;
  m_chain = m_openChain = salt;
  m_nextTry = journalLimit();
  return true;
} catch (const std::bad_alloc&) {
  m_cause = "no memory"; // short enough to need none
  return false;
}

// Live readers look at the main file as it was, so what is committed stays in the journal while they do.
// \return false when it does.
bool vfd_Store::EndGeneration() {
  m_nextTry = m_journalEnd + journalLimit() / kTriesALimit;
  if (vfd_Locks::TryReaders(m_main.Get()) != vfd_Locks::Result::kHeld)
    return Apply();
  // Half of what is written again must be gained, or more.
  if (m_journalEnd >= journalLimit() + 2 * m_unapplied.All().size() * kVfdFrame)
    Shorten();
  return false;
}

// Puts a journal with the newest frame of each page in the place of this one, so that it does not grow for as
// long as somebody reads. Readers that have the old one open keep it, without its name, until they let go.
// When this fails the old one is gone on with.
void vfd_Store::Shorten() {
  const std::string name = JournalName(m_name), nextName = NextName(name);
  vfd_PageIndex index;
  std::uint64_t end = kVfdHeader, chain = 0;
  vfd_Descriptor next;
  bool done = false;
  try {
    done = (next = MakeJournal(nextName)).IsOpen() && WriteShortened(next, index, end, chain) &&
           vfd_Rename(nextName, name, false);
  } catch (const std::bad_alloc&) {
  }
  if (!done) {
    vfd_Remove(nextName);
    m_nextTry = m_journalEnd + journalLimit();
    m_cause.clear(); // nobody is told
    return;
  }
  m_journal = std::move(next);
  m_unapplied = std::move(index);
  m_journalEnd = m_openEnd = end;
  m_chain = m_openChain = chain;
  m_journalSize = end;
  m_nextTry = end + journalLimit();
  SyncDirectory(); // should the name be the old journal's again, the next commits would be lost
}

// All that is committed and not in the main file, as one commit of that number.
bool vfd_Store::WriteShortened(const vfd_Descriptor& journal, vfd_PageIndex& index, std::uint64_t& end,
                               std::uint64_t& chain) {
  // The header tells the main file by its first sector, which a copying that failed may have written without
  // a sync.
  if (Power() && !SyncMainFile())
    return false;
  if (!WriteHeader(journal.Get(), m_sequence - 1, chain))
    return false;
  vfd_PageIndex::Entries entries;
  vfd_Appender records(journal.Get(), end, chain);
  unsigned char bytes[kVfdPage];
  for (const auto& entry : m_unapplied.All()) {
    if (!ReadPage(entry.page, bytes))
      return false;
    if (!records.Put(entry.page, bytes))
      return Fail("write the journal");
    entries.push_back({entry.page, end + entries.size() * kVfdFrame});
  }
  if (!records.Commit(entries.size(), m_committedEnd, m_sequence))
    return Fail("write the journal");
  index.Reserve(entries.size());
  index.Merge(entries);
  end = records.End();
  chain = records.Chain();
  return !Power() || vfd_Broken(vfd_Rule::kHeaderSync) || vfd_Sync(journal.Get()) || Fail("sync the journal");
}

// Brings committed pages into the main file and ends the generation. What fails is tried again at a later
// commit point; until then they are read from the journal.
bool vfd_Store::Apply() {
  bool done = false;
  try {
    done = ApplyPages() && Checkpoint();
  } catch (const std::bad_alloc&) {
    m_cause = "out of memory";
  }
  vfd_Locks::ReleaseReaders(m_main.Get());
  return done;
}

// The main file is whole without the journal.
void vfd_Store::HasApplied() {
  m_unapplied.Clear();
  m_recent.Clear();
}

// Ends a generation: all of it is in the main file, and once that is on the disk the next one may begin. The
// new header is written at once, so that no reader finds frames here that are about to be overwritten.
bool vfd_Store::Checkpoint() {
  if (Power() && !vfd_Broken(vfd_Rule::kCheckpointSync) && !SyncMainFile())
    return false;
  // As long as the old header stands its frames count.
  if (!StartGeneration() && !RemoveJournal())
    Poison("remove the journal");
  HasApplied();
  m_floor = vfd_PagesOf(m_committedEnd);
  CutLongJournal();
  return true;
}

// Gives room on the disk back that an unusually large update has taken.
void vfd_Store::CutLongJournal() {
  if (m_journalSize >= kLongJournal * journalLimit() && m_poison.empty() && !Forked())
    CutJournal(m_journalEnd);
}

bool vfd_Store::CutJournal(std::uint64_t end) {
  const bool done = vfd_SetSize(m_journal.Get(), end);
  if (done)
    m_journalSize = std::min(m_journalSize, end);
  return done;
}

// Only when the main file is whole without it.
bool vfd_Store::RemoveJournal() {
  bool removed = false;
  try {
    removed = vfd_Remove(JournalName(m_name));
  } catch (const std::bad_alloc&) { // its name
  }
  m_journal.Close();
  m_journalSize = 0;
  m_header = HeaderState::kNone;
  m_journalEnd = m_openEnd = kVfdHeader;
  return removed;
}

bool vfd_Store::Finish() {
  bool whole = true;
  if (m_main.IsOpen() && !Forked() && !m_needsRecovery) {
    if (IsNew())
      vfd_Remove(m_temporary);
    else if (!m_options.readOnly)
      whole = m_poison.empty() && BringHome();
  }
  Abandon();
  return whole;
}

bool vfd_Store::BringHome() {
  Discard();
  if (Scratch() || vfd_Locks::TryReaders(m_main.Get()) == vfd_Locks::Result::kHeld)
    return true; // for the readers' sake the journal stays, with all commits in it
  try {
    const bool sync = Power() && m_journal.IsOpen() && !vfd_Broken(vfd_Rule::kCheckpointSync);
    if (!ApplyPages() || (sync && !vfd_Sync(m_main.Get())))
      return false;
    HasApplied();
    // A journal that stayed or came back would meet a file that others have changed since.
    return (!m_journal.IsOpen() || RemoveJournal()) && (!sync || vfd_SyncDirectoryOf(m_name));
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void vfd_Store::Abandon() {
  m_journal.Close();
  m_replaced.Close();
  m_main.Close();
}
