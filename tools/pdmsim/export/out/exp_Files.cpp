#include <pdmsim/export/out/exp_Files.h>

#include <pdmsim/cli/cli_Failure.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace {

[[noreturn]] void fail(const std::string& path, const std::string& text) {
  throw cli_Failure(cli_Exit::kUnusable, path + ": " + text);
}

[[noreturn]] void failToWrite(const std::string& path) {
  fail(path, std::string("expected to write it, found: ") + std::strerror(errno));
}

/// Brings a file, or the names in a directory, to the disk.
bool sync(const std::string& path, int flags) {
  const int descriptor = open(path.c_str(), flags | O_CLOEXEC);
  const bool done = descriptor >= 0 && (fsync(descriptor) == 0 || errno == EINVAL);
  if (descriptor >= 0)
    close(descriptor);
  return done;
}

} // namespace

exp_Files::~exp_Files() {
  for (const File& file : m_files)
    if (!file.named)
      unlink(file.written.c_str());
}

void exp_Files::CheckName(const std::string& path) const {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0) {
    if (!S_ISREG(status.st_mode))
      fail(path, std::string("expected a file's name, found a ") +
                     (S_ISDIR(status.st_mode) ? "directory" : "device, a pipe or a socket"));
    if (!m_force)
      fail(path, "expected no such file, found one (--force replaces it)");
  }
}

std::string exp_Files::Add(const std::string& path) {
  CheckName(path);
  const std::string written = path + ".new-" + std::to_string(getpid());
  unlink(written.c_str()); // of a process of that number that was killed
  const int descriptor = open(written.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (descriptor < 0)
    failToWrite(path);
  close(descriptor);
  m_files.push_back({path, written});
  return written;
}

void exp_Files::Name(File& file) {
  const int flags = m_force ? 0 : RENAME_NOREPLACE;
  int done =
      renameat2(AT_FDCWD, file.written.c_str(), AT_FDCWD, file.path.c_str(), static_cast<unsigned>(flags));
  if (done != 0 && errno == EINVAL) // the file system knows no such renaming
    done = link(file.written.c_str(), file.path.c_str()) == 0 ? unlink(file.written.c_str()) : -1;
  if (done != 0 && errno == EEXIST)
    fail(file.path, "expected no such file, found one (--force replaces it)");
  if (done != 0)
    failToWrite(file.path);
  file.named = true;
}

void exp_Files::Commit() {
  for (const File& file : m_files) {
    if (!sync(file.written, O_RDONLY))
      failToWrite(file.path);
    m_bytes += std::filesystem::file_size(file.written);
  }
  for (File& file : m_files)
    Name(file);
  for (const File& file : m_files) {
    const std::string folder = std::filesystem::path(file.path).parent_path();
    if (!sync(folder.empty() ? "." : folder, O_RDONLY | O_DIRECTORY))
      failToWrite(file.path);
  }
}
