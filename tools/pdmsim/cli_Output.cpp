#include "cli_Output.h"

#include "cli_Failure.h"
#include "cli_Progress.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

[[noreturn]] void Fail(const std::string& path, const std::string& expected) {
  throw cli_Failure(cli_Exit::kUnusable,
                    path + ": expected " + expected + ", found: " + std::strerror(errno));
}

/// Brings a file or folder to the disk. \return its status.
struct stat Sync(const std::string& path, int flags) {
  struct stat status {};
  const int descriptor = open(path.c_str(), flags | O_CLOEXEC);
  if (descriptor < 0)
    Fail(path, "to open the written file");
  const bool done = fsync(descriptor) == 0 && fstat(descriptor, &status) == 0;
  const int cause = errno;
  close(descriptor);
  errno = cause;
  if (!done)
    Fail(path, "to bring the file to the disk");
  return status;
}

/// The file behind a symbolic link, so that the link stays and the file is replaced.
std::string Target(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
  return real ? real.get() : path;
}

std::string Folder(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

} // namespace

cli_Output::cli_Output(const std::string& path, bool force)
    : m_path(Target(path)), m_unfinished(m_path + ".import-" + std::to_string(getpid())), m_force(force) {
  CheckPlace();
  const int descriptor = open(m_unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (descriptor < 0)
    Fail(path, "to write beside this file");
  close(descriptor);
}

cli_Output::~cli_Output() {
  if (!m_finished)
    unlink(m_unfinished.c_str());
}

void cli_Output::CheckPlace() const {
  struct stat status {};
  if (stat(m_path.c_str(), &status) != 0) {
    if (errno == ENOENT && !m_path.empty())
      return;
    Fail(m_path, "a place for the simulation file");
  }
  if (!S_ISREG(status.st_mode))
    throw cli_Failure(cli_Exit::kUnusable, m_path + ": expected a place for a file, found " +
                                               (S_ISDIR(status.st_mode) ? "a directory" : "a special file"));
  if (!m_force)
    throw cli_Failure(cli_Exit::kUnusable,
                      m_path + ": expected no such file, found one (--force replaces it)");
}

unsigned long long cli_Output::Finish() {
  const struct stat status = Sync(m_unfinished, O_RDWR);
  cli_CheckSignals();
  CheckPlace();
  if (std::rename(m_unfinished.c_str(), m_path.c_str()) != 0)
    Fail(m_path, "to move the finished file to its place");
  m_finished = true;
  try {
    Sync(Folder(m_path), O_RDONLY | O_DIRECTORY);
  } catch (const cli_Failure&) {
    // A file system that cannot sync folders; the file itself is whole and in its place.
  }
  return static_cast<unsigned long long>(status.st_size);
}
