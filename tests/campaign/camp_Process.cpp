#include <campaign/camp_Trial.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <new>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

camp_Board& camp_Board::New() {
  void* const memory =
      ::mmap(nullptr, sizeof(camp_Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED)
    throw std::bad_alloc();
  return *new (memory) camp_Board();
}

bool camp_Board::Knows(std::uint64_t digestOfContent, int first, int last) const {
  return std::find(digest + first, digest + last + 1, digestOfContent) < digest + last + 1;
}

void camp_Board::Say(const std::string& text) {
  std::strncpy(message, text.c_str(), sizeof message - 1);
}

camp_Child::camp_Child(const std::function<void()>& body, unsigned patience) : m_pid(::fork()) {
  if (m_pid != 0)
    return;
  ::alarm(patience);
  body();
  ::_exit(0);
}

camp_Child::~camp_Child() {
  Kill();
  Wait();
}

void camp_Child::Kill() const {
  if (!m_ended)
    ::kill(m_pid, SIGKILL);
}

bool camp_Child::Ended() {
  m_ended = m_ended || ::waitpid(m_pid, &m_status, WNOHANG) == m_pid;
  return m_ended;
}

int camp_Child::Wait() {
  if (!m_ended)
    ::waitpid(m_pid, &m_status, 0);
  m_ended = true;
  return WIFSIGNALED(m_status) ? -WTERMSIG(m_status) : WEXITSTATUS(m_status);
}

camp_Directory::camp_Directory()
    : sys_Directory(std::filesystem::exists("/dev/shm") ? "/dev/shm"
                                                        : std::filesystem::temp_directory_path()) {}

void camp_Directory::Clear() const {
  for (const auto& entry : std::filesystem::directory_iterator(Name()))
    std::filesystem::remove_all(entry);
}
