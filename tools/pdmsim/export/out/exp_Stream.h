#pragma once

#include <cstdio>
#include <string>
#include <string_view>

/// The shortest text that reads as the same number.
std::string exp_Shortest(double number);

/// A file that is written from its beginning to its end. Every failure throws a cli_Failure.
class exp_Stream {
 public:
  /// \param written  where the bytes go.
  /// \param shown    the name that failures tell.
  exp_Stream(const std::string& written, std::string shown);
  exp_Stream(const exp_Stream&) = delete;
  exp_Stream& operator=(const exp_Stream&) = delete;
  ~exp_Stream();

  void Bytes(const void* bytes, std::size_t size);
  exp_Stream& operator<<(std::string_view text);
  exp_Stream& operator<<(char character) { return *this << std::string_view(&character, 1); }
  exp_Stream& operator<<(long long number);
  exp_Stream& operator<<(std::size_t number) { return *this << static_cast<long long>(number); }
  exp_Stream& operator<<(int number) { return *this << static_cast<long long>(number); }
  /// As exp_Shortest.
  exp_Stream& operator<<(double number);
  exp_Stream& operator<<(float number);
  /// Bytes so far.
  unsigned long long Position() const { return m_position; }
  /// Writes over bytes that stand there already.
  void Patch(unsigned long long at, std::string_view text);
  void Close();

 private:
  [[noreturn]] void Fail() const;

  std::string m_shown;
  std::FILE* m_file;
  unsigned long long m_position = 0;
};
