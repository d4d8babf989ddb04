#pragma once

#include <pdmsim/mesh/mesh_Error.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

/// A file that is read where one likes, open while a copy of this object lives.
class byt_File {
 public:
  /// Throws mesh_Error.
  explicit byt_File(const std::string& path);

  const std::string& Path() const { return m_path; }
  std::uint64_t Size() const { return m_size; }
  /// Throws mesh_Error when the file does not hold all of it.
  void Read(std::uint64_t at, void* to, std::size_t bytes) const;
  /// Throws mesh_Error.
  [[noreturn]] void Fail(const std::string& what) const { throw mesh_Error(m_path, what); }

 private:
  std::string m_path;
  std::uint64_t m_size = 0;
  std::shared_ptr<std::FILE> m_file;
};

/// A piece of a file: bytes [begin, end).
struct byt_Range {
  std::uint64_t begin = 0, end = 0;
};

/// Goes through a piece of a file from its begin to its end.
class byt_Cursor {
 public:
  byt_Cursor(const byt_File& file, byt_Range range);

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

  const byt_File& File() const { return m_file; }

  static constexpr std::size_t kLongest = 4096;

 private:
  bool Fill();
  [[noreturn]] void Unexpected(const char* expected, std::string_view found) const;

  byt_File m_file;
  std::uint64_t m_end, m_bufferAt; // the place in the file of the buffer's first byte
  std::string m_buffer;
  std::size_t m_next = 0; // in the buffer
};

/// A word for a message: its beginning, without what terminals take for commands.
std::string byt_Quoted(std::string_view word);
