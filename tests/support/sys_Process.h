#pragma once

#include <csignal>
#include <functional>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

/// Another process, which stops within its work and is killed after it.
class sys_Process {
 public:
  /// \param work  is given what stops it, and stops once; the constructor waits for that.
  explicit sys_Process(const std::function<void(const std::function<void()>&)>& work) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
      throw std::runtime_error("no pair of sockets");
    m_id = ::fork();
    m_end = ends[m_id == 0 ? 1 : 0];
    ::close(ends[m_id == 0 ? 0 : 1]);
    char byte = 0;
    const auto tell = [&] { return ::send(m_end, "x", 1, MSG_NOSIGNAL) + ::recv(m_end, &byte, 1, 0) == 2; };
    if (m_id == 0) {
      work(tell);
      ::raise(SIGKILL);
    }
    if (::recv(m_end, &byte, 1, 0) != 1)
      throw std::runtime_error("a process died before it stopped");
  }
  sys_Process(const sys_Process&) = delete;
  sys_Process& operator=(const sys_Process&) = delete;
  ~sys_Process() { GoOn(); }
  /// Lets it work on, and waits for its end.
  void GoOn() {
    if (m_id == 0)
      return;
    ::send(m_end, "x", 1, MSG_NOSIGNAL);
    ::waitpid(std::exchange(m_id, 0), nullptr, 0);
    ::close(m_end);
  }
  pid_t Id() const { return m_id; }

 private:
  int m_end;
  pid_t m_id;
};
