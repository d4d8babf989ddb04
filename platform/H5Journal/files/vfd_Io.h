#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/stat.h>
#include <utility>

/// A file descriptor and who closes it.
class vfd_Descriptor {
 public:
  vfd_Descriptor() = default;
  explicit vfd_Descriptor(int descriptor) : m_descriptor(descriptor) {}
  vfd_Descriptor(vfd_Descriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
  vfd_Descriptor& operator=(vfd_Descriptor&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
  }
  ~vfd_Descriptor() { Close(); }

  bool IsOpen() const { return m_descriptor >= 0; }
  int Get() const { return m_descriptor; }
  void Close();

 private:
  int m_descriptor = -1;
};

/// Which file a descriptor or a name stands for.
struct vfd_FileIdentity {
  std::uint64_t device = 0, inode = 0;
  friend bool operator==(const vfd_FileIdentity&, const vfd_FileIdentity&) = default;

  static vfd_FileIdentity Of(const struct stat& status) {
    return {static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino)};
  }
  /// \return false with errno set.
  static bool Of(int descriptor, vfd_FileIdentity& identity);
};

/// The process that made this, which a child made by fork() is not.
class vfd_Owner {
 public:
  vfd_Owner();
  /// Exact.
  bool Forked() const;
  /// The same as far as the system's libraries tell; cheap enough to be asked at every write.
  bool ForkedAsFarAsTold() const;

 private:
  pid_t m_process;
  unsigned m_forks; // how often the process had become another one
};

/// Tells the system what a child made by fork() does first, once, at first use: nothing runs as the library
/// is loaded. No lock or guard is taken that a child could find taken: two threads at once may tell it twice.
/// \param told  false at first, and true from then on.
void vfd_TellForks(std::atomic<bool>& told, void (*child)()) noexcept;

/// A number that nobody can guess, and not 0.
std::uint64_t vfd_Random();

/// The calls that touch the disk, whole or not at all as far as the caller sees: interrupted and short ones
/// are gone on with. All answer false with errno set.

/// \param got bytes read, fewer than `count` only at the end of the file.
bool vfd_ReadAt(int descriptor, void* bytes, std::size_t count, std::uint64_t offset, std::size_t& got);
/// As vfd_ReadAt, with zeros past the end of the file.
bool vfd_ReadPadded(int descriptor, void* bytes, std::size_t count, std::uint64_t offset);
bool vfd_WriteAt(int descriptor, const void* bytes, std::size_t count, std::uint64_t offset);
bool vfd_SetSize(int descriptor, std::uint64_t size);
bool vfd_GetSize(int descriptor, std::uint64_t& size);
/// Makes the file at least `end` bytes long, with room on the disk for all of them from `start` on: a later
/// write there needs none.
bool vfd_Reserve(int descriptor, std::uint64_t start, std::uint64_t end);
/// True when the file has holes: a write there may find no room.
bool vfd_HasHoles(int descriptor);
/// Waits until the file's bytes and size are on the disk.
bool vfd_Sync(int descriptor);
/// The same for everything about it, as the names in a directory.
bool vfd_SyncAll(int descriptor);
