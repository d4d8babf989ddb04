#include <UTI_CoreUtils/err_Stream.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <mutex>
#include <new>
#include <pthread.h>
#include <thread>
#include <unistd.h>

namespace {
// How long a thread lets another one finish its line. Nobody has to finish one, so not for ever.
constexpr std::chrono::milliseconds kPatience{50};

constinit std::mutex s_mutex; // guards what follows, and one call of the sink at a time
constinit err_Sink s_sink = nullptr;
constinit void* s_user = nullptr;
constinit const char* s_writer = nullptr; // the mark of the thread in the middle of a line

constinit thread_local char t_mark = 0; // only its place counts

// A child made by fork() finds the stream free, whatever other threads of its parent were at.
void freeInChild() {
  new (&s_mutex) std::mutex;
  s_writer = nullptr;
}

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

// The stream, to this thread alone and at the beginning of a line or within its own.
std::unique_lock<std::mutex> take() {
  using Clock = std::chrono::steady_clock;
  static const bool s_child = ::pthread_atfork(nullptr, nullptr, &freeInChild) == 0;
  static_cast<void>(s_child);
  std::unique_lock lock(s_mutex);
  if (s_writer == nullptr || s_writer == &t_mark)
    return lock;
  for (const auto end = Clock::now() + kPatience; s_writer != nullptr && Clock::now() < end;) {
    lock.unlock();
    std::this_thread::yield();
    lock.lock();
  }
  return lock;
}
} // namespace

void err_Write(const char* text) {
  if (text == nullptr || *text == '\0')
    return;
  const auto lock = take();
  if (s_sink != nullptr)
    s_sink(text, s_user);
  else
    writeToDescriptor(text);
  s_writer = text[std::strlen(text) - 1] == '\n' ? nullptr : &t_mark;
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
  const auto lock = take();
  if (s_sink != nullptr)
    s_sink("", s_user);
  s_writer = nullptr;
}

void err_InstallSink(err_Sink sink, void* user) {
  const auto lock = take();
  s_sink = sink;
  s_user = user;
}

void err_RemoveSink() {
  err_InstallSink(nullptr, nullptr);
}
