#include <UTI_ORXSimDynamicAPI/objects/hdf_OpenFile.h>

#include <H5Journal/commit/vfd_Store.h>
#include <H5Journal/driver/vfd_Driver.h>
#include <H5Journal/opening/hdf_Superblock.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_FileId.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <cerrno>
#include <sys/stat.h>

namespace {
// Closes what was opened unless the call succeeds.
class FileGuard {
 public:
  FileGuard(hdf_Context& context) : m_context(context) {}
  FileGuard(const FileGuard&) = delete;
  FileGuard& operator=(const FileGuard&) = delete;
  ~FileGuard() {
    if (good || m_context.store == nullptr)
      return;
    m_context.store->BeginClosing(false);
    if (m_context.file >= 0)
      H5Fclose(std::exchange(m_context.file, H5I_INVALID_HID));
    m_context.store->EndClosing(false);
    m_context.store.reset();
  }
  bool good = false;

 private:
  hdf_Context& m_context;
};

// Only a regular file that this process does not have open; looked at before opening, since opening a pipe
// or a device may block.
bool checkKind(hdf_Operation& operation, const hdf_Context& context, bool mayBeMissing, bool& exists) {
  if (context.fileName.empty())
    return operation.Refuse("a file needs a name");
  struct stat status;
  exists = ::stat(context.fileName.c_str(), &status) == 0;
  if (!exists)
    return (mayBeMissing && errno == ENOENT) || operation.RefuseErrno(errno);
  if (S_ISDIR(status.st_mode))
    return operation.Refuse("is a directory");
  if (!S_ISREG(status.st_mode))
    return operation.Refuse("not a regular file");
  const auto other = hdf_Contexts::OnFile({static_cast<std::uint64_t>(status.st_dev), status.st_ino});
  return other == nullptr || (other->readOnly && context.readOnly) || other->live || context.live ||
         operation.Refuse("this process has the file open");
}

vfd_Options optionsOf(const hdf_Context& context) {
  return {context.fileName, context.readOnly, context.live, context.durability, hdf_WaitingTime()};
}

bool checkWhole(hdf_Operation& operation, vfd_Store& store) {
  if (store.End() == 0)
    return operation.Refuse("the file is empty");
  const hdf_Superblock block = hdf_Superblock::Read(store);
  if (!block.found)
    return operation.Refuse("not an HDF5 file");
  if (block.damaged)
    return operation.Refuse("the file's first block is damaged: its checksum disagrees");
  store.SetSuperblock(block.start);
  return block.end <= store.End() || operation.Refuse("file is truncated: " + std::to_string(store.End()) +
                                                      " bytes, " + std::to_string(block.end) + " expected");
}

hid_t openThrough(vfd_Store& store, const std::string& name, bool readOnly) {
  const vfd_Driver::Opening opening(store);
  return H5Fopen(name.c_str(), readOnly ? H5F_ACC_RDONLY : H5F_ACC_RDWR, hdf_Shared::Get().OldFileAccess());
}

bool createThrough(hdf_Operation& operation, hdf_Context& context) {
  const hdf_Shared& shared = hdf_Shared::Get();
  {
    const vfd_Driver::Opening opening(*context.store);
    context.file =
        H5Fcreate(context.fileName.c_str(), H5F_ACC_TRUNC, shared.CreateFile(), shared.NewFileAccess());
  }
  vfd_FileId id{};
  if (!operation.Check(context.file) || !hdf_CreateFileId(operation, context.file, id))
    return false;
  context.store->SetFileId(id);
  return true;
}

// Compares the ids before a byte is written: a journal that was copied or renamed must not meet another file.
bool checkJournal(hdf_Operation& operation, vfd_Store& store, hid_t file) {
  const vfd_FileId id = hdf_ReadFileId(file);
  store.SetFileId(id);
  return store.JournalFileId() == id || store.JournalFileId() == vfd_FileId{} ||
         operation.Refuse("its journal " + vfd_Store::JournalName(store.RealName()) +
                          " belongs to another file");
}

bool recover(hdf_Operation& operation, vfd_Store& store, const std::string& name) {
  if (!store.NeedsRecovery())
    return true;
  store.BeginClosing(false); // what HDF5 does now is only for looking
  hid_t file = openThrough(store, name, true);
  const bool belongs = operation.Check(file) && checkJournal(operation, store, file);
  if (file >= 0)
    H5Fclose(file);
  store.EndClosing(false);
  std::string cause;
  return belongs && (store.Recover(cause) || operation.Refuse("recover: " + cause));
}

// Looked at before HDF5 may build on it.
bool isFit(hdf_Operation& operation, hdf_Context& context) {
  vfd_Store& store = *context.store;
  return checkWhole(operation, store) &&
         (context.admit == nullptr ||
          context.admit(operation, store.End(), [&] { return openThrough(store, context.fileName, true); }));
}

bool openFile(hdf_Operation& operation, hdf_Context& context) {
  vfd_Store& store = *context.store;
  context.file = openThrough(store, context.fileName, context.readOnly);
  if (!operation.Check(context.file))
    return false;
  if (!context.readOnly && !store.FileIdKnown()) {
    const vfd_FileId id = hdf_ReadFileId(context.file);
    if (id != vfd_FileId{}) // or it may be read the next time
      store.SetFileId(id);
  }
  return !context.readOnly || store.JournalBytes() == 0 || checkJournal(operation, store, context.file);
}

// The closed file of that name, locked and ready to be replaced.
std::unique_ptr<vfd_Store> openReplaced(hdf_Operation& operation, const hdf_Context& context) {
  std::string cause;
  auto store = vfd_Store::Open(optionsOf(context), cause);
  if (store == nullptr && !operation.Refuse(cause))
    return nullptr;
  if (store->End() != 0 && !hdf_Superblock::Read(*store).found &&
      !operation.Refuse("not an HDF5 file: it is not overwritten"))
    return nullptr;
  return recover(operation, *store, context.fileName) ? std::move(store) : nullptr;
}
} // namespace

bool hdf_CreateFile(hdf_Operation& operation, hdf_Context& context, bool mustBeNew) {
  FileGuard guard(context);
  bool exists = false;
  if (!checkKind(operation, context, true, exists))
    return false;
  if (exists && mustBeNew)
    return operation.RefuseErrno(EEXIST);
  std::unique_ptr<vfd_Store> replaced;
  if (exists && (replaced = openReplaced(operation, context)) == nullptr)
    return false;
  std::string cause;
  context.store = vfd_Store::Create(optionsOf(context), std::move(replaced), cause);
  if (context.store == nullptr)
    return operation.Refuse(cause);
  guard.good = createThrough(operation, context);
  return guard.good;
}

bool hdf_OpenFile(hdf_Operation& operation, hdf_Context& context) {
  FileGuard guard(context);
  bool exists = false;
  if (!checkKind(operation, context, false, exists))
    return false;
  std::string cause;
  context.store = vfd_Store::Open(optionsOf(context), cause);
  if (context.store == nullptr)
    return operation.Refuse(cause);
  guard.good = isFit(operation, context) && recover(operation, *context.store, context.fileName) &&
               openFile(operation, context);
  return guard.good;
}

bool hdf_ReopenFile(hdf_Operation& operation, hdf_Context& context) {
  if (context.store->IsNew()) // before its first commit point it begins anew
    return createThrough(operation, context);
  // A live reader meets bytes that it has not seen, perhaps another file of that name.
  return (!context.live || isFit(operation, context)) && openFile(operation, context);
}
