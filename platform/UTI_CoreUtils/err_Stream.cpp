#include <UTI_CoreUtils/err_Stream.h>

#include <UTI_CoreUtils/mem_AtFork.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <mutex>
#include <new>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {
// How long a thread lets another one finish its line. Nobody has to finish one, so not for ever.
constexpr std::chrono::milliseconds kPatience{500};
constexpr std::chrono::microseconds kRest{50}; // in which that thread goes on

constinit std::mutex s_mutex; // guards what follows, and one call of the sink at a time
constinit err_Sink s_sink = nullptr;
constinit void* s_user = nullptr;
constinit const char* s_writer = nullptr; // the mark of the thread in the middle of a line
constinit unsigned s_lines = 0;           // begun so far

constinit thread_local char t_mark = 0; // only its place counts
[[gnu::tls_model("initial-exec")]] constinit thread_local err_ThreadSink t_own;

// A child made by fork() finds the stream free, whatever other threads of its parent were at.
void freeInChild() {
  new (&s_mutex) std::mutex;
  s_writer = nullptr;
}
constinit mem_AtFork s_fork(nullptr, nullptr, &freeInChild);

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
  s_fork.Tell();
  std::unique_lock lock(s_mutex);
  unsigned line = s_lines - 1;
  Clock::time_point end;
  while (s_writer != nullptr && s_writer != &t_mark) {
    const auto now = Clock::now();
    if (std::exchange(line, s_lines) != s_lines)
      end = now + kPatience;
    else if (now >= end)
      break;
    lock.unlock();
    std::this_thread::sleep_for(kRest);
    lock.lock();
  }
  return lock;
}

// REQUIRES the lock.
void noteLine(bool ended) {
  if (s_writer != &t_mark)
    ++s_lines;
  s_writer = ended ? nullptr : &t_mark;
}
} // namespace

void err_TellForks() noexcept {
  s_fork.Tell();
}

void err_Write(const char* text) {
  if (text == nullptr || *text == '\0')
    return;
  if (t_own.sink != nullptr)
    return t_own.sink(text, t_own.user);
  const auto lock = take();
  if (s_sink != nullptr)
    s_sink(text, s_user);
  else
    writeToDescriptor(text);
  noteLine(text[std::strlen(text) - 1] == '\n');
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
  if (t_own.sink != nullptr)
    return t_own.sink("", t_own.user);
  const auto lock = take();
  if (s_sink != nullptr)
    s_sink("", s_user);
  noteLine(true);
}

void err_InstallSink(err_Sink sink, void* user) {
  const auto lock = take();
  s_sink = sink;
  s_user = user;
}

void err_RemoveSink() {
  err_InstallSink(nullptr, nullptr);
}

err_ThreadSink err_ExchangeThreadSink(err_ThreadSink next) {
  return std::exchange(t_own, next);
}
