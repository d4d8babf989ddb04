#include <UTI_ORXSimDynamicAPI/vfd_Store.h>

#include <UTI_ORXSimDynamicAPI/hdf_Superblock.h>
#include <UTI_ORXSimDynamicAPI/vfd_Locks.h>
#include <UTI_ORXSimDynamicAPI/vfd_Rules.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace {
constexpr std::uint64_t kJournalLimit = std::uint64_t{4} << 20; // a longer journal ends its generation
constexpr std::uint64_t kLongJournal = 16;                      // times the limit: its file is cut as well
constexpr std::size_t kMostRecent = 2048;                       // committed pages kept in memory
constexpr std::size_t kManyFresh = 64; // new pages for which a sync of the main file is cheaper than frames
constexpr std::uint64_t kFarEnd = std::uint64_t{1} << 20; // beyond the main file
constexpr std::size_t kRunBytes = std::size_t{1} << 20;   // written at once to the main file

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kNone{0}, kShortest{5}, kLongest{500}; // for which new readers wait
constexpr int kWorkAWait = 10; // times as long does a writer work before it lets readers wait again
constexpr std::uint64_t kTriesALimit = 16; // looks for readers while the journal grows by its limit

std::uint64_t journalLimit() {
  return vfd_Limit("PDM_TEST_JOURNAL_LIMIT", kJournalLimit);
}
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
    m_cause = m_poison.empty() ? m_broken : m_poison;
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
    m_directDirty =
        m_directDirty || m_eof - m_mainSize >= kFarEnd; // recovery does not believe in it otherwise
    m_mainSize = m_eof;
  }
  m_directDirty = m_directDirty || !plan.fresh.empty();
  return WritePages(plan.fresh, [&](std::uint64_t page, unsigned char* target) {
    std::memcpy(target, m_overlay.Find(page)->bytes.get(), kVfdPage);
    return true;
  });
}

// Gives memory back in the middle of a large update. What fails is kept in memory, and tried again when there
// is twice as much; the first page, which decides whether a journal belongs to its file, always is.
void vfd_Store::Spill() {
  if (m_closing == Closing::kNo && SpillPages())
    m_spillAt = SpillLimit();
  else
    m_spillAt = 2 * m_overlay.InMemory();
}

bool vfd_Store::SpillPages() {
  Plan plan;
  for (const std::uint64_t page : m_overlay.Pages())
    if (page != 0 && m_overlay.Find(page)->bytes != nullptr)
      (MayBypass(page) ? plan.fresh : plan.framed).push_back(page);
  if (!PlaceFresh(plan))
    return false;
  for (const std::uint64_t page : plan.fresh)
    m_overlay.Drop(page);
  if (plan.framed.empty())
    return true;
  if (!BeginGeneration())
    return false;
  std::uint64_t end = m_openEnd, chain = m_openChain;
  if (!AppendFrames(plan.framed, end, chain))
    return false;
  for (std::size_t i = 0; i < plan.framed.size(); ++i)
    m_overlay.Spilled(plan.framed[i], m_openEnd + i * kVfdFrame);
  m_spilled += plan.framed.size();
  m_openEnd = end;
  m_openChain = chain;
  return true;
}

// A sync that failed may have lost what it was to write, so it is never tried again.
bool vfd_Store::SyncMain() {
  if (Power() && m_directDirty && !vfd_Broken(vfd_Rule::kDirectSync) && !vfd_Sync(m_main.Get()))
    return Poison("sync the file");
  m_directDirty = false;
  return true;
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
  return !Power() || vfd_Broken(vfd_Rule::kDirectorySync) || vfd_SyncDirectoryOf(m_name) ||
         Poison("sync the directory");
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
  m_committedEnd = m_eof;
  m_unapplied.Merge(plan.entries);
  m_unapplied.DropFrom(vfd_PagesOf(m_committedEnd));
  m_recent.DropFrom(vfd_PagesOf(m_committedEnd));
  const bool keepFloor = !vfd_Broken(vfd_Rule::kFloor);
  const std::uint64_t framed = plan.entries.empty() || !keepFloor ? 0 : plan.entries.back().page + 1;
  m_floor = std::max({keepFloor ? m_floor : 0, vfd_PagesOf(m_committedEnd), framed});
  if (!LockReaders() || !Apply())
    KeepRecent(plan);
  m_overlay.Clear();
  m_spillAt = SpillLimit();
}

// Starts a generation where none is open; its header is on the disk before any frame can be.
bool vfd_Store::BeginGeneration() {
  if (m_header == HeaderState::kNone) {
    // What former sessions committed is the ground on which this generation stands.
    if (Power() && !vfd_Sync(m_main.Get()))
      return Poison("sync the file");
    struct stat status;
    vfd_FileIdentity named;
    if (::fstat(m_main.Get(), &status) != 0)
      return Fail("look at the file");
    if (!vfd_FileIdentity::Of(m_name, named) || named != m_identity) {
      errno = ENOENT;
      return Fail("the file has been moved or removed since it was opened");
    }
    const std::string name = JournalName(m_name);
    m_journal = vfd_Descriptor(
        ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, status.st_mode & 0777));
    if (!m_journal.IsOpen())
      return Fail("make the journal");
    ::fchmod(m_journal.Get(), status.st_mode & 0777); // whoever may write the file may recover it
    m_newJournal = true;
    if (!WriteHeader()) {
      RemoveJournal();
      return false;
    }
  }
  if (m_header == HeaderState::kWritten && Power()) {
    if (!vfd_Broken(vfd_Rule::kHeaderSync) && !vfd_Sync(m_journal.Get()))
      return Poison("sync the journal");
    if (m_newJournal && !vfd_Broken(vfd_Rule::kDirectorySync) && !vfd_SyncDirectoryOf(m_name))
      return Poison("sync the directory");
  }
  m_newJournal = false;
  m_header = HeaderState::kDurable;
  return true;
}

bool vfd_Store::WriteHeader() {
  unsigned char sector[512];
  if (!vfd_ReadPadded(m_main.Get(), sector, sizeof sector, 0))
    return Fail("read");
  vfd_Header header;
  header.salt = vfd_Random();
  header.base = m_committedEnd;
  header.firstSector = vfd_SectorSum(sector);
  header.sequence = m_sequence;
  header.fileId = m_fileId;
  header.process = static_cast<std::uint64_t>(m_owner);
  header.host = vfd_Locks::HostName();
  unsigned char bytes[kVfdHeader];
  header.Encode(bytes);
  if (!vfd_WriteAt(m_journal.Get(), bytes, sizeof bytes, 0))
    return Fail("write the journal");
  m_header = HeaderState::kWritten;
  m_journalEnd = m_openEnd = kVfdHeader;
  m_chain = m_openChain = header.salt;
  m_nextTry = journalLimit();
  m_patience = kNone;
  return true;
}

// The frames of the pages that are still in memory, and the record that makes all of them count.
bool vfd_Store::AppendRecord(const Plan& plan) {
  std::uint64_t end = m_openEnd, chain = m_openChain;
  std::vector<unsigned char> records;
  const std::size_t last =
      std::min<std::size_t>(plan.framed.size(), 64); // go in one call with the commit record
  const std::vector<std::uint64_t> before(plan.framed.begin(),
                                          plan.framed.end() - static_cast<std::ptrdiff_t>(last));
  bool written = AppendFrames(before, end, chain);
  records.resize(last * kVfdFrame + kVfdCommit);
  for (std::size_t i = 0; i < last; ++i) {
    const std::uint64_t page = plan.framed[before.size() + i];
    vfd_PutFrame(records.data() + i * kVfdFrame, page, m_overlay.Find(page)->bytes.get(), chain);
  }
  vfd_PutCommit(records.data() + last * kVfdFrame, static_cast<std::uint32_t>(m_spilled + plan.framed.size()),
                m_eof, m_sequence + 1, chain);
  written = written &&
            (vfd_WriteAt(m_journal.Get(), records.data(), records.size(), end) || Fail("write the journal"));
  if (!written) {
    TakeBack(m_openEnd);
    return false;
  }
  if (Power() && !vfd_Broken(vfd_Rule::kCommitSync) && !vfd_Sync(m_journal.Get())) {
    Poison("sync the journal");
    // A live reader may have seen the record; then it stays, and the next opening says whether it counts.
    if (vfd_Locks::TryReaders(m_main.Get()) != vfd_Locks::Result::kHeld) {
      TakeBack(m_openEnd);
      vfd_Locks::ReleaseReaders(m_main.Get());
    }
    return false;
  }
  m_journalEnd = m_openEnd = end + records.size();
  m_chain = m_openChain = chain;
  m_spilled = 0;
  ++m_sequence;
  return true;
}

// A record of which nobody knows how much arrived must not come to life later.
void vfd_Store::TakeBack(std::uint64_t end) {
  std::string cause;
  cause.swap(m_cause);
  if (!vfd_SetSize(m_journal.Get(), end) && m_poison.empty())
    Poison("take an unfinished commit back");
  m_cause.swap(cause);
}

// Live readers look at the main file as it was, so what is committed stays in the journal while they do.
// Readers that come and go without a gap would keep it there for ever: now and then new ones wait for a
// moment, for longer when that was not enough, so that the writer waits for at most a tenth of its time.
bool vfd_Store::LockReaders() {
  if (m_journalEnd < m_nextTry)
    return false;
  m_nextTry = m_journalEnd + journalLimit() / kTriesALimit;
  const auto free = [this] { return vfd_Locks::TryReaders(m_main.Get()) != vfd_Locks::Result::kHeld; };
  if (free())
    return true;
  const auto now = Clock::now();
  if (m_patience == kNone)
    m_turn = now + kWorkAWait * (m_patience = kShortest);
  if (now < m_turn || !vfd_Locks::CloseTurnstile(m_main.Get()))
    return false;
  bool got = false;
  while (!got && Clock::now() - now < m_patience) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    got = free();
  }
  vfd_Locks::OpenTurnstile(m_main.Get());
  m_patience = std::min(2 * m_patience, kLongest);
  m_turn = Clock::now() + kWorkAWait * m_patience;
  return got;
}

// Copying every commit into the main file at once would double its cost; as long as the generation lasts its
// pages are read from here, and those that change again and again are copied once.
void vfd_Store::KeepRecent(const Plan& plan) {
  try {
    for (const auto& entry : plan.entries)
      if (m_overlay.Find(entry.page)->bytes != nullptr && m_recent.InMemory() < kMostRecent)
        m_recent.Put(entry.page, m_overlay.TakeOut(entry.page));
      else
        m_recent.Drop(entry.page); // only the journal has the newest
  } catch (const std::bad_alloc&) {
    m_recent.Clear();
  }
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

bool vfd_Store::ApplyPages() {
  std::vector<std::uint64_t> pages;
  pages.reserve(m_unapplied.All().size());
  for (const auto& entry : m_unapplied.All())
    pages.push_back(entry.page);
  if (!WritePages(pages, [&](std::uint64_t page, unsigned char* target) { return ReadPage(page, target); }))
    return false;
  if (m_mainSize > m_committedEnd && !vfd_SetSize(m_main.Get(), m_committedEnd))
    return Fail("set the file's size");
  m_mainSize = std::min(m_mainSize, m_committedEnd);
  return true;
}

// The main file is whole without the journal.
void vfd_Store::HasApplied() {
  m_unapplied.Clear();
  m_recent.Clear();
}

// Ends a generation: all of it is in the main file, and once that is on the disk the next one may begin. The
// new header is written at once, so that no reader finds frames here that are about to be overwritten.
bool vfd_Store::Checkpoint() {
  if (Power() && !vfd_Broken(vfd_Rule::kCheckpointSync) && !vfd_Sync(m_main.Get()))
    return Poison("sync the file");
  HasApplied();
  const bool cut = m_journalEnd >= kLongJournal * journalLimit();
  m_floor = vfd_PagesOf(m_committedEnd);
  if (!WriteHeader())
    RemoveJournal();
  else if (cut)
    vfd_SetSize(m_journal.Get(), kVfdHeader);
  return true;
}

// Only when the main file is whole without it.
void vfd_Store::RemoveJournal() {
  vfd_Remove(JournalName(m_name));
  m_journal.Close();
  m_header = HeaderState::kNone;
  m_journalEnd = m_openEnd = kVfdHeader;
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
    if (m_journal.IsOpen())
      RemoveJournal();
    if (sync) // a journal that came back would meet a file that others have changed since
      vfd_SyncDirectoryOf(m_name);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void vfd_Store::Abandon() {
  m_journal.Close();
  m_replaced.Close();
  m_main.Close();
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
