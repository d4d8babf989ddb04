#include <UTI_ORXSimDynamicAPI/objects/hdf_OpenFile.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_FileId.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <optional>
#include <utility>

namespace {
// Closes what was opened unless the call succeeds.
class FileGuard {
 public:
  FileGuard(hdf_Context& context) : m_context(context) {}
  FileGuard(const FileGuard&) = delete;
  FileGuard& operator=(const FileGuard&) = delete;
  ~FileGuard() {
    if (good || m_context.hold == nullptr)
      return;
    H5Jend(m_context.hold.get(), std::exchange(m_context.file, H5I_INVALID_HID), false);
    m_context.hold.reset();
  }
  bool good = false;

 private:
  hdf_Context& m_context;
};

// A journal that is in the way is a matter for people.
std::string advice(const hdf_Context& context) {
  H5J_journal_t journal;
  const std::string cause = H5Jlast_error();
  if (H5Jinspect(context.fileName.c_str(), &journal) < 0 || journal.state < H5J_MISSING ||
      cause != journal.cause)
    return cause;
  return cause + ": 'pdmsim recover' tells what can be done";
}

bool take(hdf_Operation& operation, hdf_Context& context, unsigned flags) {
  H5J_options_t options{};
  options.version = H5J_OPTIONS_VERSION;
  options.durability = static_cast<H5J_durability_t>(context.durability);
  options.live = context.live;
  options.waiting_time = static_cast<unsigned>(hdf_WaitingTime());
  std::optional<hdf_Waiting> waiting;
  if (options.waiting_time > 0 || options.live)
    waiting.emplace();
  context.hold.reset(H5Jhold(context.fileName.c_str(), flags, &options));
  waiting.reset();
  return context.hold != nullptr || operation.Refuse(advice(context));
}

hid_t view(const hdf_Context& context) {
  return H5Jview(context.hold.get(), hdf_Shared::Get().OldFileAccess());
}

// What a file without a mark has is an id in its content. Compared before a byte is written: a journal that
// was copied or renamed must not meet another file.
bool checkJournal(hdf_Operation& operation, const hdf_Context& context, hid_t file) {
  hdf_FileIdBytes others{};
  const hdf_FileIdBytes id = hdf_ReadFileId(file);
  H5Jget_identity(context.hold.get(), others.data());
  H5Jset_identity(context.hold.get(), id.data());
  return context.Info().marked || others == id || others == hdf_FileIdBytes{} ||
         operation.Refuse("its journal belongs to another file");
}

// Looked at before HDF5 may build on it, or a byte is written.
bool isFit(hdf_Operation& operation, const hdf_Context& context) {
  if (context.admit != nullptr &&
      !context.admit(operation, context.Info().image_bytes, [&] { return view(context); }))
    return false;
  if (H5Jis_hot(context.hold.get()) <= 0 || context.Info().marked)
    return true;
  const hid_t file = view(context);
  const bool belongs =
      (file >= 0 || operation.Refuse(H5Jlast_error())) && checkJournal(operation, context, file);
  if (file >= 0)
    H5Fclose(file);
  return belongs;
}

// HDF5's own cause is told where the journal has none.
bool openThrough(hdf_Operation& operation, hdf_Context& context) {
  const hdf_Shared& shared = hdf_Shared::Get();
  context.file = H5Jopen(context.hold.get(), shared.CreateFile(),
                         context.isNew ? shared.NewFileAccess() : shared.OldFileAccess());
  return context.file >= 0 || operation.Refuse(H5Jlast_error());
}

bool createThrough(hdf_Operation& operation, hdf_Context& context) {
  hdf_FileIdBytes id{};
  return openThrough(operation, context) && hdf_CreateFileId(operation, context.file, id) &&
         H5Jset_identity(context.hold.get(), id.data()) >= 0;
}

bool openFile(hdf_Operation& operation, hdf_Context& context) {
  return openThrough(operation, context) &&
         (context.Info().marked || checkJournal(operation, context, context.file));
}

// After all waiting, in which other threads may take the place.
bool reserve() {
  hdf_Contexts::Reserve();
  return true;
}
} // namespace

bool hdf_CreateFile(hdf_Operation& operation, hdf_Context& context, bool mustBeNew) {
  FileGuard guard(context);
  context.isNew = true;
  guard.good = take(operation, context, H5F_ACC_TRUNC | (mustBeNew ? H5F_ACC_EXCL : 0)) && reserve() &&
               createThrough(operation, context);
  return guard.good;
}

bool hdf_OpenFile(hdf_Operation& operation, hdf_Context& context) {
  FileGuard guard(context);
  guard.good = take(operation, context, context.readOnly ? H5F_ACC_RDONLY : H5F_ACC_RDWR) &&
               isFit(operation, context) && reserve() && openFile(operation, context);
  return guard.good;
}

bool hdf_ReopenFile(hdf_Operation& operation, hdf_Context& context) {
  if (context.isNew) // before its first commit point it begins anew
    return createThrough(operation, context);
  // A live reader meets bytes that it has not seen, perhaps another file of that name.
  return (!context.live || isFit(operation, context)) && openFile(operation, context);
}
