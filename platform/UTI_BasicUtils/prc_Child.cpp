#include <UTI_BasicUtils/prc_Child.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace {
constexpr char kEnded = '\4'; // the last byte of a child that got to its end
constexpr std::size_t kMostOutput = std::size_t{256} << 20;
constexpr int kTick = 100; // ms

// A sanitizer's own memory is far beyond any limit.
constexpr bool kLimitsMemory =
#if defined(__SANITIZE_ADDRESS__)
    false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    false;
#else
    true;
#endif
#else
    true;
#endif

std::uint64_t addressSpace() {
  unsigned long pages = 0;
  if (std::FILE* const file = std::fopen("/proc/self/statm", "re")) {
    if (std::fscanf(file, "%lu", &pages) != 1)
      pages = 0;
    std::fclose(file);
  }
  return std::uint64_t{pages} * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

// Never above a limit that is there already.
void limit(__rlimit_resource what, std::uint64_t most) {
  rlimit old{};
  if (::getrlimit(what, &old) != 0)
    return;
  const rlim_t lowered = std::min<rlim_t>(most, old.rlim_max);
  const rlimit wanted{lowered, lowered};
  ::setrlimit(what, &wanted);
}

void restrictSelf(const prc_ChildLimits& limits) {
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_FSIZE, 0);
  limit(RLIMIT_CPU, static_cast<std::uint64_t>(limits.cpuSeconds));
  if (const std::uint64_t used = addressSpace(); kLimitsMemory && used != 0)
    limit(RLIMIT_AS, used + limits.memory);
}

// The host's handlers know nothing of this process.
void forgetSignals() {
  for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGINT, SIGTERM, SIGHUP,
                           SIGQUIT, SIGALRM, SIGXCPU, SIGXFSZ, SIGPIPE, SIGCHLD, SIGUSR1, SIGUSR2})
    std::signal(number, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

void silenceStreams() {
  const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int descriptor = 0; null >= 0 && descriptor <= 2; ++descriptor)
    ::dup2(null, descriptor);
}

bool writeAll(int pipe, const char* bytes, std::size_t n) {
  while (n > 0) {
    const ssize_t written = ::write(pipe, bytes, n);
    if (written < 0 && errno == EINTR)
      continue;
    if (written <= 0)
      return false;
    bytes += written;
    n -= static_cast<std::size_t>(written);
  }
  return true;
}

[[noreturn]] void beChild(int pipe, pid_t parent, const prc_ChildLimits& limits,
                          const std::function<void(const prc_Child::Say&)>& work) {
#ifdef __linux__
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
  if (::getppid() != parent)
    ::_exit(1);
  forgetSignals();
  silenceStreams();
  restrictSelf(limits);
  try {
    work([&](const std::string& text) {
      if (!writeAll(pipe, text.data(), text.size()))
        ::_exit(1);
    });
    writeAll(pipe, &kEnded, 1);
  } catch (const std::bad_alloc&) {
    ::_exit(ENOMEM);
  } catch (...) {
    ::_exit(1);
  }
  ::_exit(0);
}

// The child as the parent knows it: killed and waited for, whatever happens.
class Child {
 public:
  Child(pid_t pid, int pipe) : m_pid(pid), m_pipe(pipe) {}
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    ::close(m_pipe);
    if (m_pid > 0) {
      ::kill(m_pid, SIGKILL);
      Wait();
    }
  }
  void Kill() const { ::kill(m_pid, SIGKILL); }
  int Pipe() const { return m_pipe; }
  /// -1 when somebody else in the process has waited for it.
  int Wait() {
    int status = -1;
    pid_t waited;
    do
      waited = ::waitpid(m_pid, &status, 0);
    while (waited < 0 && errno == EINTR);
    m_pid = -1;
    return waited < 0 ? -1 : status;
  }

 private:
  pid_t m_pid;
  int m_pipe;
};

// \return false at the end of the pipe.
bool take(int pipe, std::string& output) {
  char bytes[65536];
  const ssize_t n = ::read(pipe, bytes, sizeof bytes);
  if (n < 0)
    return errno == EINTR || errno == EAGAIN;
  output.append(bytes, static_cast<std::size_t>(n));
  return n > 0 && output.size() <= kMostOutput;
}

// \return false when the time is up.
bool listen(const Child& child, int seconds, const std::function<void()>& tick, std::string& output) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::seconds(seconds);
  for (auto now = Clock::now(); now < end; now = Clock::now()) {
    pollfd ready{child.Pipe(), POLLIN, 0};
    const int n = ::poll(&ready, 1, kTick);
    if (n > 0 && !take(child.Pipe(), output))
      return true;
    if (tick)
      tick();
  }
  return false;
}

std::string causeOf(int status) {
  if (status == -1)
    return "ended too early";
  if (WIFSIGNALED(status)) {
    const int number = WTERMSIG(status);
    const char* const text = ::strsignal(number);
    return "ended by signal " + std::to_string(number) + " (" + (text == nullptr ? "unknown" : text) + ")";
  }
  return WEXITSTATUS(status) == ENOMEM ? "needs more memory than the file is worth"
                                       : "ended with code " + std::to_string(WEXITSTATUS(status));
}

prc_Child::Outcome failed(const char* call) {
  return {false, {}, std::string(call) + ": " + std::generic_category().message(errno)};
}
} // namespace

prc_ChildLimits prc_ChildLimits::ForFile(std::uint64_t fileBytes) {
  // The size may be invented, so it does not buy any length of time.
  constexpr std::uint64_t kMost = std::uint64_t{8} << 30;
  const auto perSlowRead = static_cast<int>(std::min(fileBytes, 2 * kMost) / 10'000'000);
  return {(std::uint64_t{1} << 30) + std::min(fileBytes, kMost), 20 + perSlowRead, 30 + 2 * perSlowRead};
}

prc_Child::Outcome prc_Child::Run(const prc_ChildLimits& limits, const std::function<void(const Say&)>& work,
                                  const std::function<void()>& tick) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0)
    return failed("pipe");
  const pid_t self = ::getpid();
  const pid_t pid = ::fork();
  if (pid == 0)
    beChild(ends[1], self, limits, work);
  const int error = errno;
  ::close(ends[1]);
  if (pid < 0) {
    ::close(ends[0]);
    errno = error;
    return failed("fork");
  }
  Child child(pid, ends[0]);
  Outcome outcome;
  const bool inTime = listen(child, limits.seconds, tick, outcome.output);
  if (!inTime || outcome.output.size() > kMostOutput)
    child.Kill();
  const int status = child.Wait();
  outcome.ended = status == 0 && !outcome.output.empty() && outcome.output.back() == kEnded;
  if (outcome.ended)
    outcome.output.pop_back();
  else
    outcome.cause = inTime ? causeOf(status) : "took longer than " + std::to_string(limits.seconds) + " s";
  return outcome;
}
