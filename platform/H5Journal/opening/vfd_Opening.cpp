#include <H5Journal/opening/vfd_Opening.h>

#include <H5Journal/files/vfd_Cause.h>
#include <H5Journal/files/vfd_Rules.h>
#include <H5Journal/opening/vfd_Locks.h>
#include <H5Journal/opening/vfd_Registry.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {
using Clock = std::chrono::steady_clock;

constexpr char kNewSuffix[] = ".new-";
constexpr int kMostOthers = 9;       // names that are tried where others are taken
constexpr unsigned kLiveWait = 3000; // milliseconds; a writer keeps live readers waiting for moments only

// The end of waiting for other processes.
Clock::time_point deadlineOf(const vfd_Options& options) {
  return Clock::now() +
         std::chrono::milliseconds(std::max(options.waitingTime, options.live ? kLiveWait : 0));
}

void rest() {
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

// Looked at before opening, since opening a pipe or a device may block.
bool checkKind(const vfd_Options& options, const vfd_Files& files) {
  struct stat status;
  if (!files.place.Status(files.place.Name(), status))
    return vfd_Fail("");
  if (S_ISDIR(status.st_mode))
    return vfd_Refuse("is a directory");
  if (!S_ISREG(status.st_mode))
    return vfd_Refuse("not a regular file");
  return !vfd_Registered::InTheWay(vfd_FileIdentity::Of(status), options.readOnly, options.live) ||
         vfd_Refuse("this process has the file open");
}

// Who holds the file, from the system or from the journal.
bool refuseHeld(const vfd_Options& options, const vfd_Files& files) {
  vfd_Writer who;
  bool writes = true;
  if (!vfd_Locks::HolderOf(files.main.Get(), who, writes)) {
    const vfd_Descriptor journal = files.place.Open(files.place.JournalName(), O_RDONLY);
    unsigned char bytes[kVfdHeader];
    vfd_Header header;
    std::size_t got = 0;
    if (vfd_ReadAt(journal.Get(), bytes, sizeof bytes, 0, got) && got == sizeof bytes && header.Decode(bytes))
      who = header.writer;
  }
  const std::string holder = who.process == 0
                                 ? "another process has the file open"
                                 : "process " + std::to_string(who.process) + " on host " + who.host +
                                       " has the file open for " + (writes ? "writing" : "reading");
  return vfd_Refuse(holder + ": close it there, set a waiting time" +
                    (options.readOnly ? ", or read live beside the writer" : ", or work on a copy"));
}

enum class Lock { kTaken, kHeld, kRefused };

Lock takeLock(const vfd_Options& options, const vfd_Files& files) {
  const int file = files.main.Get();
  switch (options.live ? vfd_Locks::ShareReaders(file) : vfd_Locks::TakeFile(file, options.readOnly)) {
  case vfd_Locks::Result::kTaken:
    return Lock::kTaken;
  case vfd_Locks::Result::kHeld:
    return Lock::kHeld;
  case vfd_Locks::Result::kUnsupported:
    // Two writers would destroy the file, and nobody would see that one has died.
    if (!options.live && (options.readOnly || options.durability == 0))
      return Lock::kTaken;
    vfd_Refuse(options.live
                   ? "live reading needs locks, and this file system has none: open it for reading only"
                   : "this file system has no locks, so that no file on it can be kept safe: work on a "
                     "local disk, or open without a journal and be alone");
    return Lock::kRefused;
  case vfd_Locks::Result::kFailed:
    vfd_Fail("lock the file");
  }
  return Lock::kRefused;
}

// What a dead writer's helpers still write lies in space that this one would give out again.
bool refuseHelped(long helper) {
  return vfd_Refuse(
      "rank " + std::to_string(helper) +
      " of a job whose rank 0 has let go of the file may still write into it: wait until the job "
      "has ended, or set a waiting time");
}

bool isProvedNew(const vfd_Place& place, const std::string& name, const vfd_Descriptor& file) {
  vfd_Mark mark;
  struct stat status;
  if (::fstat(file.Get(), &status) != 0 || !place.Is(name, vfd_FileIdentity::Of(status)))
    return false;
  if (status.st_size == 0) // killed before the mark: nothing is lost with it
    return S_ISREG(status.st_mode);
  return mark.Read(file.Get()) && mark.present && !mark.damaged && mark.isNew &&
         mark.inode == static_cast<std::uint64_t>(status.st_ino);
}
} // namespace

bool vfd_OpenMain(const vfd_Options& options, bool again, vfd_Files& files) {
  if (options.fileName.empty())
    return vfd_Refuse("a file needs a name");
  const auto deadline = deadlineOf(options);
  for (;;) {
    files.main = vfd_MainFile();
    if (!again && !files.place.Find(options.fileName))
      return vfd_Fail("");
    if (!checkKind(options, files))
      return false;
    vfd_Descriptor file = files.place.Open(files.place.Name(), options.readOnly ? O_RDONLY : O_RDWR);
    if (!file.IsOpen() || !files.main.Take(std::move(file)))
      return vfd_Fail("open");
    const Lock lock = takeLock(options, files);
    if (lock == Lock::kRefused)
      return false;
    const bool looks = lock == Lock::kTaken && !options.readOnly && !vfd_Broken(vfd_Rule::kHelpersLock);
    const long helper = looks ? vfd_Locks::HelperAtWork(files.main.Get()) : -1;
    // It may have been replaced between its opening and its locking, and written as well.
    if (lock == Lock::kTaken && helper < 0 && files.place.Is(files.place.Name(), files.main.Identity()))
      break;
    const bool waits = lock == Lock::kHeld || helper >= 0;
    if (waits && Clock::now() >= deadline)
      return helper >= 0 ? refuseHelped(helper) : refuseHeld(options, files);
    if (waits) {
      files.main.Close(); // with the lock: who waits for helpers keeps no reader waiting
      rest();
    }
  }
  if (!files.main.LookAgain() || !files.main.Mark().Read(files.main.Get()))
    return vfd_Fail("read");
  return options.readOnly || options.Scratch() || files.place.HasRoom() ||
         vfd_Fail("its name leaves no room for its journal's");
}

// One look. A writer beside a live reader extends the file before it commits, so the size is looked at last.
static bool lookOnce(const vfd_Options& options, vfd_Files& files, vfd_JournalContent& content,
                     vfd_Verdict& verdict) {
  content = {};
  verdict = {};
  const std::string name = files.place.JournalName();
  struct stat mainStatus, status;
  if (!files.main.Mark().Read(files.main.Get()) || ::fstat(files.main.Get(), &mainStatus) != 0)
    return vfd_Fail("read");
  vfd_Descriptor journal = files.place.Open(name, options.readOnly ? O_RDONLY : O_RDWR);
  if (!journal.IsOpen() && errno != ENOENT) {
    const bool irregular = errno == ELOOP || errno == EISDIR || errno == ENXIO;
    verdict = {irregular ? H5J_REFUSED : H5J_UNREADABLE, false,
               "its journal " + name + (irregular ? " is not a regular file" : " cannot be opened")};
    return irregular || vfd_Fail("open its journal");
  }
  if (journal.IsOpen()) {
    if (::fstat(journal.Get(), &status) != 0)
      return vfd_Fail("look at its journal");
    if (const std::string why = vfd_Distrust(mainStatus, status); !why.empty()) {
      verdict = {H5J_REFUSED, false, "its journal " + name + " " + why};
      return true;
    }
    if (!content.Read(journal.Get()))
      return vfd_Fail("read its journal");
    if (const vfd_Mark& mark = files.main.Mark();
        mark.hasJournal && content.HasHeader() && content.header.generation == mark.current)
      content.MustReach(mark.reached);
    files.journal.Take(std::move(journal));
  }
  // What the mark states before the journal is read the journal must have; what stands there afterwards it
  // may.
  if (!files.main.LookAgain() || !files.main.Mark().Read(files.main.Get()))
    return vfd_Fail("read");
  verdict = vfd_Judge(files.main, content, name);
  return true;
}

bool vfd_FindJournal(const vfd_Options& options, vfd_Files& files, vfd_JournalContent& content,
                     vfd_Verdict& verdict) {
  for (const auto deadline = deadlineOf(options);; rest()) {
    files.journal.Close();
    // It may have gone on, or come, or ended between the look at the file and that at its journal.
    const bool before = options.live && vfd_Locks::HasWriter(files.main.Get());
    const bool looked = lookOnce(options, files, content, verdict);
    if (!looked || verdict.cause.empty() || !options.live ||
        !(before || vfd_Locks::HasWriter(files.main.Get())) || Clock::now() >= deadline)
      return looked;
  }
}

bool vfd_MakeTemporary(const vfd_Options& options, vfd_Files& files, const struct stat* model,
                       std::string& temporary) {
  const vfd_Place& place = files.place;
  const std::string first = place.Neighbour(kNewSuffix) + std::to_string(::getpid());
  std::string name = first;
  for (int others = 0;;) {
    vfd_Descriptor file = place.Open(name, O_RDWR | O_CREAT | O_EXCL, model == nullptr ? 0666 : 0600);
    struct stat status;
    if (!file.IsOpen()) {
      if (errno != EEXIST || ++others == kMostOthers)
        return vfd_Fail("make the file");
      if (place.Status(name, status) && vfd_Registered::InTheWay(vfd_FileIdentity::Of(status), false, false))
        return vfd_Refuse("this process has the file open");
      name = first + '-' + std::to_string(others); // somebody else's file has that name
      continue;
    }
    temporary = name;
    if (!files.main.Take(std::move(file)))
      return vfd_Fail("make the file");
    const auto lock = vfd_Locks::TakeFile(files.main.Get(), false);
    if (lock == vfd_Locks::Result::kFailed)
      return vfd_Fail("lock the file");
    if (lock == vfd_Locks::Result::kUnsupported && !options.Scratch())
      return takeLock(options, files) == Lock::kTaken;
    // Another process may just have swept it away as a dead one's.
    if (lock != vfd_Locks::Result::kHeld && place.Is(name, files.main.Identity()))
      break;
  }
  if (model != nullptr) {
    // Only the system's chief may give files away; the group is given where that is allowed.
    if (::fchown(files.main.Get(), model->st_uid, model->st_gid) != 0)
      static_cast<void>(::fchown(files.main.Get(), static_cast<uid_t>(-1), model->st_gid) == 0);
    struct stat own;
    if (::fstat(files.main.Get(), &own) != 0)
      return vfd_Fail("make the file");
    const mode_t mode = model->st_mode & 07777;
    if (::fchmod(files.main.Get(), own.st_gid == model->st_gid
                                       ? mode
                                       : (mode & 07707) | (mode & 0070 & ((mode & 0007) << 3))) != 0)
      return vfd_Fail("make the file");
  }
  // The proof for whoever finds it after this process has died.
  vfd_Mark& mark = files.main.Mark();
  mark = {};
  mark.present = mark.isNew = true;
  mark.inode = files.main.Identity().inode;
  mark.writer = vfd_Writer::Self();
  return files.main.WriteMark();
}

void vfd_SweepTemporaries(const vfd_Place& place) {
  const std::string prefix = place.Neighbour(kNewSuffix);
  place.ForEach(prefix, [&](const std::string& name) {
    if (name.find_first_not_of("0123456789-", prefix.size()) != std::string::npos)
      return;
    const vfd_Descriptor left = place.Open(name, O_RDWR);
    vfd_FileIdentity identity;
    if (left.IsOpen() && vfd_Locks::TakeFile(left.Get(), false) == vfd_Locks::Result::kTaken &&
        isProvedNew(place, name, left) && vfd_FileIdentity::Of(left.Get(), identity))
      place.Remove(name, identity);
  });
}

void vfd_SweepNextJournal(const vfd_Files& files) {
  const std::string name = files.place.NextName();
  const vfd_Descriptor left = files.place.Open(name, O_RDWR);
  unsigned char bytes[kVfdHeader];
  std::size_t got = 0;
  vfd_Header header;
  std::uint64_t size = 0;
  vfd_FileIdentity identity;
  if (!left.IsOpen() || !vfd_FileIdentity::Of(left.Get(), identity) || !vfd_GetSize(left.Get(), size) ||
      !vfd_ReadAt(left.Get(), bytes, sizeof bytes, 0, got))
    return;
  const vfd_Mark& mark = files.main.Mark();
  const bool ours =
      got == sizeof bytes && header.Decode(bytes) && (!mark.present || header.fileId == mark.fileId);
  const bool zeros =
      size == got && std::all_of(bytes, bytes + got, [](unsigned char byte) { return byte == 0; });
  if (zeros || ours) // the power may fail before the header is on the disk
    files.place.Remove(name, identity);
}
