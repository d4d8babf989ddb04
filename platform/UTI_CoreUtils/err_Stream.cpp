#include <UTI_CoreUtils/err_Stream.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <unistd.h>

namespace {
constinit err_Sink s_sink = nullptr;
constinit void* s_user = nullptr;

void writeToDescriptor(const char* text) {
  for (std::size_t left = std::strlen(text); left > 0;) {
    const ssize_t written = ::write(STDERR_FILENO, text, left);
    if (written < 0 && errno == EINTR)
      continue;
    if (written <= 0)
      return; // nowhere left to complain
    text += written;
    left -= static_cast<std::size_t>(written);
  }
}
} // namespace

void err_Write(const char* text) {
  if (text == nullptr || *text == '\0')
    return;
  if (s_sink != nullptr)
    s_sink(text, s_user);
  else
    writeToDescriptor(text);
}

void err_Write(int value) {
  char digits[12];
  *std::to_chars(digits, digits + sizeof digits - 1, value).ptr = '\0';
  err_Write(digits);
}

void err_Write(char character) {
  const char text[2] = {character, '\0'};
  err_Write(text);
}

void err_Flush() {
  if (s_sink != nullptr)
    s_sink("", s_user);
}

void err_InstallSink(err_Sink sink, void* user) {
  s_sink = sink;
  s_user = user;
}

void err_RemoveSink() {
  err_InstallSink(nullptr, nullptr);
}
