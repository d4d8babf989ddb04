#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

/// A file descriptor and who closes it. Private to the module.
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

  /// \return false with errno set.
  static bool Of(int descriptor, vfd_FileIdentity& identity);
  static bool Of(const std::string& name, vfd_FileIdentity& identity);
};

/// How often this process has become another one by fork(), as far as the system's libraries tell. Cheap.
unsigned vfd_Forks();

/// A number that nobody can guess.
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
/// Waits until the file's bytes and size are on the disk.
bool vfd_Sync(int descriptor);
/// Waits until the names in the directory of `file` are on the disk.
bool vfd_SyncDirectoryOf(const std::string& file);
/// Renames; with `mustBeNew` an existing file of that name is left alone, errno EEXIST.
bool vfd_Rename(const std::string& from, const std::string& to, bool mustBeNew);
/// Removes a name; one that is missing is no failure.
bool vfd_Remove(const std::string& name);
