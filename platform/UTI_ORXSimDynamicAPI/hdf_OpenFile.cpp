#include <UTI_ORXSimDynamicAPI/hdf_OpenFile.h>

#include <UTI_ORXSimDynamicAPI/hdf_Operation.h>
#include <UTI_ORXSimDynamicAPI/hdf_Shared.h>
#include <UTI_ORXSimDynamicAPI/hdf_Superblock.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
// Closes the descriptor, and removes a file that was just made, unless the call succeeds.
class FileGuard {
 public:
  FileGuard(hdf_Context& context) : m_context(context) {}
  FileGuard(const FileGuard&) = delete;
  FileGuard& operator=(const FileGuard&) = delete;
  ~FileGuard() {
    if (m_context.file >= 0)
      return;
    if (made)
      ::unlink(m_context.fileName.c_str());
    if (m_context.descriptor >= 0)
      ::close(m_context.descriptor);
    m_context.descriptor = -1;
  }
  bool made = false;

 private:
  hdf_Context& m_context;
};

// Only a regular file; looked at before opening, since opening a pipe or a device may block.
bool checkKind(hdf_Operation& operation, const char* name, bool mayBeMissing, bool& exists) {
  struct stat status;
  exists = ::stat(name, &status) == 0;
  if (!exists)
    return (mayBeMissing && errno == ENOENT) || operation.RefuseErrno(errno);
  if (S_ISDIR(status.st_mode))
    return operation.Refuse("is a directory");
  return S_ISREG(status.st_mode) || operation.Refuse("not a regular file");
}

// The lock ends with the process, however it ends. A file system without locks is taken as it is.
bool lock(hdf_Operation& operation, hdf_Context& context) {
  struct stat status;
  if (::fstat(context.descriptor, &status) != 0)
    return operation.RefuseErrno(errno);
  const auto other = hdf_Contexts::OnFile(status.st_dev, status.st_ino);
  if (other != nullptr && !(other->readOnly && context.readOnly))
    return operation.Refuse("this process has the file open");
  context.device = status.st_dev;
  context.inode = status.st_ino;
  if (::flock(context.descriptor, (context.readOnly ? LOCK_SH : LOCK_EX) | LOCK_NB) == 0)
    return true;
  if (errno == EWOULDBLOCK)
    return operation.Refuse("another program has the file open");
  return errno == ENOSYS || errno == EOPNOTSUPP || errno == ENOLCK || operation.RefuseErrno(errno);
}

// Where the environment makes HDF5 lock files itself, its lock takes over from ours.
void leaveLockToHdf5(const hdf_Context& context) {
#if H5_VERSION_GE(1, 10, 7)
  const char* const wish = std::getenv("HDF5_USE_FILE_LOCKING");
  if (wish == nullptr || std::strcmp(wish, "FALSE") == 0 || std::strcmp(wish, "0") == 0)
    return;
#endif
  ::flock(context.descriptor, LOCK_UN);
}

std::uint64_t sizeOf(int descriptor) {
  struct stat status;
  return ::fstat(descriptor, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

bool checkWhole(hdf_Operation& operation, int descriptor) {
  const std::uint64_t size = sizeOf(descriptor);
  if (size == 0)
    return operation.Refuse("the file is empty");
  const hdf_Superblock block = hdf_Superblock::Read(descriptor, size);
  if (!block.found)
    return operation.Refuse("not an HDF5 file");
  return block.end <= size || operation.Refuse("file is truncated: " + std::to_string(size) + " bytes, " +
                                               std::to_string(block.end) + " expected");
}

bool checkName(hdf_Operation& operation, const hdf_Context& context) {
  return !context.fileName.empty() || operation.Refuse("a file needs a name");
}
} // namespace

bool hdf_CreateFile(hdf_Operation& operation, hdf_Context& context, bool mustBeNew) {
  FileGuard guard(context);
  const char* const name = context.fileName.c_str();
  bool exists = false;
  if (!checkName(operation, context) || !checkKind(operation, name, true, exists))
    return false;
  if (exists && mustBeNew)
    return operation.RefuseErrno(EEXIST);
  const int flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK | (exists ? 0 : O_EXCL);
  context.descriptor = ::open(name, flags, 0666);
  if (context.descriptor < 0)
    return operation.RefuseErrno(errno);
  guard.made = !exists;
  if (!lock(operation, context))
    return false;
  const std::uint64_t size = sizeOf(context.descriptor);
  if (size != 0 && !hdf_Superblock::Read(context.descriptor, size).found)
    return operation.Refuse("not an HDF5 file: it is not overwritten");
  leaveLockToHdf5(context);
  const hdf_Shared& shared = hdf_Shared::Get();
  context.file = H5Fcreate(name, H5F_ACC_TRUNC, shared.CreateFile(), shared.NewFileAccess());
  return operation.Check(context.file);
}

bool hdf_OpenFile(hdf_Operation& operation, hdf_Context& context) {
  FileGuard guard(context);
  const char* const name = context.fileName.c_str();
  bool exists = false;
  if (!checkName(operation, context) || !checkKind(operation, name, false, exists))
    return false;
  context.descriptor = ::open(name, (context.readOnly ? O_RDONLY : O_RDWR) | O_CLOEXEC | O_NONBLOCK);
  if (context.descriptor < 0)
    return operation.RefuseErrno(errno);
  if (!lock(operation, context) || !checkWhole(operation, context.descriptor))
    return false;
  leaveLockToHdf5(context);
  const unsigned mode = context.readOnly ? H5F_ACC_RDONLY : H5F_ACC_RDWR;
  context.file = H5Fopen(name, mode, hdf_Shared::Get().OldFileAccess());
  return operation.Check(context.file);
}
