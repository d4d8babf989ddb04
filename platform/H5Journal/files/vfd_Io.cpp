#include <H5Journal/files/vfd_Io.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
// Forks are counted, since asking the system at every write would cost more than all other checks together.
constinit unsigned s_forks = 0;
constinit std::atomic<bool> s_told = false; // the system, that they are to be counted

constexpr std::size_t kLargestCall = std::size_t{1} << 30; // Linux moves at most 2 GiB at once

// A call that a signal has interrupted is made again.
template <class Call>
bool whole(Call call) {
  int result;
  do
    result = call();
  while (result != 0 && errno == EINTR);
  return result == 0;
}

// Where the file system cannot reserve, zeros do it; only past what the file has.
bool fillWithZeros(int descriptor, std::uint64_t end) {
  static constexpr unsigned char kZeros[std::size_t{64} << 10] = {};
  std::uint64_t at = 0;
  if (!vfd_GetSize(descriptor, at))
    return false;
  while (at < end) {
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(end - at, sizeof kZeros));
    if (!vfd_WriteAt(descriptor, kZeros, count, at))
      return false;
    at += count;
  }
  return true;
}
} // namespace

vfd_Owner::vfd_Owner() : m_process(::getpid()), m_forks(s_forks) {
  vfd_TellForks(s_told, [] { ++s_forks; });
}

void vfd_TellForks(std::atomic<bool>& told, void (*child)()) noexcept {
  if (told.load(std::memory_order_acquire))
    return;
  ::pthread_atfork(nullptr, nullptr, child);
  told.store(true, std::memory_order_release);
}

bool vfd_Owner::Forked() const {
  return ForkedAsFarAsTold() || ::getpid() != m_process;
}

bool vfd_Owner::ForkedAsFarAsTold() const {
  return s_forks != m_forks;
}

std::uint64_t vfd_Random() {
  std::uint64_t number = 0;
  if (::getentropy(&number, sizeof number) != 0) // no system that has files lacks it
    number = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  return number == 0 ? 1 : number;
}

void vfd_Descriptor::Close() {
  if (m_descriptor >= 0)
    ::close(std::exchange(m_descriptor, -1));
}

bool vfd_FileIdentity::Of(int descriptor, vfd_FileIdentity& identity) {
  struct stat status;
  if (::fstat(descriptor, &status) != 0)
    return false;
  identity = Of(status);
  return true;
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
  return whole([&] { return ::ftruncate(descriptor, static_cast<off_t>(size)); });
}

bool vfd_GetSize(int descriptor, std::uint64_t& size) {
  struct stat status;
  if (::fstat(descriptor, &status) != 0)
    return false;
  size = static_cast<std::uint64_t>(status.st_size);
  return true;
}

bool vfd_Reserve(int descriptor, std::uint64_t start, std::uint64_t end) {
  if (start >= end)
    return true;
#ifdef __linux__
  if (whole([&] {
        return ::fallocate(descriptor, 0, static_cast<off_t>(start), static_cast<off_t>(end - start));
      }))
    return true;
  if (errno != EOPNOTSUPP && errno != ENOSYS && errno != EINVAL)
    return false;
#endif
  return fillWithZeros(descriptor, end);
}

bool vfd_HasHoles(int descriptor) {
  constexpr std::uint64_t kBlock = 512; // what st_blocks counts, whatever the file system's own are
  struct stat status;
  return ::fstat(descriptor, &status) == 0 &&
         static_cast<std::uint64_t>(status.st_blocks) * kBlock < static_cast<std::uint64_t>(status.st_size);
}

// macOS only promises as much through a call of its own.
bool vfd_Sync(int descriptor) {
#ifdef F_FULLFSYNC
  return whole([&] { return ::fcntl(descriptor, F_FULLFSYNC); });
#else
  return whole([&] { return ::fdatasync(descriptor); });
#endif
}

bool vfd_SyncAll(int descriptor) {
#ifdef F_FULLFSYNC
  return vfd_Sync(descriptor);
#else
  return whole([&] { return ::fsync(descriptor); });
#endif
}
