#include <H5Journal/opening/vfd_Locks.h>

#include <H5Journal/files/vfd_Io.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <unistd.h>

namespace {
constexpr off_t kWriterByte = off_t{1} << 62, kReadersByte = kWriterByte + 1, kShownByte = kWriterByte + 2;
constexpr off_t kHelpersBytes = kWriterByte + 16; // and as many as there may be helpers

#ifdef F_OFD_SETLK
struct flock describe(short type, off_t byte) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = byte;
  lock.l_len = 1;
  return lock;
}

vfd_Locks::Result setByte(int descriptor, short type, off_t byte) {
  struct flock lock = describe(type, byte);
  int result;
  do
    result = ::fcntl(descriptor, F_OFD_SETLK, &lock);
  while (result != 0 && errno == EINTR);
  if (result == 0)
    return vfd_Locks::Result::kTaken;
  if (errno == EAGAIN || errno == EACCES)
    return vfd_Locks::Result::kHeld;
  return errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP ? vfd_Locks::Result::kUnsupported
                                                                   : vfd_Locks::Result::kFailed;
}
#endif
} // namespace

vfd_Locks::Result vfd_Locks::TakeFile(int descriptor, bool shared) {
  int result;
  do
    result = ::flock(descriptor, (shared ? LOCK_SH : LOCK_EX) | LOCK_NB);
  while (result != 0 && errno == EINTR);
  if (result == 0)
    return Result::kTaken;
  if (errno == EWOULDBLOCK)
    return Result::kHeld;
  return errno == ENOSYS || errno == EOPNOTSUPP ? Result::kUnsupported : Result::kFailed;
}

#ifdef F_OFD_SETLK
void vfd_Locks::MarkWriter(int descriptor) {
  setByte(descriptor, F_WRLCK, kWriterByte);
}

bool vfd_Locks::HasWriter(int descriptor) {
  struct flock lock = describe(F_RDLCK, kWriterByte);
  return ::fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

vfd_Locks::Result vfd_Locks::ShareReaders(int descriptor) {
  return setByte(descriptor, F_RDLCK, kReadersByte);
}

vfd_Locks::Result vfd_Locks::TryReaders(int descriptor) {
  return setByte(descriptor, F_WRLCK, kReadersByte);
}

void vfd_Locks::ReleaseReaders(int descriptor) {
  setByte(descriptor, F_UNLCK, kReadersByte);
}

vfd_Locks::Result vfd_Locks::TakeHelper(int descriptor, unsigned number) {
  return setByte(descriptor, F_RDLCK, kHelpersBytes + static_cast<off_t>(number));
}

void vfd_Locks::Show(int descriptor) {
  setByte(descriptor, F_RDLCK, kShownByte);
}

bool vfd_Locks::HasShown(int descriptor) {
  struct flock lock = describe(F_WRLCK, kShownByte);
  return ::fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

long vfd_Locks::HelperAtWork(int descriptor) {
  struct flock lock = describe(F_WRLCK, kHelpersBytes);
  lock.l_len = kMostHelpers;
  const bool held = ::fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
  return held ? static_cast<long>(lock.l_start - kHelpersBytes) : -1;
}
#else
// Without such locks there are no live readers, and nobody to wait for.
void vfd_Locks::MarkWriter(int) {}
bool vfd_Locks::HasWriter(int) {
  return false;
}
vfd_Locks::Result vfd_Locks::ShareReaders(int) {
  return Result::kUnsupported;
}
vfd_Locks::Result vfd_Locks::TryReaders(int) {
  return Result::kUnsupported;
}
void vfd_Locks::ReleaseReaders(int) {}
vfd_Locks::Result vfd_Locks::TakeHelper(int, unsigned) {
  return Result::kUnsupported;
}
void vfd_Locks::Show(int) {}
bool vfd_Locks::HasShown(int) {
  return false;
}
long vfd_Locks::HelperAtWork(int) {
  return -1;
}
#endif

// The system's list of locks names the process. Its device number may differ from the file's on layered file
// systems, so the inode decides.
bool vfd_Locks::HolderOf(int descriptor, vfd_Writer& who, bool& writes) {
  vfd_FileIdentity file;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> list(std::fopen("/proc/locks", "re"), &std::fclose);
  if (list == nullptr || !vfd_FileIdentity::Of(descriptor, file))
    return false;
  char line[256];
  while (std::fgets(line, sizeof line, list.get()) != nullptr) {
    char kind[8] = {};
    int process = 0;
    unsigned deviceMajor = 0, deviceMinor = 0;
    std::uint64_t inode = 0;
    if (std::sscanf(line, "%*s FLOCK %*s %7s %d %x:%x:%" SCNu64, kind, &process, &deviceMajor, &deviceMinor,
                    &inode) == 5 &&
        inode == file.inode && process > 0 && process != ::getpid()) {
      who = vfd_Writer::Self(); // the same host
      who.process = static_cast<std::uint64_t>(process);
      writes = std::strcmp(kind, "WRITE") == 0;
      return true;
    }
  }
  return false;
}
