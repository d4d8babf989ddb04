#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Appends records to a journal, many with one call. They reach the file with Flush or Commit, and before
/// that when there are many. Private to the module.
class vfd_Appender {
 public:
  /// \param end where in the journal the first record goes.
  ///
  /// \param chain the checksum up to there.
  vfd_Appender(int journal, std::uint64_t end, std::uint64_t chain)
      : m_journal(journal), m_end(end), m_chain(chain) {}

  /// Makes room for so many frames, or as many as go with one call, and a commit record. Throws
  /// std::bad_alloc.
  void Reserve(std::size_t frames);
  /// A frame of that page. Throws std::bad_alloc. \return false with errno set when writing failed.
  bool Put(std::uint64_t page, const unsigned char* bytes);
  /// The record that makes `frames` frames count; the last of them go in the same call. Throws
  /// std::bad_alloc.
  ///
  /// \return false with errno set when writing failed.
  bool Commit(std::uint64_t frames, std::uint64_t eof, std::uint64_t sequence);
  /// \return false with errno set.
  bool Flush();

  /// Behind what has reached the file.
  std::uint64_t End() const { return m_end; }
  /// The checksum up to the last record.
  std::uint64_t Chain() const { return m_chain; }

 private:
  unsigned char* Room(std::size_t bytes);

  int m_journal;
  std::uint64_t m_end, m_chain;
  std::vector<unsigned char> m_records;
};
