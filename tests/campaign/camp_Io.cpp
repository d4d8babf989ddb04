#include <campaign/camp_Io.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/falloc.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int kNoInode = -1, kDescriptors = 1024;
enum { kUnwatched, kDirectory, kUnrecorded, kJournal, kInodes }; // of a descriptor; kInodes + n is inode n

struct Watch {
  bool on = false;
  std::int64_t calls = 0, journalRead = 0, readAgain = 0;
  camp_Plan plan;
  char directory[256] = "";
  int files[kDescriptors] = {};
};
constinit Watch s_watch;
constinit int s_outside = kUnwatched;

int& fileOf(int descriptor) {
  return descriptor < 0 || descriptor >= kDescriptors ? s_outside = kUnwatched : s_watch.files[descriptor];
}
bool watched(int descriptor) {
  return s_watch.on && fileOf(descriptor) != kUnwatched;
}

// The entry of the watched directory that a path leads to, "" for the directory itself; null for others.
const char* entryOf(int directory, const char* path) {
  if (!s_watch.on)
    return nullptr;
  if (*path != '/')
    return fileOf(directory) != kDirectory ? nullptr : std::strcmp(path, ".") == 0 ? "" : path;
  const std::size_t length = std::strlen(s_watch.directory);
  if (std::strncmp(path, s_watch.directory, length) != 0 || (path[length] != '/' && path[length] != '\0'))
    return nullptr;
  return path + length + (path[length] == '/' ? 1 : 0);
}

enum Verdict { kPass, kFail, kShort, kKill };

// Counts a call and says what becomes of it.
Verdict judge(bool needsSpace) {
  const camp_Plan& plan = s_watch.plan;
  const std::int64_t n = ++s_watch.calls;
  if (plan.calls != nullptr)
    *plan.calls = n;
  if (n == plan.killAt)
    return kKill;
  if (!plan.Fails(n) || (plan.error == ENOSPC && !needsSpace) || plan.error == camp_Plan::kFull)
    return kPass;
  if (plan.error == camp_Plan::kShortWrite)
    return kShort;
  errno = plan.error;
  return kFail;
}

// As judge, for all calls but writes.
bool fails(bool needsSpace) {
  const Verdict verdict = judge(needsSpace);
  if (verdict == kKill)
    ::raise(SIGKILL);
  return verdict == kFail;
}

// How many of these bytes stand on blocks that the file has: blocks are taken one by one, and given back when
// one was new.
std::size_t placed(int descriptor, off_t offset, std::size_t count) {
  constexpr off_t kBlock = 4096;
  const auto blocks = [&] {
    struct statx status {};
    ::statx(descriptor, "", AT_EMPTY_PATH, STATX_BLOCKS, &status);
    return status.stx_blocks;
  };
  const off_t end = offset + static_cast<off_t>(count);
  auto before = blocks();
  for (off_t at = offset - offset % kBlock; at < end; at += kBlock) {
    ::syscall(SYS_fallocate, descriptor, FALLOC_FL_KEEP_SIZE, at, kBlock);
    if (blocks() == before)
      continue;
    ::syscall(SYS_fallocate, descriptor, FALLOC_FL_KEEP_SIZE | FALLOC_FL_PUNCH_HOLE, at, kBlock);
    return static_cast<std::size_t>(std::max(at - offset, off_t{0}));
  }
  return count;
}
std::size_t room(int descriptor, off_t offset, std::size_t count) {
  const bool full = s_watch.plan.error == camp_Plan::kFull && s_watch.plan.Fails(s_watch.calls);
  return full ? placed(descriptor, offset, count) : count;
}

void note(camp_Event event) {
  if (s_watch.plan.record != nullptr)
    s_watch.plan.record->events.push_back(std::move(event));
}

// Gives a descriptor its file, and notes a file that was made by opening it.
void noteOpened(int descriptor, const std::string& entry, int flags) {
  camp_Record* const record = s_watch.plan.record;
  const bool isDirectory = entry.empty(), isJournal = entry.find("-journal") != std::string::npos;
  int& file = fileOf(descriptor) = isDirectory ? kDirectory : isJournal ? kJournal : kUnrecorded;
  if (record == nullptr || isDirectory)
    return;
  const auto [place, isNew] = record->names.try_emplace(entry, record->inodes);
  file = kInodes + place->second;
  record->inodes += isNew ? 1 : 0;
  if (isNew)
    note({camp_Event::kCreate, place->second, 0, entry, {}});
  else if ((flags & O_TRUNC) != 0)
    note({camp_Event::kTruncate, place->second, 0, {}, {}});
}

// Another name for a file, in place of the old one or beside it, or none any more.
void noteName(const char* from, const char* to, bool keepsFrom) {
  camp_Record* const record = s_watch.plan.record;
  if (record == nullptr || from == nullptr || record->names.count(from) == 0)
    return;
  const auto kind = to == nullptr ? camp_Event::kUnlink : camp_Event::kName;
  const int inode = record->names[from];
  note({kind, inode, 0, to == nullptr ? from : to, {}, keepsFrom ? "" : from});
  if (!keepsFrom)
    record->names.erase(from);
  if (to != nullptr)
    record->names[to] = inode;
}

void noteData(camp_Event::Kind kind, int descriptor, std::int64_t offset, const void* bytes = "",
              std::size_t count = 0) {
  const int file = fileOf(descriptor);
  if (s_watch.plan.record != nullptr && file == kDirectory)
    note({camp_Event::kDirectorySync, kNoInode, 0, {}, {}});
  else if (s_watch.plan.record != nullptr && file >= kInodes)
    note({kind, file - kInodes, offset, {}, std::string(static_cast<const char*>(bytes), count)});
}

template <class Write>
ssize_t writeFile(Write next, int descriptor, const void* from, std::size_t count, off_t offset) {
  if (!watched(descriptor))
    return next(descriptor, from, count, offset);
  const Verdict verdict = judge(true);
  std::size_t part = verdict == kKill    ? s_watch.plan.random.Below(count + 1)
                     : verdict == kShort ? count / 2
                                         : room(descriptor, offset, count);
  if (verdict == kKill && part < count) // no sector is written by halves; the system's own unit is a page
    part -= std::min(part, (static_cast<std::size_t>(offset) + part) % 512);
  if (verdict == kPass && part == 0)
    errno = ENOSPC;
  if (verdict == kFail || (verdict == kPass && part == 0))
    return -1;
  const ssize_t written = next(descriptor, from, part, offset);
  if (verdict == kKill)
    ::raise(SIGKILL);
  if (written > 0)
    noteData(camp_Event::kWrite, descriptor, offset, from, static_cast<std::size_t>(written));
  return written;
}

// What comes back from the disk; a wrong bit only in what was right before.
void lie(int descriptor, void* to, ssize_t got, off_t offset) {
  constexpr off_t kHeader = 512;
  Watch& watch = s_watch;
  if (watch.plan.lieAt == 0 || fileOf(descriptor) != kJournal || got <= 0 || offset < kHeader)
    return;
  if (offset + got > watch.journalRead)
    watch.journalRead = offset + got;
  else if (++watch.readAgain == watch.plan.lieAt)
    static_cast<unsigned char*>(to)[watch.plan.random.Below(got)] ^= 1;
}

constinit std::int64_t s_allocations = 0;
constinit camp_Plan s_lack;

bool lacks() {
  if (camp_Armed::s_alive > 0 && s_lack.calls != nullptr)
    *s_lack.calls = s_allocations + 1;
  if (camp_Armed::s_alive == 0 || !s_lack.Fails(++s_allocations))
    return false;
  errno = ENOMEM;
  return true;
}

} // namespace

void camp_WatchAllocations(const camp_Plan& plan) {
  s_lack = plan;
  s_allocations = 0;
}

void camp_Watch(const std::string& directory, const camp_Plan& plan) {
  s_watch = {true, 0, 0, 0, plan, "", {}};
  std::strncpy(s_watch.directory, directory.c_str(), sizeof s_watch.directory - 1);
}

void camp_Unwatch() {
  s_watch.on = false;
}

void camp_Mark(camp_Event::Kind kind, int step) {
  if (s_watch.on)
    note({kind, kNoInode, step, {}, {}});
}

// The functions themselves; the program's come before those of the C library, for every library it loads.
#define CAMP_NEXT(NAME) static const auto next = reinterpret_cast<decltype(&NAME)>(::dlsym(RTLD_NEXT, #NAME))
#define CAMP_CALL(RESULT, NAME, PARAMETERS, ARGUMENTS, OURS, SPACE, NOTE)                                    \
  RESULT NAME PARAMETERS {                                                                                   \
    CAMP_NEXT(NAME);                                                                                         \
    const bool ours = OURS;                                                                                  \
    if (ours && fails(SPACE))                                                                                \
      return -1;                                                                                             \
    const RESULT result = next ARGUMENTS;                                                                    \
    if (ours && result >= 0)                                                                                 \
      NOTE;                                                                                                  \
    return result;                                                                                           \
  }
#define CAMP_OPEN(NAME, PARAMETERS, DIRECTORY)                                                               \
  int NAME PARAMETERS {                                                                                      \
    static const auto next = reinterpret_cast<decltype(&openat)>(::dlsym(RTLD_NEXT, "openat"));              \
    va_list rest;                                                                                            \
    va_start(rest, flags);                                                                                   \
    const bool creates = (flags & O_CREAT) != 0;                                                             \
    const mode_t mode = creates ? va_arg(rest, mode_t) : 0;                                                  \
    va_end(rest);                                                                                            \
    const char* const entry = entryOf(DIRECTORY, path);                                                      \
    if (entry != nullptr && fails(creates))                                                                  \
      return -1;                                                                                             \
    const int descriptor = next(DIRECTORY, path, flags, mode);                                               \
    if (entry != nullptr && descriptor >= 0)                                                                 \
      noteOpened(descriptor, entry, flags);                                                                  \
    return descriptor;                                                                                       \
  }
#define CAMP_SYNC(NAME)                                                                                      \
  int NAME(int descriptor) {                                                                                 \
    CAMP_NEXT(NAME);                                                                                         \
    if (!watched(descriptor))                                                                                \
      return next(descriptor);                                                                               \
    return fails(true) ? -1 : (noteData(camp_Event::kSync, descriptor, 0), 0);                               \
  }
#define CAMP_MOVE(NAME, PARAMETERS, ARGUMENTS, FROM_IN, TO_IN, KEEPS)                                        \
  CAMP_CALL(int, NAME, PARAMETERS noexcept, ARGUMENTS, entryOf(TO_IN, to) != nullptr, true,                  \
            noteName(entryOf(FROM_IN, from), entryOf(TO_IN, to), KEEPS))
#define CAMP_QUIET(NAME, PARAMETERS, ARGUMENTS, OURS)                                                        \
  CAMP_CALL(int, NAME, PARAMETERS noexcept, ARGUMENTS, OURS, false, (void)0)
#define CAMP_ALLOCATOR(NAME, PARAMETERS, ARGUMENTS)                                                          \
  void* __libc_##NAME PARAMETERS noexcept;                                                                   \
  void* NAME PARAMETERS noexcept {                                                                           \
    return lacks() ? nullptr : __libc_##NAME ARGUMENTS;                                                      \
  }
#pragma GCC visibility push(default)
extern "C" {
CAMP_ALLOCATOR(malloc, (std::size_t size), (size))
CAMP_ALLOCATOR(calloc, (std::size_t count, std::size_t size), (count, size))
CAMP_ALLOCATOR(realloc, (void* block, std::size_t size), (block, size))
// A name that needs memory, as few machines here have one.
int gethostname(char* name, std::size_t size) noexcept {
  return std::snprintf(name, size, "machine-with-a-long-name.campaign") < 0 ? -1 : 0;
}
CAMP_OPEN(open, (const char* path, int flags, ...), AT_FDCWD)
CAMP_OPEN(openat, (int directory, const char* path, int flags, ...), directory)
CAMP_CALL(ssize_t, pread, (int descriptor, void* to, size_t count, off_t offset),
          (descriptor, to, count, offset), watched(descriptor), false, lie(descriptor, to, result, offset))
CAMP_CALL(int, ftruncate, (int descriptor, off_t length) noexcept, (descriptor, length), watched(descriptor),
          length > ::lseek(descriptor, 0, SEEK_END), noteData(camp_Event::kTruncate, descriptor, length))
ssize_t pwrite(int descriptor, const void* from, size_t count, off_t offset) {
  CAMP_NEXT(pwrite);
  return writeFile(next, descriptor, from, count, offset);
}
int fallocate(int descriptor, int mode, off_t offset, off_t length) {
  CAMP_NEXT(fallocate);
  const auto size = static_cast<std::size_t>(length);
  const bool ours = watched(descriptor);
  if (ours && (fails(true) || (room(descriptor, offset, size) < size && (errno = ENOSPC) != 0)))
    return -1;
  const int result = next(descriptor, mode, offset, length);
  if (ours && result == 0 && (mode & FALLOC_FL_KEEP_SIZE) == 0)
    noteData(camp_Event::kExtend, descriptor, offset + length);
  return result;
}
CAMP_SYNC(fsync)
CAMP_SYNC(fdatasync)
CAMP_MOVE(renameat, (int fromIn, const char* from, int toIn, const char* to), (fromIn, from, toIn, to),
          fromIn, toIn, false)
CAMP_MOVE(renameat2, (int fromIn, const char* from, int toIn, const char* to, unsigned flags),
          (fromIn, from, toIn, to, flags), fromIn, toIn, false)
CAMP_MOVE(linkat, (int fromIn, const char* from, int toIn, const char* to, int flags),
          (fromIn, from, toIn, to, flags), fromIn, toIn, true)
CAMP_CALL(int, unlinkat, (int directory, const char* path, int flags) noexcept, (directory, path, flags),
          entryOf(directory, path) != nullptr, false, noteName(entryOf(directory, path), nullptr, false))
CAMP_QUIET(fchmod, (int descriptor, mode_t mode), (descriptor, mode), watched(descriptor))
CAMP_QUIET(fchown, (int descriptor, uid_t user, gid_t group), (descriptor, user, group), watched(descriptor))
CAMP_QUIET(flock, (int descriptor, int operation), (descriptor, operation), watched(descriptor))
CAMP_QUIET(fstat, (int descriptor, struct stat* status), (descriptor, status), watched(descriptor))
CAMP_QUIET(fstatat, (int directory, const char* path, struct stat* status, int flags),
           (directory, path, status, flags), entryOf(directory, path) != nullptr)
int fcntl(int descriptor, int command, ...) {
  CAMP_NEXT(fcntl);
  va_list rest;
  va_start(rest, command);
  void* const argument = va_arg(rest, void*);
  va_end(rest);
  const bool takes = command == F_OFD_SETLK && static_cast<struct flock*>(argument)->l_type != F_UNLCK;
  return watched(descriptor) && takes && fails(false) ? -1 : next(descriptor, command, argument);
}
int close(int descriptor) {
  CAMP_NEXT(close);
  const bool failing = watched(descriptor) && fails(false);
  fileOf(descriptor) = kUnwatched;
  const int error = errno, result = next(descriptor);
  if (failing)
    errno = error;
  return failing ? -1 : result;
}
}
#pragma GCC visibility pop
