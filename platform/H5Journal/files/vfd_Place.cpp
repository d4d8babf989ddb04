#include <H5Journal/files/vfd_Place.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace {
constexpr std::size_t kLongestSuffix = 16; // "-journal-next", and ".new-" with a process id

constexpr int kMostOthers = 99; // journals of one generation that were set aside

class DirectoryCloser {
 public:
  void operator()(DIR* directory) const { ::closedir(directory); }
};

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

std::string lastOf(const std::string& path) {
  return path.substr(path.rfind('/') + 1); // npos + 1 is 0
}
} // namespace

bool vfd_Place::OpenDirectory(const std::string& path) {
  m_directory = vfd_Descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return m_directory.IsOpen();
}

bool vfd_Place::Find(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.c_str(), nullptr), &std::free);
  if (real == nullptr)
    return false;
  m_name = lastOf(real.get());
  return OpenDirectory(directoryOf(real.get()));
}

bool vfd_Place::FindNew(std::string path) {
  char target[4096];
  for (int links = 0; links < 40; ++links) {
    const std::string directory = directoryOf(path);
    m_name = lastOf(path);
    if (!OpenDirectory(directory))
      return false;
    const auto length = ::readlinkat(m_directory.Get(), m_name.c_str(), target, sizeof target);
    if (length < 0)
      return true;
    const std::string next(target, static_cast<std::size_t>(length));
    path = next.starts_with('/') ? next : directory + "/" + next;
  }
  errno = ELOOP;
  return false;
}

bool vfd_Place::HasRoom() const {
  const long limit = ::fpathconf(m_directory.Get(), _PC_NAME_MAX);
  if (limit < 0 || m_name.size() + kLongestSuffix <= static_cast<std::size_t>(limit))
    return true;
  errno = ENAMETOOLONG;
  return false;
}

vfd_Descriptor vfd_Place::Open(const std::string& name, int flags, unsigned mode) const {
  int descriptor;
  do
    descriptor = ::openat(m_directory.Get(), name.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW,
                          static_cast<mode_t>(mode));
  while (descriptor < 0 && errno == EINTR);
  return vfd_Descriptor(descriptor);
}

bool vfd_Place::Status(const std::string& name, struct stat& status) const {
  return ::fstatat(m_directory.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

bool vfd_Place::Is(const std::string& name, const vfd_FileIdentity& file) const {
  struct stat status;
  return Status(name, status) && vfd_FileIdentity::Of(status) == file;
}

bool vfd_Place::Remove(const std::string& name, const vfd_FileIdentity& file) const {
  return !Is(name, file) || ::unlinkat(m_directory.Get(), name.c_str(), 0) == 0 || errno == ENOENT;
}

bool vfd_Place::Rename(const std::string& from, const std::string& to, bool mustBeNew) const {
  const int here = m_directory.Get();
  if (!mustBeNew)
    return ::renameat(here, from.c_str(), here, to.c_str()) == 0;
#ifdef RENAME_NOREPLACE
  if (::renameat2(here, from.c_str(), here, to.c_str(), RENAME_NOREPLACE) == 0)
    return true;
  if (errno != EINVAL && errno != ENOSYS)
    return false;
#endif
  // Not every file system can: a second name, then the first away.
  return ::linkat(here, from.c_str(), here, to.c_str(), 0) == 0 && ::unlinkat(here, from.c_str(), 0) == 0;
}

bool vfd_Place::SetJournalAside(std::uint64_t generation, std::string& lost) const {
  const std::string name = JournalName();
  const long limit = ::fpathconf(m_directory.Get(), _PC_NAME_MAX);
  char number[32];
  std::snprintf(number, sizeof number, ".lost-%016llx", static_cast<unsigned long long>(generation));
  for (int others = 0; others <= kMostOthers; ++others) {
    const std::string suffix = number + (others == 0 ? "" : '-' + std::to_string(others));
    lost = name.substr(0, limit < 0 ? name.size() : static_cast<std::size_t>(limit) - suffix.size()) + suffix;
    if (Rename(name, lost, true))
      return true;
    if (errno != EEXIST)
      return false;
  }
  return false;
}

bool vfd_Place::Sync() const {
  return vfd_SyncAll(m_directory.Get());
}

void vfd_Place::ForEach(const std::string& prefix,
                        const std::function<void(const std::string&)>& tell) const {
  const int own = ::openat(m_directory.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::unique_ptr<DIR, DirectoryCloser> opened(own < 0 ? nullptr : ::fdopendir(own));
  if (opened == nullptr)
    return;
  while (const dirent* const entry = ::readdir(opened.get()))
    if (const std::string name = entry->d_name; name.starts_with(prefix))
      tell(name);
}
