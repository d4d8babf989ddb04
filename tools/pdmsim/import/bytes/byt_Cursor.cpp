#include <pdmsim/import/bytes/byt_Cursor.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t kBuffer = std::size_t{256} << 10;

bool isSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

} // namespace

std::string byt_Quoted(std::string_view word) {
  std::string text(word.substr(0, 40));
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c > '~'; }, '?');
  return "'" + text + (word.size() > 40 ? "...'" : "'");
}

byt_Cursor::byt_Cursor(const mesh_File& file, byt_Range range)
    : m_file(file), m_end(std::min(range.end, file.Size())), m_bufferAt(std::min(range.begin, m_end)) {}

// Drops what was taken and reads on. False at the end.
bool byt_Cursor::Fill() {
  m_buffer.erase(0, m_next);
  m_bufferAt += m_next;
  m_next = 0;
  const std::size_t kept = m_buffer.size();
  const std::uint64_t left = m_end - m_bufferAt - kept;
  const auto more = static_cast<std::size_t>(std::min<std::uint64_t>(left, kBuffer));
  m_buffer.resize(kept + more);
  m_file.Read(m_bufferAt + kept, m_buffer.data() + kept, more);
  return more > 0;
}

void byt_Cursor::SkipTo(std::uint64_t at) {
  if (at >= m_bufferAt && at - m_bufferAt <= m_buffer.size()) {
    m_next = static_cast<std::size_t>(at - m_bufferAt);
    return;
  }
  m_buffer.clear();
  m_next = 0;
  m_bufferAt = std::min(at, m_end);
}

void byt_Cursor::Unexpected(const char* expected, std::string_view found) const {
  m_file.Fail("expected " + std::string(expected) + " at byte " + std::to_string(At()) + ", found " +
              (found.empty() ? "the end" : byt_Quoted(found)));
}

std::string_view byt_Cursor::Word() {
  for (;; ++m_next) {
    if (m_next == m_buffer.size() && !Fill())
      return {};
    if (!isSpace(m_buffer[m_next]))
      break;
  }
  for (std::size_t end = m_next;; ++end) {
    if (end - m_next > kLongest)
      Unexpected("a word", std::string_view(m_buffer).substr(m_next));
    if (end == m_buffer.size()) {
      end -= m_next;
      if (!Fill())
        return std::string_view(m_buffer).substr(std::exchange(m_next, end), end);
    }
    if (isSpace(m_buffer[end])) {
      const std::size_t begin = std::exchange(m_next, end);
      return std::string_view(m_buffer).substr(begin, end - begin);
    }
  }
}

void byt_Cursor::SkipWords(std::uint64_t count) {
  if (count > Left())
    m_file.Fail("expected " + std::to_string(count) + " numbers at byte " + std::to_string(At()) +
                ", found " + std::to_string(Left()) + " bytes");
  for (; count > 0; --count)
    if (Word().empty())
      Unexpected("more numbers", {});
}

std::string_view byt_Cursor::Line() {
  for (std::size_t end = m_next;; ++end) {
    if (end - m_next > kLongest)
      Unexpected("a line", std::string_view(m_buffer).substr(m_next));
    if (end == m_buffer.size()) {
      end -= m_next;
      if (!Fill())
        return std::string_view(m_buffer).substr(std::exchange(m_next, end), end);
    }
    if (m_buffer[end] == '\n') {
      const std::size_t begin = std::exchange(m_next, end + 1);
      end -= end > begin && m_buffer[end - 1] == '\r' ? 1 : 0;
      return std::string_view(m_buffer).substr(begin, end - begin);
    }
  }
}

void byt_Cursor::Bytes(char* to, std::size_t count) {
  if (count == 0) // and perhaps no room
    return;
  if (count > Left())
    m_file.Fail("expected " + std::to_string(count) + " bytes at byte " + std::to_string(At()) + ", found " +
                std::to_string(Left()));
  const std::size_t held = std::min(count, m_buffer.size() - m_next);
  std::memcpy(to, m_buffer.data() + m_next, held);
  m_next += held;
  if (count - held >= kBuffer) { // past the buffer
    const std::uint64_t at = At();
    m_file.Read(at, to + held, count - held);
    SkipTo(at + count - held);
  } else if (count > held) {
    Fill();
    std::memcpy(to + held, m_buffer.data(), count - held);
    m_next = count - held;
  }
}

double byt_Cursor::Number() {
  std::string_view word = Word();
  const std::string_view whole = word;
  word.remove_prefix(word.starts_with('+') ? 1 : 0);
  double value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (end == word.data() + word.size() && !word.empty()) {
    if (error == std::errc())
      return value;
    if (error == std::errc::result_out_of_range) // denormal or beyond: as the C library rounds it
      return std::strtod(std::string(word).c_str(), nullptr);
  }
  Unexpected("a number", whole);
}

long long byt_Cursor::Integer() {
  std::string_view word = Word();
  const std::string_view whole = word;
  word.remove_prefix(word.starts_with('+') ? 1 : 0);
  long long value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (end != word.data() + word.size() || error != std::errc() || word.empty())
    Unexpected("an integer", whole);
  return value;
}
