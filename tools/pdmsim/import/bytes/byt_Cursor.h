#pragma once

#include <pdmsim/mesh/mesh_File.h>

#include <string_view>

/// A piece of a file: bytes [begin, end).
struct byt_Range {
  std::uint64_t begin = 0, end = 0;
};

/// Goes through a piece of a file from its begin to its end.
class byt_Cursor {
 public:
  byt_Cursor(const mesh_File& file, byt_Range range);

  /// The place in the file of what comes next.
  std::uint64_t At() const { return m_bufferAt + m_next; }
  std::uint64_t Left() const { return m_end - At(); }
  void SkipTo(std::uint64_t at);
  /// What comes next up to white space, which is skipped before it. "" at the end. Valid until the next call.
  /// Throws mesh_Error for a word of more than kLongest bytes.
  std::string_view Word();
  /// Skips that many words. Throws mesh_Error when there are fewer.
  void SkipWords(std::uint64_t count);
  /// What comes next up to the end of the line, which is skipped, too. Throws mesh_Error as above.
  std::string_view Line();
  /// Bytes as they are. Throws mesh_Error when there are fewer.
  void Bytes(char* to, std::size_t count);
  /// The next number. Throws mesh_Error for a word that is none.
  double Number();
  long long Integer();

  const mesh_File& File() const { return m_file; }

  static constexpr std::size_t kLongest = 4096;

 private:
  bool Fill();
  [[noreturn]] void Unexpected(const char* expected, std::string_view found) const;

  mesh_File m_file;
  std::uint64_t m_end, m_bufferAt; // the place in the file of the buffer's first byte
  std::string m_buffer;
  std::size_t m_next = 0; // in the buffer
};

/// A word for a message: its beginning, without what terminals take for commands.
std::string byt_Quoted(std::string_view word);
