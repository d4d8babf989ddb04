#pragma once

#include <pdmsim/mesh/mesh_File.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

/// A file read from front to back, words and bytes, with the place for messages. Holds 1 MiB of it.
///
/// Every failure is a mesh_Error that names the line of a text, or the byte where bytes were read.
/// Threads: one at a time.
class mesh_Input {
 public:
  struct Place {
    std::size_t offset = 0, line = 1;
  };

  explicit mesh_Input(const std::string& path);
  mesh_Input(const mesh_Input&) = delete;
  mesh_Input& operator=(const mesh_Input&) = delete;

  const std::string& Path() const { return m_file.Path(); }
  Place Here() const { return {m_offset - static_cast<std::size_t>(m_end - m_at), m_line}; }
  void Go(const Place& place);
  std::size_t Left() const {
    return m_file.Size() - std::min<std::size_t>(m_file.Size(), Here().offset);
  } // bytes
  /// Refuses a number of things that cannot be in the rest of the file.
  /// \param bytes  that each of them takes at least.
  void Require(std::size_t count, std::size_t bytes, const char* what) const;

  /// The rest of the line, without white space at its ends. False at the end of the file.
  bool NextLine(std::string& line);
  /// The next word, which ends at white space. False at the end of the file.
  bool NextWord(std::string& word);
  long long Int(const char* what);
  double Real(const char* what);
  /// True when only white space is left.
  bool AtEnd();
  /// An integer of a range, as above.
  int Int(const char* what, long long least, long long greatest);
  /// Steps behind the next place of a text.
  void SkipTo(const std::string& text);
  /// Steps over the words in the next `count` lines that have some.
  void SkipLines(std::size_t count, const char* what);

  /// From here on messages name bytes, and numbers have that byte order.
  void ReadBytes(bool swapped) { m_binary = true, m_swapped = swapped; }
  void Bytes(void* out, std::size_t count, const char* what);
  template <class T>
  T Number(const char* what) {
    T number;
    Bytes(&number, sizeof number, what);
    return Native(number);
  }
  template <class T>
  T Native(T number) const {
    return m_swapped ? Turned(number) : number;
  }
  /// Numbers in a row, in this machine's byte order.
  template <class T>
  void Numbers(T* out, std::size_t count, const char* what) {
    Bytes(out, count * sizeof(T), what);
    if (m_swapped)
      for (std::size_t i = 0; i < count; ++i)
        out[i] = Turned(out[i]);
  }
  void Skip(std::size_t bytes, const char* what);

  [[noreturn]] void Fail(const std::string& expected, const std::string& found) const;
  [[noreturn]] void Fail(const std::string& expected, long long found) const {
    Fail(expected, std::to_string(found));
  }
  /// As above: found is the word that comes next.
  [[noreturn]] void Fail(const std::string& expected);

 private:
  template <class T>
  static T Turned(T number) {
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &number, sizeof number);
    for (std::size_t i = 0; i < sizeof(T) / 2; ++i)
      std::swap(bytes[i], bytes[sizeof(T) - 1 - i]);
    std::memcpy(&number, bytes, sizeof number);
    return number;
  }
  static bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
  void Fill();
  bool ToWord(); // with the whole of it in the buffer, if it is no longer than a number
  const char* WordEnd() const;

  mesh_File m_file;
  std::size_t m_offset = 0, m_line = 1; // m_offset: of what follows the buffer
  std::unique_ptr<char[]> m_buffer;
  const char *m_at, *m_end;
  bool m_binary = false, m_swapped = false;
};
