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
// Closes what was opened unless the call succeeds.
class FileGuard {
 public:
  FileGuard(hdf_Context& context) : m_context(context) {}
  FileGuard(const FileGuard&) = delete;
  FileGuard& operator=(const FileGuard&) = delete;
  ~FileGuard() {
    if (!good && m_context.file >= 0)
      H5Fclose(std::exchange(m_context.file, H5I_INVALID_HID));
    if (!good && m_context.descriptor >= 0)
      ::close(std::exchange(m_context.descriptor, -1));
  }
  bool good = false;

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

// Where the environment makes HDF5 lock files itself, its lock stands in for ours.
bool hdf5Locks() {
#if H5_VERSION_GE(1, 10, 7)
  const char* const wish = std::getenv("HDF5_USE_FILE_LOCKING");
  return wish != nullptr && std::strcmp(wish, "FALSE") != 0 && std::strcmp(wish, "0") != 0;
#else
  return true;
#endif
}

// Notes which file it is and sees that this process has it open only once.
bool identify(hdf_Operation& operation, hdf_Context& context) {
  struct stat status;
  if (::fstat(context.descriptor, &status) != 0)
    return operation.RefuseErrno(errno);
  const auto other = hdf_Contexts::OnFile(status.st_dev, status.st_ino);
  if (other != nullptr && !(other->readOnly && context.readOnly))
    return operation.Refuse("this process has the file open");
  context.device = status.st_dev;
  context.inode = status.st_ino;
  return true;
}

// The lock ends with the process, however it ends. A file system without locks is taken as it is.
bool lock(hdf_Operation& operation, const hdf_Context& context) {
  if (::flock(context.descriptor, (context.readOnly ? LOCK_SH : LOCK_EX) | LOCK_NB) == 0)
    return true;
  if (errno == EWOULDBLOCK)
    return operation.Refuse("another program has the file open");
  return errno == ENOSYS || errno == EOPNOTSUPP || errno == ENOLCK || operation.RefuseErrno(errno);
}

void leaveLockToHdf5(const hdf_Context& context) {
  if (hdf5Locks())
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

bool openDescriptor(hdf_Operation& operation, hdf_Context& context) {
  const int mode = context.readOnly ? O_RDONLY : O_RDWR;
  context.descriptor = ::open(context.fileName.c_str(), mode | O_CLOEXEC | O_NONBLOCK);
  return context.descriptor >= 0 ? identify(operation, context) : operation.RefuseErrno(errno);
}

bool createWith(hdf_Operation& operation, hdf_Context& context, unsigned flags) {
  const hdf_Shared& shared = hdf_Shared::Get();
  context.file = H5Fcreate(context.fileName.c_str(), flags, shared.CreateFile(), shared.NewFileAccess());
  return operation.Check(context.file);
}

// A new file is not made by truncating an empty one: file systems take that for the replacement of an old
// file and write everything out when it is closed.
bool createNew(hdf_Operation& operation, hdf_Context& context) {
  return createWith(operation, context, H5F_ACC_EXCL) && openDescriptor(operation, context) &&
         (hdf5Locks() || lock(operation, context));
}

bool createOver(hdf_Operation& operation, hdf_Context& context) {
  if (!openDescriptor(operation, context) || !lock(operation, context))
    return false;
  const std::uint64_t size = sizeOf(context.descriptor);
  if (size != 0 && !hdf_Superblock::Read(context.descriptor, size).found)
    return operation.Refuse("not an HDF5 file: it is not overwritten");
  leaveLockToHdf5(context);
  return createWith(operation, context, H5F_ACC_TRUNC);
}
} // namespace

bool hdf_CreateFile(hdf_Operation& operation, hdf_Context& context, bool mustBeNew) {
  FileGuard guard(context);
  bool exists = false;
  if (!checkName(operation, context) || !checkKind(operation, context.fileName.c_str(), true, exists))
    return false;
  if (exists && mustBeNew)
    return operation.RefuseErrno(EEXIST);
  guard.good = exists ? createOver(operation, context) : createNew(operation, context);
  return guard.good;
}

bool hdf_OpenFile(hdf_Operation& operation, hdf_Context& context) {
  FileGuard guard(context);
  bool exists = false;
  if (!checkName(operation, context) || !checkKind(operation, context.fileName.c_str(), false, exists) ||
      !openDescriptor(operation, context) || !lock(operation, context) ||
      !checkWhole(operation, context.descriptor))
    return false;
  leaveLockToHdf5(context);
  const unsigned mode = context.readOnly ? H5F_ACC_RDONLY : H5F_ACC_RDWR;
  context.file = H5Fopen(context.fileName.c_str(), mode, hdf_Shared::Get().OldFileAccess());
  guard.good = operation.Check(context.file);
  return guard.good;
}
