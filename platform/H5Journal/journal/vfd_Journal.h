#pragma once

#include <H5Journal/files/vfd_Place.h>
#include <H5Journal/journal/vfd_Appender.h>
#include <H5Journal/journal/vfd_Content.h>

#include <chrono>
#include <cstdint>
#include <vector>

/// The journal's file and the generation in it: where the next record goes, and what the checksum is up to
/// there. Frames that no commit follows yet lie behind End(). All calls answer false with the cause in
/// vfd_LastCause().
class vfd_Journal {
 public:
  enum class Header { kNone, kWritten, kDurable };

  /// Makes an empty file of that name. It belongs to owner and group of the main file with its mode, from the
  /// first byte; where the system does not allow that, to fewer people, never to more.
  bool Make(const vfd_Place& place, const std::string& name, const struct stat& mainFile);
  /// Takes a journal that was found, to read from it or to go on in it.
  void Take(vfd_Descriptor file);
  void GoOn(const vfd_JournalContent& content);
  /// Removes the file, if the name still stands for it, and closes it.
  bool Remove(const vfd_Place& place);
  void Close();

  bool IsOpen() const { return m_file.IsOpen(); }
  /// True when somebody has removed its name.
  bool IsRemoved() const;
  /// The same, asked of the system once in a millisecond.
  bool IsKnownRemoved();
  int Get() const { return m_file.Get(); }
  const vfd_FileIdentity& Identity() const { return m_identity; }
  Header HeaderState() const { return m_header; }
  void HeaderIsDurable() { m_header = Header::kDurable; }
  /// Number of the generation; 0 before the first.
  std::uint64_t Generation() const { return m_generation; }
  /// Behind the last commit record, and the same with the frames after it.
  std::uint64_t End() const { return m_end; }
  std::uint64_t OpenEnd() const { return m_openEnd; }
  std::uint64_t OpenFrames() const { return m_openFrames; }
  /// Bytes of the file, as far as we wrote it.
  std::uint64_t FileBytes() const { return m_fileBytes; }

  /// Begins a generation with that header, whose salt it chooses. The records before it are gone.
  bool Start(vfd_Header header);
  /// Frames of an update that goes on.
  /// \param frames where they are, in the order of the pages.
  bool Spill(const std::vector<vfd_NewPage>& pages, std::vector<vfd_FrameRef>& frames);
  /// The last frames of an update and the record that makes all of them count, once it is accepted.
  /// \param direct the update has pages that are in the main file alone.
  bool Append(const std::vector<vfd_NewPage>& pages, std::uint64_t eof, std::uint64_t sequence, bool direct,
              std::vector<vfd_FrameRef>& frames);
  /// The record that was appended counts.
  void Accept();
  /// Writes zeros behind the record that was appended if it is the file's end: a sync of a file whose size
  /// and blocks stay as they are costs half as much.
  void WriteAhead();
  /// Forgets frames that no commit followed.
  void Forget();
  /// Cuts the file.
  /// \return false with errno set.
  bool Cut(std::uint64_t end);
  bool Sync();
  bool ReadFrame(std::uint64_t page, const vfd_FrameRef& frame, unsigned char* bytes) const;
  /// The page out of the first `got` bytes that were read at its frame.
  static bool TakeFrame(std::uint64_t page, const vfd_FrameRef& frame, const unsigned char* record,
                        std::size_t got, unsigned char* bytes);

 private:
  bool Put(vfd_Appender& records, const std::vector<vfd_NewPage>& pages, std::vector<vfd_FrameRef>& frames);

  vfd_Descriptor m_file;
  vfd_FileIdentity m_identity;
  Header m_header = Header::kNone;
  std::chrono::steady_clock::time_point m_looked; // when IsKnownRemoved() asked the system
  std::uint64_t m_generation = 0, m_salt = 0;
  std::uint64_t m_end = kVfdHeader, m_chain = 0;
  std::uint64_t m_openEnd = kVfdHeader, m_openChain = 0;
  std::uint64_t m_openFrames = 0;
  std::uint64_t m_appendedEnd = 0, m_appendedChain = 0; // of the record that is not accepted yet
  std::uint64_t m_fileBytes = 0;
};
