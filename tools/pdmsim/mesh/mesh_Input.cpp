#include <pdmsim/mesh/mesh_Input.h>

#include <algorithm>
#include <charconv>

namespace {

constexpr std::size_t kBuffer = 1 << 20;
constexpr std::ptrdiff_t kLongestNumber = 512;
constexpr std::size_t kLongestLine = 1 << 16;

} // namespace

mesh_Input::mesh_Input(const std::string& path)
    : m_file(path), m_buffer(std::make_unique_for_overwrite<char[]>(kBuffer)), m_at(m_buffer.get()),
      m_end(m_buffer.get()) {}

void mesh_Input::Go(const Place& place) {
  m_offset = place.offset;
  m_line = place.line;
  m_at = m_end = m_buffer.get();
}

void mesh_Input::Fill() {
  const auto left = static_cast<std::size_t>(m_end - m_at);
  std::memmove(m_buffer.get(), m_at, left);
  const std::size_t got = std::min<std::size_t>(kBuffer - left, m_file.Size() - m_offset);
  m_file.Read(m_offset, m_buffer.get() + left, got);
  m_at = m_buffer.get();
  m_end = m_at + left + got;
  m_offset += got;
}

void mesh_Input::Require(std::size_t count, std::size_t bytes, const char* what) const {
  if (bytes != 0 && count > Left() / bytes) // rows without a number take no room
    Fail("at most " + std::to_string(Left() / bytes) + " " + what + " in the rest of the file",
         std::to_string(count));
}

bool mesh_Input::NextLine(std::string& line) {
  line.clear();
  if (m_at == m_end)
    Fill();
  if (m_at == m_end)
    return false;
  for (bool ends = false; !ends && m_at != m_end;) {
    const char* const end = std::find(m_at, m_end, '\n');
    if (line.size() + static_cast<std::size_t>(end - m_at) > kLongestLine)
      Fail("a line of at most 65536 characters", "a longer one");
    line.append(m_at, end);
    ends = end != m_end;
    m_at = ends ? end + 1 : end;
    if (!ends)
      Fill();
  }
  ++m_line;
  while (!line.empty() && IsSpace(line.back()))
    line.pop_back();
  line.erase(0, static_cast<std::size_t>(std::find_if_not(line.begin(), line.end(), IsSpace) - line.begin()));
  return true;
}

bool mesh_Input::ToWord() {
  for (;;) {
    for (; m_at != m_end && IsSpace(*m_at); ++m_at)
      m_line += *m_at == '\n';
    if (m_end - m_at >= kLongestNumber)
      return true;
    const std::ptrdiff_t left = m_end - m_at;
    if (m_offset >= m_file.Size())
      return left > 0;
    Fill();
    if (left > 0)
      return true;
  }
}

const char* mesh_Input::WordEnd() const {
  return std::find_if(m_at, m_end, IsSpace);
}

bool mesh_Input::AtEnd() {
  return !ToWord();
}

bool mesh_Input::NextWord(std::string& word) {
  word.clear();
  if (!ToWord())
    return false;
  const char* const end = std::min(WordEnd(), m_at + std::min(m_end - m_at, kLongestNumber));
  word.assign(m_at, end);
  m_at = end;
  return true;
}

long long mesh_Input::Int(const char* what) {
  const char* at = ToWord() ? m_at : nullptr;
  if (!at)
    Fail(what);
  const bool negative = *at == '-';
  at += negative || *at == '+';
  const char* const digits = at;
  unsigned long long number = 0;
  for (; at != m_end && at - digits < 18 && *at >= '0' && *at <= '9'; ++at)
    number = number * 10 + static_cast<unsigned>(*at - '0');
  if (at == digits || (at != m_end && !IsSpace(*at)))
    Fail(what);
  m_at = at;
  return negative ? -static_cast<long long>(number) : static_cast<long long>(number);
}

double mesh_Input::Real(const char* what) {
  if (!ToWord())
    Fail(what);
  double number = 0;
  const char* const begin = m_at + (*m_at == '+');
  const auto [end, error] =
      std::from_chars(begin, std::min(m_end, begin + std::min(m_end - begin, kLongestNumber)), number);
  // What is too small or too great for a double is as far as it goes: from_chars leaves the number alone.
  if (error == std::errc::invalid_argument || (end != m_end && !IsSpace(*end)))
    Fail(what);
  if (error == std::errc::result_out_of_range)
    number = std::strtod(std::string(begin, end).c_str(), nullptr);
  m_at = end;
  return number;
}

int mesh_Input::Int(const char* what, long long least, long long greatest) {
  const long long number = Int(what);
  if (number < least || number > greatest)
    Fail(std::string(what) + " in " + std::to_string(least) + ".." + std::to_string(greatest), number);
  return static_cast<int>(number);
}

void mesh_Input::SkipTo(const std::string& text) {
  for (;;) {
    const char* const found = std::search(m_at, m_end, text.begin(), text.end());
    const bool here = found != m_end;
    const char* const next =
        here ? found + text.size()
             : m_end - std::min(m_end - m_at, static_cast<std::ptrdiff_t>(text.size()) - 1);
    m_line += static_cast<std::size_t>(std::count(m_at, next, '\n'));
    m_at = next;
    if (here)
      return;
    const std::ptrdiff_t left = m_end - m_at;
    Fill();
    if (m_end - m_at == left)
      Fail(text, "the end of the file");
  }
}

void mesh_Input::SkipLines(std::size_t count, const char* what) {
  for (; count > 0; --count) {
    if (!ToWord())
      Fail(what);
    while (m_at != m_end) {
      const void* const end = std::memchr(m_at, '\n', static_cast<std::size_t>(m_end - m_at));
      m_at = end ? static_cast<const char*>(end) : m_end;
      if (end)
        break;
      Fill();
    }
  }
}

void mesh_Input::Bytes(void* out, std::size_t count, const char* what) {
  auto* to = static_cast<char*>(out);
  while (count > 0) {
    const std::size_t here = std::min(count, static_cast<std::size_t>(m_end - m_at));
    std::memcpy(to, m_at, here);
    m_at += here;
    to += here;
    count -= here;
    if (count >= kBuffer && count <= Left()) { // past the buffer, which is empty
      m_file.Read(m_offset, to, count);
      m_offset += count;
      return;
    }
    if (count > 0)
      Fill();
    if (count > 0 && m_at == m_end)
      Fail(what, "the end of the file");
  }
}

void mesh_Input::Skip(std::size_t bytes, const char* what) {
  if (bytes > Left())
    Fail(what, "the end of the file");
  if (bytes <= static_cast<std::size_t>(m_end - m_at))
    m_at += bytes;
  else
    Go({Here().offset + bytes, m_line});
}

void mesh_Input::Fail(const std::string& expected, const std::string& found) const {
  throw mesh_Error(m_file.Path(),
                   (m_binary ? "byte " + std::to_string(Here().offset) : "line " + std::to_string(m_line)) +
                       ": expected " + expected + ", found " + found);
}

void mesh_Input::Fail(const std::string& expected) {
  std::string word;
  if (!NextWord(word))
    Fail(expected, "the end of the file");
  Fail(expected, "'" + word.substr(0, 40) + "'");
}
