#pragma once

#include <H5Journal/journal/vfd_Format.h>

#include <cstddef>
#include <cstdint>
#include <vector>

/// A page and its new content.
struct vfd_NewPage {
  std::uint64_t number;
  const unsigned char* bytes;
};

/// Appends records to a journal, many with one call. They reach the file with Flush or Commit, and before
/// that when there are many.
class vfd_Appender {
 public:
  /// \param end where in the journal the first record goes.
  ///
  /// \param chain the checksum up to there.
  vfd_Appender(int journal, std::uint64_t salt, std::uint64_t end, std::uint64_t chain)
      : m_journal(journal), m_salt(salt), m_end(end), m_chain(chain) {}

  /// Makes room for so many frames, or as many as go with one call, and a commit record. Throws
  /// std::bad_alloc.
  void Reserve(std::size_t frames);
  /// A frame of that page. Throws std::bad_alloc.
  /// \return false with errno set when writing failed.
  bool Put(const vfd_NewPage& page, vfd_FrameRef& frame);
  /// The record that makes `frames` frames count; the last of them go in the same call. Throws
  /// std::bad_alloc.
  ///
  /// \return false with errno set when writing failed.
  bool Commit(std::uint64_t frames, std::uint64_t eof, std::uint64_t sequence, bool direct);
  /// \return false with errno set.
  bool Flush();

  /// Behind what has reached the file.
  std::uint64_t End() const { return m_end; }
  /// The checksum up to the last record.
  std::uint64_t Chain() const { return m_chain; }

 private:
  unsigned char* Room(std::size_t bytes);

  int m_journal;
  std::uint64_t m_salt, m_end, m_chain;
  std::vector<unsigned char> m_records;
};
