#include <H5Journal/commit/vfd_Store.h>

#include <H5Journal/files/vfd_Rules.h>
#include <H5Journal/opening/vfd_Locks.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace {
using Clock = std::chrono::steady_clock;

constexpr char kTemporaryMark[] = ".new-";
constexpr int kLiveWait = 3000; // milliseconds
std::string errnoText() {
  return std::generic_category().message(errno);
}

// The name without links; "" with errno set when there is no such file.
std::string realName(const std::string& name) {
  const std::unique_ptr<char, void (*)(void*)> real(::realpath(name.c_str(), nullptr), &std::free);
  return real == nullptr ? "" : real.get();
}

// Where a new file of that name belongs; a link that points to nothing yet is followed. "" with errno set
// when there is no such place.
std::string realNameOfNew(std::string name) {
  char target[4096];
  for (int links = 0; links < 40; ++links) {
    const std::size_t slash = name.rfind('/');
    const std::string directory = realName(slash == std::string::npos ? "." : name.substr(0, slash + 1));
    if (directory.empty())
      return "";
    const std::string last = name.substr(slash == std::string::npos ? 0 : slash + 1);
    name = directory + (directory == "/" ? "" : "/") + last;
    const auto length = ::readlink(name.c_str(), target, sizeof target);
    if (length < 0)
      return name;
    const std::string next(target, static_cast<std::size_t>(length));
    name = next.starts_with('/') ? next : directory + "/" + next;
  }
  errno = ELOOP;
  return "";
}

// A file may be replaced between its opening and its locking.
bool stillThere(const std::string& name, int descriptor, vfd_FileIdentity& opened) {
  vfd_FileIdentity named;
  return vfd_FileIdentity::Of(descriptor, opened) && vfd_FileIdentity::Of(name, named) && named == opened;
}

class DirectoryCloser {
 public:
  void operator()(DIR* directory) const { ::closedir(directory); }
};
} // namespace

std::unique_ptr<vfd_Store> vfd_Store::Open(const vfd_Options& options, std::string& cause) {
  std::unique_ptr<vfd_Store> store(new vfd_Store(options));
  if (!store->OpenMain(cause) || !store->FindJournal(cause)) {
    store->Abandon();
    return nullptr;
  }
  if (!options.readOnly) {
    vfd_Locks::MarkWriter(store->m_main.Get());
    vfd_Remove(NextName(JournalName(store->m_name))); // of a writer that died while it made one
  }
  // Without a journal there is nothing that live readers could be shown.
  if (store->Scratch() && vfd_Locks::TryReaders(store->m_main.Get()) == vfd_Locks::Result::kHeld) {
    cause = "live readers have the file open: a writer without a journal (context option 0) would change "
            "what they see";
    store->Abandon();
    return nullptr;
  }
  return store;
}

bool vfd_Store::OpenMain(std::string& cause) {
  // A writer keeps live readers waiting for moments only, so they wait at least for as long.
  const auto deadline = Clock::now() + std::chrono::milliseconds(
                                           std::max(m_options.waitingTime, m_options.live ? kLiveWait : 0));
  for (;;) {
    const int mode = m_options.readOnly ? O_RDONLY : O_RDWR;
    m_main = vfd_Descriptor(::open(m_options.fileName.c_str(), mode | O_CLOEXEC | O_NONBLOCK));
    if (!m_main.IsOpen()) {
      cause = errnoText();
      return false;
    }
    const bool locked = TakeLock(cause);
    if (locked && stillThere(m_options.fileName, m_main.Get(), m_identity))
      break;
    if (!locked && (cause.empty() ? Clock::now() >= deadline : true)) {
      if (cause.empty())
        cause = HeldText();
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(locked ? 0 : 5));
  }
  m_name = realName(m_options.fileName);
  if (!m_name.empty() && vfd_GetSize(m_main.Get(), m_mainSize))
    return true;
  cause = errnoText();
  return false;
}

// False without a cause: another process holds the file.
bool vfd_Store::TakeLock(std::string& cause) {
  const auto result = m_options.live ? vfd_Locks::ShareReaders(m_main.Get())
                                     : vfd_Locks::TakeFile(m_main.Get(), m_options.readOnly);
  cause.clear();
  switch (result) {
  case vfd_Locks::Result::kTaken:
    return true;
  case vfd_Locks::Result::kHeld:
    break;
  case vfd_Locks::Result::kUnsupported:
    // Two writers would destroy the file, and nobody would see that one has died.
    if (!m_options.live && (m_options.readOnly || m_options.durability == 0))
      return true;
    cause = m_options.live
                ? "live reading needs locks, and this file system has none: open it for reading only"
                : "this file system has no locks, so that no file on it can be kept safe: work on a "
                  "local disk, or open with context option 0 and be alone";
    break;
  case vfd_Locks::Result::kFailed:
    cause = errnoText();
    break;
  }
  return false;
}

std::string vfd_Store::HeldText() const {
  vfd_Locks::Holder holder = vfd_Locks::HolderOf(m_main.Get());
  const vfd_Descriptor journal(::open(JournalName(realName(m_options.fileName)).c_str(),
                                      O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
  unsigned char bytes[kVfdHeader];
  vfd_Header header;
  std::size_t got = 0;
  if (holder.process == 0 && vfd_ReadAt(journal.Get(), bytes, sizeof bytes, 0, got) && got == sizeof bytes &&
      header.Decode(bytes))
    holder = {header.process, header.host, true};
  const std::string who = holder.process == 0
                              ? "another process has the file open"
                              : "process " + std::to_string(holder.process) + " on host " + holder.host +
                                    " has the file open for " + (holder.writes ? "writing" : "reading");
  return who + ": close it there, set a waiting time" +
         (m_options.readOnly ? ", or read beside the writer (context option 3)" : ", or work on a copy");
}

// Reads what a dead writer, or the living one beside a live reader, has committed there.
bool vfd_Store::FindJournal(std::string& cause) {
  m_needsRecovery = false;
  m_journalFileId = {};
  m_unapplied.Clear();
  m_journal.Close();
  m_eof = m_committedEnd = m_mainSize;
  m_floor = vfd_PagesOf(m_mainSize);
  const std::string name = JournalName(m_name);
  const int mode = m_options.readOnly ? O_RDONLY : O_RDWR;
  m_journal = vfd_Descriptor(::open(name.c_str(), mode | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
  if (!m_journal.IsOpen()) {
    if (errno == ENOENT)
      return true;
    cause = "open its journal: " + errnoText();
    return false;
  }
  struct stat status;
  if (::fstat(m_journal.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    cause = "its journal " + name + " is not a regular file";
    return false;
  }
  std::uint64_t sector = 0;
  m_found = std::make_unique<vfd_JournalContent>();
  // A writer beside a live reader extends the file before it commits, so the size is looked at again.
  if (!m_found->Read(m_journal.Get()) || !vfd_ReadSectorSum(m_main.Get(), sector) ||
      !vfd_GetSize(m_main.Get(), m_mainSize)) {
    cause = "read its journal: " + errnoText();
    return false;
  }
  if (m_found->state == vfd_JournalContent::State::kNoHeader) {
    cause = "its journal " + name +
            " is damaged and may hold commits that cannot be read: 'pdmsim recover' discards it";
    return false;
  }
  if (m_found->state == vfd_JournalContent::State::kSound) {
    // Without commits it says nothing; so it may be when the power was lost while a generation ended.
    if (m_found->commits > 0 && !m_found->Belongs(sector)) {
      cause = "its journal " + name + " belongs to another file, or this file was changed without it";
      return false;
    }
    if (m_found->commits > 0 &&
        m_found->eof > std::max(m_mainSize, m_found->reachOfFrames * kVfdPage) + kVfdUnseenEnd) {
      cause = "its journal " + name + " is damaged: it states a size of " + std::to_string(m_found->eof) +
              " bytes";
      return false;
    }
    m_journalFileId = m_found->header.fileId;
    m_sequence = m_found->sequence;
    m_journalEnd = m_found->end;
    m_unapplied = m_found->index;
    if (m_found->commits > 0)
      m_eof = m_committedEnd = m_found->eof;
  }
  m_needsRecovery = !m_options.readOnly;
  return true;
}

bool vfd_Store::Recover(std::string& cause) {
  const bool alone = vfd_Locks::TryReaders(m_main.Get()) != vfd_Locks::Result::kHeld;
  bool done = true;
  if (!alone && m_found->commits > 0) {
    done = Adopt(*m_found, cause);
  } else {
    const bool sync = !vfd_Broken(vfd_Rule::kRecoverySync);
    done =
        (m_found->commits == 0 || ApplyPages()) && (!sync || vfd_Sync(m_main.Get()) || Fail("sync the file"));
    m_mainSize = m_committedEnd;
    m_floor = vfd_PagesOf(m_mainSize);
    if (done) {
      m_unapplied.Clear();
      done = RemoveJournal() || Fail("remove the journal");
      // Should the name come back, it only says what the file says.
      if (sync)
        vfd_SyncDirectoryOf(m_name);
    }
    cause = m_cause;
  }
  if (alone && !Scratch())
    vfd_Locks::ReleaseReaders(m_main.Get());
  m_needsRecovery = !done;
  m_found.reset();
  return done;
}

// Goes on in the dead writer's generation, since live readers look at the main file as it was. What came
// after its last commit must be gone from the disk before anything is written there.
bool vfd_Store::Adopt(const vfd_JournalContent& content, std::string& cause) {
  // The dead writer may have promised less than this one does.
  if (!vfd_SetSize(m_journal.Get(), content.end) || !vfd_Sync(m_journal.Get()) ||
      (Power() && (!vfd_Sync(m_main.Get()) || !vfd_SyncDirectoryOf(m_name)))) {
    cause = "go on in its journal: " + errnoText();
    return false;
  }
  m_header = HeaderState::kDurable;
  m_journalEnd = m_openEnd = content.end;
  m_chain = m_openChain = content.chain;
  m_floor = std::max(content.reach, vfd_PagesOf(m_mainSize));
  return true;
}

bool vfd_Store::TakeSnapshot(std::string& cause) {
  vfd_Locks::ReleaseReaders(m_main.Get());
  m_unapplied.Clear();
  m_sequence = 0;
  m_journalEnd = kVfdHeader;
  return OpenMain(cause) && FindJournal(cause);
}

std::unique_ptr<vfd_Store> vfd_Store::Create(const vfd_Options& options, std::unique_ptr<vfd_Store> replaced,
                                             std::string& cause) {
  std::unique_ptr<vfd_Store> store(new vfd_Store(options));
  struct stat status {};
  if (replaced != nullptr) {
    if (replaced->m_journal.IsOpen()) {
      cause = "live readers have the file open";
      return nullptr;
    }
    store->m_name = replaced->m_name;
    store->m_replaced = std::move(replaced->m_main);
    ::fstat(store->m_replaced.Get(), &status);
  } else {
    store->m_name = realNameOfNew(options.fileName);
  }
  if (store->m_name.empty()) {
    cause = errnoText();
    return nullptr;
  }
  if (!store->MakeTemporary(cause))
    return nullptr;
  if (store->m_replaced.IsOpen())
    ::fchmod(store->m_main.Get(), status.st_mode & 07777);
  return store;
}

bool vfd_Store::MakeTemporary(std::string& cause) {
  SweepTemporaries();
  const std::string name = m_name + kTemporaryMark + std::to_string(m_owner);
  for (;;) {
    m_main = vfd_Descriptor(::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!m_main.IsOpen()) {
      cause = errno == EEXIST ? "this process has the file open" : errnoText();
      return false;
    }
    const auto lock = vfd_Locks::TakeFile(m_main.Get(), false);
    if (lock == vfd_Locks::Result::kUnsupported && m_options.durability > 0) {
      vfd_Remove(name);
      return TakeLock(cause);
    }
    // Another process may just have swept it away as a dead one's.
    if (lock != vfd_Locks::Result::kHeld && stillThere(name, m_main.Get(), m_identity))
      break;
  }
  m_temporary = name;
  if (Scratch())
    vfd_Locks::TryReaders(m_main.Get()); // and keeps it, as in Open()
  return true;
}

// What dead processes left of this file. One that lives holds the lock.
void vfd_Store::SweepTemporaries() const {
  const std::size_t slash = m_name.rfind('/');
  const std::string directory = m_name.substr(0, slash + 1),
                    prefix = m_name.substr(slash + 1) + kTemporaryMark;
  const std::unique_ptr<DIR, DirectoryCloser> opened(::opendir(directory.c_str()));
  if (opened == nullptr)
    return;
  while (const dirent* const entry = ::readdir(opened.get())) {
    const std::string name = entry->d_name;
    if (!name.starts_with(prefix) || name.find_first_not_of("0123456789", prefix.size()) != std::string::npos)
      continue;
    const vfd_Descriptor left(
        ::open((directory + name).c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
    vfd_FileIdentity identity;
    if (left.IsOpen() && vfd_Locks::TakeFile(left.Get(), false) == vfd_Locks::Result::kTaken &&
        stillThere(directory + name, left.Get(), identity))
      vfd_Remove(directory + name);
  }
}
