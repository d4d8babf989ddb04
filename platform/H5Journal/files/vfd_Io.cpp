#include <H5Journal/files/vfd_Io.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constinit unsigned s_forks = 0;

constexpr std::size_t kLargestCall = std::size_t{1} << 30; // Linux moves at most 2 GiB at once

bool identityOf(const struct stat& status, vfd_FileIdentity& identity) {
  identity = {static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino)};
  return true;
}

// Waits for the disk. macOS only promises as much through a call of its own.
int waitForDisk(int descriptor, bool wholeInode) {
#ifdef F_FULLFSYNC
  static_cast<void>(wholeInode);
  return ::fcntl(descriptor, F_FULLFSYNC);
#else
  return wholeInode ? ::fsync(descriptor) : ::fdatasync(descriptor);
#endif
}
} // namespace

// Counted, since asking the system at every write would cost more than all other checks together.
unsigned vfd_Forks() {
  static const bool s_counts = ::pthread_atfork(nullptr, nullptr, [] { ++s_forks; }) == 0;
  static_cast<void>(s_counts);
  return s_forks;
}

std::uint64_t vfd_Random() {
  std::uint64_t number = 0;
  if (::getentropy(&number, sizeof number) != 0) // no system that has files lacks it
    number = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  return number;
}

void vfd_Descriptor::Close() {
  if (m_descriptor >= 0)
    ::close(std::exchange(m_descriptor, -1));
}

bool vfd_FileIdentity::Of(int descriptor, vfd_FileIdentity& identity) {
  struct stat status;
  return ::fstat(descriptor, &status) == 0 && identityOf(status, identity);
}

bool vfd_FileIdentity::Of(const std::string& name, vfd_FileIdentity& identity) {
  struct stat status;
  return ::stat(name.c_str(), &status) == 0 && identityOf(status, identity);
}

bool vfd_ReadAt(int descriptor, void* bytes, std::size_t count, std::uint64_t offset, std::size_t& got) {
  got = 0;
  while (got < count) {
    const auto moved = ::pread(descriptor, static_cast<unsigned char*>(bytes) + got,
                               std::min(count - got, kLargestCall), static_cast<off_t>(offset + got));
    if (moved == 0)
      break;
    if (moved < 0 && errno != EINTR)
      return false;
    got += moved > 0 ? static_cast<std::size_t>(moved) : 0;
  }
  return true;
}

bool vfd_ReadPadded(int descriptor, void* bytes, std::size_t count, std::uint64_t offset) {
  std::size_t got = 0;
  if (!vfd_ReadAt(descriptor, bytes, count, offset, got))
    return false;
  std::memset(static_cast<unsigned char*>(bytes) + got, 0, count - got);
  return true;
}

bool vfd_WriteAt(int descriptor, const void* bytes, std::size_t count, std::uint64_t offset) {
  for (std::size_t done = 0; done < count;) {
    const auto moved = ::pwrite(descriptor, static_cast<const unsigned char*>(bytes) + done,
                                std::min(count - done, kLargestCall), static_cast<off_t>(offset + done));
    if (moved == 0)
      errno = ENOSPC;
    if (moved == 0 || (moved < 0 && errno != EINTR))
      return false;
    done += moved > 0 ? static_cast<std::size_t>(moved) : 0;
  }
  return true;
}

bool vfd_SetSize(int descriptor, std::uint64_t size) {
  int result;
  do
    result = ::ftruncate(descriptor, static_cast<off_t>(size));
  while (result != 0 && errno == EINTR);
  return result == 0;
}

bool vfd_GetSize(int descriptor, std::uint64_t& size) {
  struct stat status;
  if (::fstat(descriptor, &status) != 0)
    return false;
  size = static_cast<std::uint64_t>(status.st_size);
  return true;
}

bool vfd_Sync(int descriptor) {
  return waitForDisk(descriptor, false) == 0;
}

bool vfd_SyncDirectoryOf(const std::string& file) {
  const std::size_t slash = file.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : file.substr(0, slash + 1);
  const vfd_Descriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return opened.IsOpen() && waitForDisk(opened.Get(), true) == 0;
}

bool vfd_Rename(const std::string& from, const std::string& to, bool mustBeNew) {
  if (!mustBeNew)
    return ::rename(from.c_str(), to.c_str()) == 0;
#ifdef RENAME_NOREPLACE
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
    return true;
  if (errno != EINVAL && errno != ENOSYS)
    return false;
#endif
  // Not every file system can: a second name, then the first away.
  return ::link(from.c_str(), to.c_str()) == 0 && vfd_Remove(from);
}

bool vfd_Remove(const std::string& name) {
  return ::unlink(name.c_str()) == 0 || errno == ENOENT;
}
