#include <pdmsim/cli/cli_Program.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Progress.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kTick = 100; // ms
constexpr std::size_t kMostSaid = 65536;

/// A started program; ended and waited for, whatever happens.
class Child {
 public:
  /// \param end  the signal that ends it.
  Child(pid_t id, int end) : m_id(id), m_end(end) {}
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    if (m_id > 0 && !m_ended) {
      ::kill(m_id, m_end);
      Wait();
    }
  }
  int Wait() {
    int status = 0;
    while (::waitpid(m_id, &status, 0) < 0 && errno == EINTR) {
    }
    m_ended = true;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }

 private:
  pid_t m_id;
  int m_end;
  bool m_ended = false;
};

/// An open descriptor; closed at the end.
class Descriptor {
 public:
  explicit Descriptor(int id) : m_id(id) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { ::close(m_id); }

 private:
  int m_id;
};

std::string lastLine(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
    text.pop_back();
  return text.substr(text.rfind('\n') == std::string::npos ? 0 : text.rfind('\n') + 1);
}

/// What comes through a pipe until it is closed.
std::string readAll(int pipe) {
  std::string text;
  char bytes[4096];
  for (;;) {
    cli_CheckSignals();
    pollfd wait{pipe, POLLIN, 0};
    if (::poll(&wait, 1, kTick) <= 0)
      continue;
    const ssize_t got = ::read(pipe, bytes, sizeof bytes);
    if (got <= 0)
      return text;
    text.append(bytes, static_cast<std::size_t>(got));
    if (text.size() > kMostSaid)
      text.erase(0, text.size() - kMostSaid);
  }
}

} // namespace

cli_Ended cli_Run(const std::vector<std::string>& arguments) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0)
    return {-1, std::strerror(errno)};
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, ends[1], 2);
  std::vector<char*> texts;
  for (const std::string& argument : arguments)
    texts.push_back(const_cast<char*>(argument.c_str()));
  texts.push_back(nullptr);
  pid_t id = -1;
  const int failed = ::posix_spawnp(&id, texts[0], &actions, nullptr, texts.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  cli_Ended ended{-1, failed == 0 ? "" : std::strerror(failed)};
  if (failed == 0) {
    Child child(id, SIGTERM);
    ended.said = lastLine(readAll(ends[0]));
    ended.code = child.Wait();
  }
  ::close(ends[0]);
  return ended;
}

int cli_RunApart(const std::function<int()>& work, const std::function<void()>& tick) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0)
    return -1;
  const pid_t parent = ::getpid(), id = ::fork();
  if (id == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nowhere = ::open("/dev/null", O_WRONLY);
    if (::getppid() != parent || nowhere < 0 || ::dup2(nowhere, 1) < 0 || ::dup2(nowhere, 2) < 0)
      ::_exit(127);
    ::_exit(work());
  }
  ::close(ends[1]); // the other end is closed when the process ends, however it does
  if (id < 0) {
    ::close(ends[0]);
    return -1;
  }
  Child child(id, SIGKILL);
  const Descriptor end(ends[0]);
  pollfd wait{ends[0], POLLIN, 0};
  while (::poll(&wait, 1, kTick) <= 0)
    tick();
  return child.Wait();
}

cli_Scratch::cli_Scratch() {
  std::error_code error;
  std::string path = (std::filesystem::temp_directory_path(error) / "pdmsim-XXXXXX").string();
  if (error || ::mkdtemp(path.data()) == nullptr)
    throw cli_Failure(cli_Exit::kUnusable, path + ": no folder for temporary files");
  m_path = path;
}

cli_Scratch::~cli_Scratch() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}
