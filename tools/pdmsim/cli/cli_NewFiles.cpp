#include <pdmsim/cli/cli_NewFiles.h>

#include <pdmsim/cli/cli_Failure.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(const std::string& path, const std::string& text) {
  throw cli_Failure(cli_Exit::kUnusable, path + ": " + text);
}

[[noreturn]] void failToWrite(const std::string& path) {
  fail(path, std::string("expected to write it, found: ") + std::strerror(errno));
}

[[noreturn]] void failExists(const std::string& path) {
  fail(path, "expected no such file, found one (--force replaces it)");
}

std::string folderOf(const std::string& path) {
  const std::string folder = fs::path(path).parent_path();
  return folder.empty() ? "." : folder;
}

/// Brings a file, or the names in a directory, to the disk.
bool sync(const std::string& path, int flags) {
  const int descriptor = open(path.c_str(), flags | O_CLOEXEC);
  const bool done = descriptor >= 0 && (fsync(descriptor) == 0 || errno == EINVAL);
  if (descriptor >= 0)
    close(descriptor);
  return done;
}

bool isSame(const std::string& one, const std::string& other) {
  std::error_code ignored;
  return fs::equivalent(one, other, ignored);
}

bool rename(const std::string& from, const std::string& to, unsigned flags) {
  return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags) == 0;
}

/// Makes a new file one for whom the older one was. Who cannot give it to the older one's group gives the
/// group no more than everybody has.
bool inherit(const std::string& file, const std::string& older) {
  struct stat was {
  }, own{};
  if (stat(older.c_str(), &was) != 0)
    return errno == ENOENT;
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  bool done = descriptor >= 0;
  if (done && fchown(descriptor, was.st_uid, was.st_gid) != 0)
    done = fchown(descriptor, static_cast<uid_t>(-1), was.st_gid) == 0 || errno == EPERM || errno == EINVAL;
  done = done && fstat(descriptor, &own) == 0;
  mode_t mode = was.st_mode & 0777;
  if (own.st_gid != was.st_gid)
    mode = (mode & 0707) | (mode & 0070 & ((mode & 0007) << 3));
  done = done && fchmod(descriptor, mode) == 0;
  const int error = errno;
  if (descriptor >= 0)
    close(descriptor);
  errno = error;
  return done;
}

} // namespace

std::string cli_LinkTarget(const std::string& path) {
  constexpr int kMostLinks = 40;
  fs::path at = path;
  for (int i = 0; i < kMostLinks; ++i) {
    std::error_code none;
    const fs::path to = fs::read_symlink(at, none);
    if (none)
      return at.string();
    at = at.parent_path() / to; // which is `to` alone where that is absolute
  }
  fail(path, "expected a file's name, found a symbolic link that leads to itself");
}

void cli_ExpectFolder(const std::string& path) {
  std::error_code ignored;
  if (const std::string folder = folderOf(cli_LinkTarget(path)); !fs::is_directory(folder, ignored))
    fail(path, "expected the directory " + folder + " to write it in, found none");
}

cli_NewFiles::~cli_NewFiles() {
  for (const File& file : m_files)
    unlink((file.named ? file.old : file.written).c_str());
}

void cli_NewFiles::CheckName(const std::string& path, const cli_Replaced& replaced) const {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    cli_ExpectFolder(path);
    return;
  }
  if (!S_ISREG(status.st_mode))
    fail(path, std::string("expected a file's name, found a ") +
                   (S_ISDIR(status.st_mode) ? "directory" : "device, a pipe or a socket"));
  if (!m_force)
    failExists(path);
  for (const std::string& input : m_spared)
    if (isSame(path, input))
      fail(path, "expected another file than the one that is read, found that");
  const cli_Replaced& wanted = replaced.fits ? replaced : m_usual;
  const auto failStays = [&](const std::string& found) {
    fail(path, "expected nothing, or " + wanted.what + " to replace, found " + found);
  };
  if (wanted.fits && access(path.c_str(), R_OK) != 0)
    failStays(std::string("a file that cannot be read, which stays: ") + std::strerror(errno));
  if (wanted.fits && !wanted.fits(path))
    failStays("another file, which stays");
}

std::string cli_NewFiles::Add(const std::string& path, const cli_Replaced& replaced) {
  CheckName(path, replaced);
  const std::string target = cli_LinkTarget(path), written = target + ".new-" + std::to_string(getpid());
  unlink(written.c_str()); // of a process of that number that was killed
  const mode_t mode =
      access(target.c_str(), F_OK) == 0 ? 0600 : 0666; // nobody sees more than of the older one
  const int descriptor = open(written.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  if (descriptor < 0)
    failToWrite(path);
  close(descriptor);
  m_files.push_back({path, target, written, false, true, {}});
  return written;
}

void cli_NewFiles::Write(const std::string& path, std::string_view bytes, const cli_Replaced& replaced) {
  std::FILE* const file = std::fopen(Add(path, replaced).c_str(), "wbe");
  if (file == nullptr)
    failToWrite(path);
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const int error = errno;
  if (std::fclose(file) == 0 && written)
    return;
  if (!written)
    errno = error;
  failToWrite(path);
}

void cli_NewFiles::Name(File& file) const {
  const std::string old = file.target + ".old-" + std::to_string(getpid());
  unlink(old.c_str());
  if (m_force && link(file.target.c_str(), old.c_str()) == 0)
    file.old = old;
  file.fresh = !m_force || (file.old.empty() && errno == ENOENT);
  file.named = rename(file.written, file.target, m_force ? 0 : RENAME_NOREPLACE);
  if (!file.named && errno == EINVAL) // the file system knows no such renaming
    file.named = link(file.written.c_str(), file.target.c_str()) == 0 && unlink(file.written.c_str()) == 0;
  const int error = errno;
  if (!file.named && !file.old.empty())
    unlink(std::exchange(file.old, {}).c_str());
  errno = error;
  if (!file.named && errno == EEXIST)
    failExists(file.path);
  if (!file.named)
    failToWrite(file.path);
}

void cli_NewFiles::Undo() {
  for (File& file : m_files) {
    if (file.named && !file.old.empty())
      rename(std::exchange(file.old, {}), file.target, 0);
    else if (file.named && file.fresh)
      unlink(file.target.c_str());
  }
}

void cli_NewFiles::Commit() {
  std::set<std::string> folders;
  for (const File& file : m_files) {
    if ((m_force && !inherit(file.written, file.target)) || !sync(file.written, O_RDONLY))
      failToWrite(file.path);
    m_bytes += fs::file_size(file.written);
    folders.insert(folderOf(file.target));
  }
  try {
    for (File& file : m_files)
      Name(file);
    for (const std::string& folder : folders)
      if (!sync(folder, O_RDONLY | O_DIRECTORY))
        failToWrite(folder);
  } catch (const cli_Failure&) {
    Undo();
    throw;
  }
  for (const std::string& path : m_leftOver)
    if (std::none_of(m_files.begin(), m_files.end(),
                     [&](const File& file) { return isSame(file.path, path); }))
      unlink(path.c_str());
}
