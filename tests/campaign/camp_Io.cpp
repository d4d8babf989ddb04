#include <campaign/camp_Io.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kNoInode = -1, kDescriptors = 1024;
enum { kUnwatched, kDirectory, kUnrecorded, kInodes }; // of a descriptor; kInodes + n is inode n

struct Watch {
  bool on = false;
  std::int64_t calls = 0;
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
bool watched(const char* path) {
  return s_watch.on && std::strncmp(path, s_watch.directory, std::strlen(s_watch.directory)) == 0;
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
  if (!plan.Fails(n) || (plan.error == ENOSPC && !needsSpace))
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

void note(camp_Event event) {
  if (s_watch.plan.record != nullptr)
    s_watch.plan.record->events.push_back(std::move(event));
}

std::string entryOf(const char* path) {
  return path + std::min(std::strlen(path), std::strlen(s_watch.directory) + 1);
}

// Gives a descriptor its file, and notes a file that was made by opening it.
void noteOpened(int descriptor, const char* path, int flags) {
  camp_Record* const record = s_watch.plan.record;
  const bool isDirectory = std::strlen(path) <= std::strlen(s_watch.directory) + 1;
  int& file = fileOf(descriptor) = isDirectory ? kDirectory : kUnrecorded;
  if (record == nullptr || isDirectory)
    return;
  const std::string entry = entryOf(path);
  const auto [place, isNew] = record->names.try_emplace(entry, record->inodes);
  const int inode = place->second;
  file = kInodes + inode;
  record->inodes += isNew ? 1 : 0;
  if (isNew)
    note({camp_Event::kCreate, inode, 0, entry, {}});
  else if ((flags & O_TRUNC) != 0)
    note({camp_Event::kTruncate, inode, 0, {}, {}});
}

void noteMoved(const char* from, const char* to, bool keepsFrom) {
  if (s_watch.plan.record == nullptr)
    return;
  std::map<std::string, int>& names = s_watch.plan.record->names;
  const auto source = names.find(entryOf(from));
  if (source == names.end())
    return;
  const int inode = source->second;
  note({keepsFrom ? camp_Event::kLink : camp_Event::kRename, inode, 0, entryOf(to), {}, entryOf(from)});
  if (!keepsFrom)
    names.erase(source);
  names[entryOf(to)] = inode;
}

void noteUnlinked(const char* path) {
  if (s_watch.plan.record == nullptr)
    return;
  note({camp_Event::kUnlink, kNoInode, 0, entryOf(path), {}});
  s_watch.plan.record->names.erase(entryOf(path));
}

void noteData(camp_Event::Kind kind, int descriptor, std::int64_t offset, const void* bytes = "",
              std::size_t count = 0) {
  const int inode = fileOf(descriptor) - kInodes;
  if (inode >= 0 && s_watch.plan.record != nullptr)
    note({kind, inode, offset, {}, std::string(static_cast<const char*>(bytes), count)});
}

template <class Write>
ssize_t writeFile(Write next, int descriptor, const void* from, std::size_t count, off_t offset) {
  const bool ours = watched(descriptor);
  const Verdict verdict = ours ? judge(true) : kPass;
  if (verdict == kFail)
    return -1;
  std::size_t part = verdict == kKill    ? s_watch.plan.random.Below(count + 1)
                     : verdict == kShort ? count / 2
                                         : count;
  if (verdict == kKill && part < count) // no sector is written by halves; the system's own unit is a page
    part -= std::min(part, (static_cast<std::size_t>(offset) + part) % 512);
  const ssize_t written = next(descriptor, from, part, offset);
  if (verdict == kKill)
    ::raise(SIGKILL);
  if (ours && written > 0)
    noteData(camp_Event::kWrite, descriptor, offset, from, static_cast<std::size_t>(written));
  return written;
}

// Nothing here is to survive the machine: syncing is only noted.
int syncFile(int descriptor) {
  if (fails(true))
    return -1;
  if (fileOf(descriptor) == kDirectory)
    note({camp_Event::kDirectorySync, kNoInode, 0, {}, {}});
  else
    noteData(camp_Event::kSync, descriptor, 0);
  return 0;
}

} // namespace

void camp_Io::Watch(const std::string& directory, const camp_Plan& plan) {
  s_watch = {true, 0, plan, "", {}};
  std::strncpy(s_watch.directory, directory.c_str(), sizeof s_watch.directory - 1);
}

void camp_Io::Stop() {
  s_watch.on = false;
}

void camp_Io::Mark(camp_Event::Kind kind, std::uint64_t digest) {
  if (s_watch.on)
    note({kind, kNoInode, static_cast<std::int64_t>(digest), {}, {}});
}

// The functions themselves; the program's come before those of the C library, for every library it loads.
#define CAMP_NEXT(NAME) static const auto next = reinterpret_cast<decltype(&NAME)>(::dlsym(RTLD_NEXT, #NAME))
#define CAMP_CALL(RESULT, NAME, PARAMETERS, ARGUMENTS, WATCHED, SPACE, NOTE)                                 \
  RESULT NAME PARAMETERS {                                                                                   \
    CAMP_NEXT(NAME);                                                                                         \
    const bool ours = watched(WATCHED);                                                                      \
    if (ours && fails(SPACE))                                                                                \
      return -1;                                                                                             \
    const RESULT result = next ARGUMENTS;                                                                    \
    if (ours && result >= 0)                                                                                 \
      NOTE;                                                                                                  \
    return result;                                                                                           \
  }
#define CAMP_OPEN(NAME)                                                                                      \
  int NAME(const char* path, int flags, ...) {                                                               \
    CAMP_NEXT(NAME);                                                                                         \
    va_list rest;                                                                                            \
    va_start(rest, flags);                                                                                   \
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;                                   \
    va_end(rest);                                                                                            \
    if (watched(path) && fails((flags & O_CREAT) != 0))                                                      \
      return -1;                                                                                             \
    const int descriptor = next(path, flags, mode);                                                          \
    if (watched(path) && descriptor >= 0)                                                                    \
      noteOpened(descriptor, path, flags);                                                                   \
    return descriptor;                                                                                       \
  }
#define CAMP_READ(NAME)                                                                                      \
  CAMP_CALL(ssize_t, NAME, (int descriptor, void* to, size_t count, off_t offset),                           \
            (descriptor, to, count, offset), descriptor, false, (void)0)
#define CAMP_WRITE(NAME)                                                                                     \
  ssize_t NAME(int descriptor, const void* from, size_t count, off_t offset) {                               \
    CAMP_NEXT(NAME);                                                                                         \
    return writeFile(next, descriptor, from, count, offset);                                                 \
  }
#define CAMP_TRUNCATE(NAME)                                                                                  \
  CAMP_CALL(int, NAME, (int descriptor, off_t length) noexcept, (descriptor, length), descriptor,            \
            length > ::lseek(descriptor, 0, SEEK_END), /* cutting needs no space */                          \
            noteData(camp_Event::kTruncate, descriptor, length))
#define CAMP_SYNC(NAME)                                                                                      \
  int NAME(int descriptor) {                                                                                 \
    CAMP_NEXT(NAME);                                                                                         \
    return watched(descriptor) ? syncFile(descriptor) : next(descriptor);                                    \
  }
#pragma GCC visibility push(default)
extern "C" {
CAMP_OPEN(open)
CAMP_OPEN(open64)
CAMP_READ(pread)
CAMP_READ(pread64)
CAMP_WRITE(pwrite)
CAMP_WRITE(pwrite64)
CAMP_TRUNCATE(ftruncate)
CAMP_TRUNCATE(ftruncate64)
CAMP_SYNC(fsync)
CAMP_SYNC(fdatasync)
CAMP_CALL(int, rename, (const char* from, const char* to) noexcept, (from, to), from, true,
          noteMoved(from, to, false))
CAMP_CALL(int, renameat2, (int fromIn, const char* from, int toIn, const char* to, unsigned flags) noexcept,
          (fromIn, from, toIn, to, flags), from, true, noteMoved(from, to, false))
CAMP_CALL(int, link, (const char* from, const char* to) noexcept, (from, to), from, true,
          noteMoved(from, to, true))
CAMP_CALL(int, unlink, (const char* path) noexcept, (path), path, false, noteUnlinked(path))
CAMP_CALL(int, flock, (int descriptor, int operation) noexcept, (descriptor, operation), descriptor, false,
          (void)0)
CAMP_CALL(int, fstat, (int descriptor, struct stat* status) noexcept, (descriptor, status), descriptor, false,
          (void)0)
CAMP_CALL(int, stat, (const char* path, struct stat* status) noexcept, (path, status), path, false, (void)0)
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
