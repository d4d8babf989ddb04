#include <pdmsim/cli/cli_NewFile.h>

#include <pdmsim/cli/cli_Failure.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

[[noreturn]] void fail(const std::string& text) {
  throw cli_Failure(cli_Exit::kUnusable, text);
}

[[noreturn]] void failExists(const std::string& path) {
  fail(path + ": expected no such file, found one (--force replaces it)");
}

bool isOfKind(const std::string& path, std::string_view begins) {
  std::string head(begins.size(), '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(head.data(), static_cast<std::streamsize>(head.size()));
  const auto same = [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); };
  return file.gcount() == 0 ||
         (file && std::equal(head.begin(), head.end(), begins.begin(), begins.end(), same));
}

/// A file under its first name; removed unless it has got the second.
class Beside {
 public:
  explicit Beside(const std::string& path)
      : m_path(path), m_name(path + ".new-" + std::to_string(getpid())),
        m_file(open(m_name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
    if (m_file < 0)
      Fail(errno);
  }
  Beside(const Beside&) = delete;
  Beside& operator=(const Beside&) = delete;
  ~Beside() {
    if (m_file >= 0)
      close(m_file);
    if (!m_done)
      unlink(m_name.c_str());
  }

  void Write(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = write(m_file, bytes.data(), bytes.size());
      if (count < 0 && errno != EINTR)
        Fail(errno);
      bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    if (fsync(m_file) != 0 && errno != EINVAL)
      Fail(errno);
  }

  void Finish(bool force) {
    int result = renameat2(AT_FDCWD, m_name.c_str(), AT_FDCWD, m_path.c_str(), force ? 0 : RENAME_NOREPLACE);
    if (result != 0 && (errno == EINVAL || errno == ENOSYS)) // a file system that cannot refuse
      result = rename(m_name.c_str(), m_path.c_str());
    if (result != 0 && errno == EEXIST)
      failExists(m_path);
    if (result != 0)
      Fail(errno);
    m_done = true;
  }

 private:
  [[noreturn]] void Fail(int error) const {
    fail(m_path + ": expected a file to write, found: " + std::strerror(error));
  }

  std::string m_path, m_name;
  int m_file;
  bool m_done = false;
};

} // namespace

void cli_CheckOutput(const std::string& path, const std::string& input) {
  if (path == "-")
    throw cli_Failure(cli_Exit::kNotThere,
                      "-: expected the name of a file to write, found '-': nothing of this "
                      "goes to standard output (./- is a file of that name)");
  std::error_code ignored;
  if (std::filesystem::equivalent(path, input, ignored))
    fail(path + ": expected another file than the one that is read, found that");
}

void cli_CheckNewFile(const std::string& path, bool force, std::string_view begins) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0)
    return;
  if (!force)
    failExists(path);
  if (!S_ISREG(found.st_mode) || !isOfKind(path, begins))
    fail(path + ": expected nothing, or a file of the kind that is written, found another file, which stays");
}

void cli_WriteNewFile(const std::string& path, std::string_view bytes, bool force, std::string_view begins) {
  cli_CheckNewFile(path, force, begins);
  Beside file(path);
  file.Write(bytes);
  file.Finish(force);
}
