#pragma once

#include <H5Journal/files/vfd_Io.h>
#include <H5Journal/files/vfd_Mapping.h>
#include <H5Journal/journal/vfd_Mark.h>

#include <cstdint>

/// The file itself: its bytes, what of it is surely on the disk, and its mark. All calls answer false with
/// the cause in vfd_LastCause().
class vfd_MainFile {
 public:
  /// Takes over an opened file.
  /// \return false with errno set.
  bool Take(vfd_Descriptor file);
  void Close() {
    m_mapping.Close();
    m_file.Close();
  }
  vfd_Descriptor Release() { return std::move(m_file); }
  /// Looks at its size again, which another process may change.
  /// \return false with errno set.
  bool LookAgain() { return vfd_GetSize(m_file.Get(), m_size); }

  bool IsOpen() const { return m_file.IsOpen(); }
  int Get() const { return m_file.Get(); }
  const vfd_FileIdentity& Identity() const { return m_identity; }
  std::uint64_t Size() const { return m_size; }
  /// Bytes of it that are on the disk, at least.
  std::uint64_t SyncedSize() const { return m_syncedSize; }

  bool Read(std::uint64_t address, std::size_t count, void* bytes) const;
  bool Write(std::uint64_t address, std::size_t count, const void* bytes);
  /// Others have written all bytes from `address` to `end`.
  void HasGrown(std::uint64_t address, std::uint64_t end);
  /// Makes it at least `end` bytes long, with room on the disk.
  bool Extend(std::uint64_t end);
  /// Up to here every byte has its place on the disk.
  std::uint64_t Reserved() const { return m_reserved; }
  /// Room for what will be written there, where the file had holes when it was opened.
  bool ReserveHole(std::uint64_t start, std::uint64_t end);
  bool SetSize(std::uint64_t size);
  bool Sync();

  vfd_Mark& Mark() { return m_mark; }
  const vfd_Mark& Mark() const { return m_mark; }
  /// Writes the mark into the file, if it has one.
  bool WriteMark();
  /// Writes of it that the journal must have the commit of that number. Survives the process, and costs next
  /// to nothing.
  void StateReached(std::uint64_t number);
  /// The first page as it belongs into the file: with the mark as it is now.
  void PutMark(unsigned char* page) const;

 private:
  vfd_Descriptor m_file;
  vfd_FileIdentity m_identity;
  vfd_Mark m_mark;
  vfd_Mapping m_mapping; // of the mark, once used
  std::uint64_t m_size = 0, m_syncedSize = 0;
  std::uint64_t m_reserved = 0; // up to here every byte has its place on the disk
  bool m_holes = false;         // but for those that were there at first
};
