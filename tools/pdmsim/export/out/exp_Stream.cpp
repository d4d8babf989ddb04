#include <pdmsim/export/out/exp_Stream.h>

#include <pdmsim/cli/cli_Failure.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>

exp_Stream::exp_Stream(const std::string& written, std::string shown)
    : m_shown(std::move(shown)), m_file(std::fopen(written.c_str(), "wbe")) {
  if (m_file == nullptr)
    Fail();
  std::setvbuf(m_file, nullptr, _IOFBF, std::size_t{1} << 20);
}

exp_Stream::~exp_Stream() {
  if (m_file != nullptr)
    std::fclose(m_file);
}

void exp_Stream::Fail() const {
  throw cli_Failure(cli_Exit::kUnusable, m_shown + ": expected to write it, found: " + std::strerror(errno));
}

void exp_Stream::Bytes(const void* bytes, std::size_t size) {
  if (size > 0 && std::fwrite(bytes, 1, size, m_file) != size)
    Fail();
  m_position += size;
}

exp_Stream& exp_Stream::operator<<(std::string_view text) {
  Bytes(text.data(), text.size());
  return *this;
}

exp_Stream& exp_Stream::operator<<(long long number) {
  std::array<char, 24> text{};
  return *this << std::string_view(text.data(), std::to_chars(text.begin(), text.end(), number).ptr);
}

std::string exp_Shortest(double number) {
  std::array<char, 32> text{};
  return {text.begin(), std::to_chars(text.begin(), text.end(), number).ptr};
}

exp_Stream& exp_Stream::operator<<(double number) {
  std::array<char, 32> text{};
  return *this << std::string_view(text.data(), std::to_chars(text.begin(), text.end(), number).ptr);
}

exp_Stream& exp_Stream::operator<<(float number) {
  std::array<char, 32> text{};
  return *this << std::string_view(text.data(), std::to_chars(text.begin(), text.end(), number).ptr);
}

void exp_Stream::Patch(unsigned long long at, std::string_view text) {
  if (std::fseek(m_file, static_cast<long>(at), SEEK_SET) != 0 ||
      std::fwrite(text.data(), 1, text.size(), m_file) != text.size() || std::fseek(m_file, 0, SEEK_END) != 0)
    Fail();
}

void exp_Stream::Close() {
  const int status = std::fclose(m_file);
  m_file = nullptr;
  if (status != 0)
    Fail();
}
