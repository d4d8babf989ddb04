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

constexpr int kNone = -1, kDirectory = -2, kUnrecorded = -3; // in place of inodes
constexpr int kDescriptors = 1024;

constinit std::int64_t s_uncounted = 0;

struct Watch {
  bool on = false;
  char directory[256] = "";
  int inodeOf[kDescriptors] = {}; // plus 4; 0 is no watched file
  std::int64_t* calls = &s_uncounted;
  std::int64_t killAt = 0, failAt = 0;
  camp_Random random{0};
  int error = 0;
  camp_Io::Fault fault = camp_Io::kOnce;
  camp_Record* record = nullptr;
};
constinit Watch* s_watch = nullptr;

Watch& watch() {
  static Watch s_here;
  s_watch = &s_here;
  return s_here;
}

int& inodeOf(int descriptor) {
  static int s_outside;
  if (descriptor < 0 || descriptor >= kDescriptors)
    return s_outside = 0;
  return s_watch->inodeOf[descriptor];
}

int known(int descriptor) {
  return inodeOf(descriptor) - 4;
}
bool watched(int descriptor) {
  return s_watch != nullptr && s_watch->on && inodeOf(descriptor) != 0;
}
bool watched(const char* path) {
  return s_watch != nullptr && s_watch->on && path != nullptr &&
         std::strncmp(path, s_watch->directory, std::strlen(s_watch->directory)) == 0;
}

template <class Function>
Function real(const char* name, Function) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

enum Verdict { kPass, kFail, kShort, kKill };

// Counts a call and says what becomes of it.
Verdict judge(bool needsSpace) {
  Watch& w = *s_watch;
  const std::int64_t n = ++*w.calls;
  if (n == w.killAt)
    return kKill;
  if (w.failAt == 0 || n < w.failAt || (w.fault == camp_Io::kOnce && n > w.failAt))
    return kPass;
  if (w.error == camp_Io::kShortWrite)
    return kShort;
  if (w.error == ENOSPC && !needsSpace)
    return kPass;
  errno = w.error;
  return kFail;
}

bool dies(Verdict verdict) {
  if (verdict == kKill)
    ::raise(SIGKILL);
  return verdict == kFail;
}

void note(camp_Event event) {
  if (s_watch->record != nullptr)
    s_watch->record->events.push_back(std::move(event));
}

std::string entryOf(const char* path) {
  return path + std::min(std::strlen(path), std::strlen(s_watch->directory) + 1);
}

// Gives a descriptor its file, and notes a file that was made by opening it.
void noteOpened(int descriptor, const char* path, int flags) {
  const std::string entry = entryOf(path);
  int inode = kUnrecorded;
  if (entry.empty()) {
    inode = kDirectory;
  } else if (camp_Record* const record = s_watch->record) {
    const auto [place, isNew] = record->names.try_emplace(entry, record->inodes);
    inode = place->second;
    if (isNew) {
      ++record->inodes;
      note({camp_Event::kCreate, inode, 0, entry, {}});
    } else if ((flags & O_TRUNC) != 0) {
      note({camp_Event::kTruncate, inode, 0, {}, {}});
    }
  }
  inodeOf(descriptor) = inode + 4;
}

void noteMoved(const char* from, const char* to, bool keepsFrom) {
  if (s_watch->record == nullptr)
    return;
  std::map<std::string, int>& names = s_watch->record->names;
  const auto source = names.find(entryOf(from));
  if (source == names.end())
    return;
  const int inode = source->second;
  note({keepsFrom ? camp_Event::kLink : camp_Event::kRename, inode, 0, entryOf(to), {}, entryOf(from)});
  if (!keepsFrom)
    names.erase(source);
  names[entryOf(to)] = inode;
}

void noteData(camp_Event::Kind kind, int descriptor, std::int64_t offset, const void* bytes = "",
              std::size_t count = 0) {
  if (s_watch->record != nullptr && known(descriptor) >= 0)
    note({kind, known(descriptor), offset, {}, std::string(static_cast<const char*>(bytes), count)});
}

int openFile(const char* path, int flags, mode_t mode) {
  static const auto next = real("open", static_cast<int (*)(const char*, int, ...)>(&::open));
  const bool ours = watched(path);
  if (ours && dies(judge((flags & O_CREAT) != 0)))
    return -1;
  const int descriptor = next(path, flags, mode);
  if (ours && descriptor >= 0)
    noteOpened(descriptor, path, flags);
  return descriptor;
}

int closeFile(int descriptor) {
  static const auto next = real("close", &::close);
  const bool fails = watched(descriptor) && dies(judge(false));
  if (s_watch != nullptr)
    inodeOf(descriptor) = 0;
  const int error = errno, result = next(descriptor);
  if (!fails)
    return result;
  errno = error;
  return -1;
}

ssize_t readFile(int descriptor, void* to, std::size_t count, off_t offset) {
  static const auto next = real("pread", &::pread);
  return watched(descriptor) && dies(judge(false)) ? -1 : next(descriptor, to, count, offset);
}

ssize_t writeFile(int descriptor, const void* from, std::size_t count, off_t offset) {
  static const auto next = real("pwrite", &::pwrite);
  const Verdict verdict = watched(descriptor) ? judge(true) : kPass;
  if (verdict == kKill)
    next(descriptor, from, s_watch->random.Below(count + 1), offset);
  if (dies(verdict))
    return -1;
  const ssize_t written = next(descriptor, from, verdict == kShort ? count / 2 : count, offset);
  if (watched(descriptor) && written > 0)
    noteData(camp_Event::kWrite, descriptor, offset, from, static_cast<std::size_t>(written));
  return written;
}

int truncateFile(int descriptor, off_t length) {
  static const auto next = real("ftruncate", &::ftruncate);
  if (watched(descriptor) && dies(judge(true)))
    return -1;
  const int result = next(descriptor, length);
  if (watched(descriptor) && result == 0)
    noteData(camp_Event::kTruncate, descriptor, length);
  return result;
}

int syncFile(int descriptor, int (*next)(int)) {
  if (!watched(descriptor))
    return next(descriptor);
  if (dies(judge(true)))
    return -1;
  if (s_watch->record == nullptr) // nothing here is to survive the machine
    return 0;
  if (known(descriptor) == kDirectory)
    note({camp_Event::kDirectorySync, kNone, 0, {}, {}});
  else
    noteData(camp_Event::kSync, descriptor, 0);
  return 0;
}

// Renaming and linking, by whatever function.
template <class Call>
int moveFile(const char* from, const char* to, bool keepsFrom, Call call) {
  const bool ours = watched(from);
  if (ours && dies(judge(true)))
    return -1;
  const int result = call();
  if (ours && result == 0)
    noteMoved(from, to, keepsFrom);
  return result;
}

} // namespace

void camp_Io::Watch(const std::string& directory) {
  ::Watch& w = watch();
  w = ::Watch();
  std::strncpy(w.directory, directory.c_str(), sizeof w.directory - 1);
  w.on = true;
}

void camp_Io::Stop() {
  watch().on = false;
  watch().record = nullptr;
}

void camp_Io::CountIn(std::int64_t* calls) {
  watch().calls = calls;
}

void camp_Io::KillAt(std::int64_t n, camp_Random random) {
  watch().killAt = n;
  watch().random = random;
}

void camp_Io::FailAt(std::int64_t n, int error, Fault fault) {
  watch().failAt = n;
  watch().error = error;
  watch().fault = fault;
}

void camp_Io::RecordTo(camp_Record* record) {
  watch().record = record;
}

void camp_Io::Mark(camp_Event::Kind kind, std::uint64_t digest) {
  if (s_watch != nullptr && s_watch->on)
    note({kind, kNone, static_cast<std::int64_t>(digest), {}, {}});
}

// The functions themselves; the program's come before those of the C library, for every library it loads.
#pragma GCC visibility push(default)
#define CAMP_MODE(flags)                                                                                     \
  mode_t mode = 0;                                                                                           \
  if (((flags)&O_CREAT) != 0) {                                                                              \
    va_list rest;                                                                                            \
    va_start(rest, flags);                                                                                   \
    mode = va_arg(rest, mode_t);                                                                             \
    va_end(rest);                                                                                            \
  }
extern "C" {
int open(const char* path, int flags, ...) {
  CAMP_MODE(flags)
  return openFile(path, flags, mode);
}
int open64(const char* path, int flags, ...) {
  CAMP_MODE(flags)
  return openFile(path, flags | O_LARGEFILE, mode);
}
int close(int descriptor) {
  return closeFile(descriptor);
}
ssize_t pread(int descriptor, void* to, size_t count, off_t offset) {
  return readFile(descriptor, to, count, offset);
}
ssize_t pread64(int descriptor, void* to, size_t count, off64_t offset) {
  return readFile(descriptor, to, count, offset);
}
ssize_t pwrite(int descriptor, const void* from, size_t count, off_t offset) {
  return writeFile(descriptor, from, count, offset);
}
ssize_t pwrite64(int descriptor, const void* from, size_t count, off64_t offset) {
  return writeFile(descriptor, from, count, offset);
}
int ftruncate(int descriptor, off_t length) noexcept {
  return truncateFile(descriptor, length);
}
int ftruncate64(int descriptor, off64_t length) noexcept {
  return truncateFile(descriptor, length);
}
int fsync(int descriptor) {
  static const auto next = real("fsync", &::fsync);
  return syncFile(descriptor, next);
}
int fdatasync(int descriptor) {
  static const auto next = real("fdatasync", &::fdatasync);
  return syncFile(descriptor, next);
}
int rename(const char* from, const char* to) noexcept {
  static const auto next = real("rename", static_cast<int (*)(const char*, const char*)>(&::rename));
  return moveFile(from, to, false, [&] { return next(from, to); });
}
int renameat2(int fromIn, const char* from, int toIn, const char* to, unsigned flags) noexcept {
  static const auto next =
      real("renameat2", static_cast<int (*)(int, const char*, int, const char*, unsigned)>(&::renameat2));
  return moveFile(from, to, false, [&] { return next(fromIn, from, toIn, to, flags); });
}
int link(const char* from, const char* to) noexcept {
  static const auto next = real("link", static_cast<int (*)(const char*, const char*)>(&::link));
  return moveFile(from, to, true, [&] { return next(from, to); });
}
int unlink(const char* path) noexcept {
  static const auto next = real("unlink", static_cast<int (*)(const char*)>(&::unlink));
  const bool ours = watched(path);
  if (ours && dies(judge(false)))
    return -1;
  const int result = next(path);
  if (ours && result == 0 && s_watch->record != nullptr) {
    note({camp_Event::kUnlink, kNone, 0, entryOf(path), {}});
    s_watch->record->names.erase(entryOf(path));
  }
  return result;
}
int flock(int descriptor, int operation) noexcept {
  static const auto next = real("flock", static_cast<int (*)(int, int)>(&::flock));
  return watched(descriptor) && dies(judge(false)) ? -1 : next(descriptor, operation);
}
int fstat(int descriptor, struct stat* status) noexcept {
  static const auto next = real("fstat", static_cast<int (*)(int, struct stat*)>(&::fstat));
  return watched(descriptor) && dies(judge(false)) ? -1 : next(descriptor, status);
}
int stat(const char* path, struct stat* status) noexcept {
  static const auto next = real("stat", static_cast<int (*)(const char*, struct stat*)>(&::stat));
  return watched(path) && dies(judge(false)) ? -1 : next(path, status);
}
}
#pragma GCC visibility pop
