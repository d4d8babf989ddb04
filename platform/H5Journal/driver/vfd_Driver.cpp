#include <H5Journal/driver/vfd_Driver.h>

#include <H5Journal/commit/vfd_Store.h>
#include <H5Journal/files/vfd_Cause.h>
#include <H5Journal/opening/vfd_Superblock.h>

#include <algorithm>
#include <mutex>
#include <new>
#include <sys/stat.h>
#if H5_VERSION_GE(1, 13, 0)
#include <H5FDdevelop.h>
#endif

namespace {
// What HDF5 opens next, given by us.
thread_local constinit vfd_Store* s_opening = nullptr;
thread_local constinit std::unique_ptr<vfd_Store>* s_given = nullptr;

// HDF5 knows the beginning of it only.
struct File {
  H5FD_t base;
  vfd_Store* store; // null: cut off, what HDF5 still does with it has no effect
  haddr_t eoa;
  std::unique_ptr<vfd_Store> owned; // of a file that HDF5 opened by itself
  bool probe = false;               // a second look at a file that is open already
  File* next = nullptr;
};

// Guards the list of files, and in each of them `owned`. Taken for moments, and HDF5 is not called meanwhile:
// its own lock comes first.
constinit std::mutex s_guard;
constinit File* s_files = nullptr;

void enlist(File& file) {
  const std::lock_guard lock(s_guard);
  file.next = s_files;
  s_files = &file;
}

void strike(const File& file) {
  const std::lock_guard lock(s_guard);
  File** at = &s_files;
  while (*at != &file)
    at = &(*at)->next;
  *at = file.next;
}

File* fileOf(H5FD_t* base) {
  return reinterpret_cast<File*>(base);
}
const File* fileOf(const H5FD_t* base) {
  return reinterpret_cast<const File*>(base);
}

vfd_Options optionsOf(const char* name, unsigned flags, hid_t fapl) {
  const auto* given = static_cast<const H5J_options_t*>(H5Pget_driver_info(fapl));
  const H5J_options_t options = given == nullptr ? vfd_Driver::DefaultOptions() : *given;
  return vfd_OptionsOf(name, flags, options);
}

// A file that HDF5 has open through us already, and opens once more: it compares and finds the first.
vfd_Store* openAlready(const char* name) {
  struct stat status;
  if (::stat(name, &status) != 0)
    return nullptr;
  const std::lock_guard lock(s_guard);
  for (const File* file = s_files; file != nullptr; file = file->next)
    if (file->owned != nullptr && file->store == file->owned.get() && !file->store->Forked() &&
        file->store->Identity() == vfd_FileIdentity::Of(status))
      return file->store;
  return nullptr;
}

std::unique_ptr<vfd_Store> openByName(const vfd_Options& options, unsigned flags) {
  if ((flags & (H5F_ACC_TRUNC | H5F_ACC_CREAT | H5F_ACC_EXCL)) != 0)
    return vfd_Store::Create(options, (flags & H5F_ACC_EXCL) != 0);
  auto store = vfd_Store::Open(options);
  if (store != nullptr &&
      (!vfd_Driver::CheckWhole(*store) || (store->NeedsRecovery() && !store->Recover()))) {
    store->Abandon();
    store.reset();
  }
  return store;
}

void tellHdf5() {
  H5Epush2(H5E_DEFAULT, __FILE__, "H5FD_journal_open", __LINE__, H5E_ERR_CLS, H5E_VFL, H5E_CANTOPENFILE, "%s",
           vfd_LastCause().Text());
}

H5FD_t* open(const char* name, unsigned flags, hid_t fapl, haddr_t) {
  File* const opened = vfd_Try<File*>(nullptr, [&]() -> File* {
    auto file = std::make_unique<File>();
    if (s_given != nullptr) {
      file->owned = std::move(*s_given);
      file->store = file->owned.get();
    } else if (s_opening != nullptr) {
      file->store = s_opening;
    } else if ((flags & H5F_ACC_TRUNC) == 0 && (file->store = openAlready(name)) != nullptr) {
      file->probe = true;
    } else {
      file->owned = openByName(optionsOf(name, flags, fapl), flags);
      if ((file->store = file->owned.get()) == nullptr)
        return nullptr;
    }
    if (!file->probe)
      file->store->OpenedBy(&file->store);
    enlist(*file);
    return file.release();
  });
  if (opened == nullptr)
    return tellHdf5(), nullptr;
  return &opened->base;
}

// What HDF5 wrote while closing becomes a commit point in the store or is forgotten; the store knows which.
// HDF5 opens a file twice to see whether it knows it, so the closing of a file that is being opened does not
// count.
herr_t close(H5FD_t* base) {
  const std::unique_ptr<File> file(fileOf(base));
  strike(*file);
  if (file->probe || file->store == nullptr)
    return 0;
  const bool opening = s_opening != nullptr || s_given != nullptr;
  if (opening && s_given != nullptr)
    *s_given = std::move(file->owned);
  if (file->store->ClosedBy(&file->store, opening) && file->owned == nullptr)
    file->store = nullptr;
  return 0; // an owned store ends here as at its last commit point
}

// Files that we opened are each a file of its own for HDF5, since two views of one file may stand at
// different commit points, and what HDF5 could not close must not come back.
int compare(const H5FD_t* a, const H5FD_t* b) {
  const File *const first = fileOf(a), *const second = fileOf(b);
  if (first->store == second->store && first->store != nullptr && (first->probe || second->probe))
    return 0;
  return a < b ? -1 : a > b ? 1 : 0;
}

// No data sieve: with it HDF5 writes while it closes a dataset, and when that write fails it keeps half of
// the dataset and does not survive its own exit handler. Small writes meet in the store's pages anyway. No
// metadata accumulator: HDF5 1.10 joins damaged metadata in it and crashes, which most mutated files showed.
herr_t query(const H5FD_t*, unsigned long* features) {
  *features = H5FD_FEAT_AGGREGATE_METADATA | H5FD_FEAT_AGGREGATE_SMALLDATA |
              H5FD_FEAT_DEFAULT_VFD_COMPATIBLE | H5FD_FEAT_USE_ALLOC_SIZE;
  return 0;
}

// New space: behind the end, or for much data what former sessions have left. In both cases HDF5 takes what
// lies between a ragged end and the next multiple of the alignment for its own.
haddr_t allocate(H5FD_t* base, H5FD_mem_t type, hid_t, hsize_t size) {
  File& file = *fileOf(base);
  const haddr_t alignment = size >= base->threshold && base->alignment > 1 ? base->alignment : 1;
  const haddr_t start = (file.eoa + alignment - 1) / alignment * alignment;
  const bool raw = type == H5FD_MEM_DRAW && file.store != nullptr;
  if (const haddr_t spare = raw ? file.store->TakeSpare(size, alignment) : 0; spare != 0) {
    file.eoa = start;
    return spare;
  }
  if (size > kVfdLargest - std::min<haddr_t>(start, kVfdLargest))
    return HADDR_UNDEF;
  file.eoa = start + size;
  return start;
}

haddr_t endAllocated(const H5FD_t* base, H5FD_mem_t) {
  return fileOf(base)->eoa;
}

herr_t setEndAllocated(H5FD_t* base, H5FD_mem_t, haddr_t end) {
  fileOf(base)->eoa = end;
  return 0;
}

haddr_t endOfFile(const H5FD_t* base, H5FD_mem_t) {
  const File* const file = fileOf(base);
  return file->store == nullptr ? file->eoa : file->store->End();
}

herr_t handleOf(H5FD_t* base, hid_t, void** handle) {
  *handle = fileOf(base);
  return 0;
}

// A failed read counts as well: HDF5 may have needed it for what it writes.
// \param cutOff the answer without a store.
template <class Work>
herr_t guarded(H5FD_t* base, herr_t cutOff, Work work) {
  if (fileOf(base)->store == nullptr)
    return cutOff;
  vfd_Store& store = *fileOf(base)->store;
  if (vfd_Try(false, [&] { return work(store); }))
    return 0;
  store.HasFailed();
  // HDF5 does not survive a write that fails while it closes a file; the store knows that it is not to be
  // kept.
  if (store.IsClosing())
    return cutOff;
  H5Epush2(H5E_DEFAULT, __FILE__, "H5FD_journal", __LINE__, H5E_ERR_CLS, H5E_VFL, H5E_WRITEERROR, "%s",
           vfd_LastCause().Text());
  return -1;
}

herr_t read(H5FD_t* base, H5FD_mem_t, hid_t, haddr_t address, std::size_t size, void* buffer) {
  return guarded(base, -1, [&](const vfd_Store& store) { return store.Read(address, size, buffer); });
}

herr_t write(H5FD_t* base, H5FD_mem_t, hid_t, haddr_t address, std::size_t size, const void* buffer) {
  return guarded(base, 0, [&](vfd_Store& store) { return store.Write(address, size, buffer); });
}

// HDF5 flushes when it likes; only the program says when it counts.
herr_t flush(H5FD_t*, hid_t, hbool_t) {
  return 0;
}

herr_t truncate(H5FD_t* base, hid_t, hbool_t) {
  return guarded(base, 0, [&](vfd_Store& store) { return store.SetEnd(fileOf(base)->eoa); });
}

// The store holds the lock already.
herr_t lock(H5FD_t*, hbool_t) {
  return 0;
}
herr_t unlock(H5FD_t*) {
  return 0;
}

H5FD_class_t describeDriver() {
  H5FD_class_t driver{};
#if H5_VERSION_GE(1, 13, 0)
  driver.version = H5FD_CLASS_VERSION;
  driver.value = static_cast<H5FD_class_value_t>(0x5044);
#endif
  driver.name = "journal";
  driver.maxaddr = static_cast<haddr_t>(kVfdLargest);
  driver.fc_degree = H5F_CLOSE_STRONG;
  driver.fapl_size = sizeof(H5J_options_t);
  driver.open = &open;
  driver.close = &close;
  driver.cmp = &compare;
  driver.query = &query;
  driver.alloc = &allocate;
  driver.get_eoa = &endAllocated;
  driver.set_eoa = &setEndAllocated;
  driver.get_eof = &endOfFile;
  driver.get_handle = &handleOf;
  driver.read = &read;
  driver.write = &write;
  driver.flush = &flush;
  driver.truncate = &truncate;
  driver.lock = &lock;
  driver.unlock = &unlock;
  constexpr H5FD_mem_t kMap[] = H5FD_FLMAP_DICHOTOMY;
  for (int type = 0; type < H5FD_MEM_NTYPES; ++type)
    driver.fl_map[type] = kMap[type];
  return driver;
}

// The file is looked at in our own list, so another driver's handle is never touched.
File* findFile(hid_t file) {
  void* handle = nullptr;
  if (H5Fget_vfd_handle(file, H5P_DEFAULT, &handle) < 0)
    return nullptr;
  const std::lock_guard lock(s_guard);
  File* at = s_files;
  while (at != nullptr && at != handle)
    at = at->next;
  return at;
}
} // namespace

hid_t vfd_Driver::Id() {
  static constinit std::mutex s_registering; // comes before HDF5's own lock
  static hid_t s_id = H5I_INVALID_HID;
  static const H5FD_class_t s_driver = describeDriver();
  const std::lock_guard lock(s_registering);
  if (H5Iis_valid(s_id) <= 0)
    s_id = H5FDregister(&s_driver);
  return s_id;
}

H5J_options_t vfd_Driver::DefaultOptions() {
  return {H5J_OPTIONS_VERSION, H5J_PROCESS, false, 0, 0, 0};
}

vfd_Store* vfd_Driver::StoreOf(hid_t file) {
  const File* const found = findFile(file);
  return found == nullptr ? nullptr : found->store;
}

std::unique_ptr<vfd_Store> vfd_Driver::TakeStore(hid_t file) {
  File* const found = findFile(file);
  const std::lock_guard lock(s_guard);
  return found == nullptr ? nullptr : std::move(found->owned);
}

hid_t vfd_Driver::Open(vfd_Store& store, const char* name, bool readOnly, hid_t fapl) {
  s_opening = &store;
  const hid_t file = H5Fopen(name, readOnly ? H5F_ACC_RDONLY : H5F_ACC_RDWR, fapl);
  s_opening = nullptr;
  return file;
}

hid_t vfd_Driver::Create(vfd_Store& store, const char* name, hid_t fcpl, hid_t fapl) {
  s_opening = &store;
  const hid_t file = H5Fcreate(name, H5F_ACC_TRUNC, fcpl, fapl);
  s_opening = nullptr;
  return file;
}

hid_t vfd_Driver::Give(std::unique_ptr<vfd_Store> store, const char* name, hid_t fapl) {
  s_given = &store;
  const hid_t file = H5Fopen(name, store->ReadOnly() ? H5F_ACC_RDONLY : H5F_ACC_RDWR, fapl);
  s_given = nullptr;
  return file;
}

bool vfd_Driver::CheckWhole(vfd_Store& store) {
  if (store.End() == 0)
    return vfd_Refuse("the file is empty");
  const auto read = [&](std::uint64_t address, std::size_t count, void* bytes) {
    return store.Read(address, count, bytes);
  };
  const vfd_Superblock block = vfd_Superblock::Read(store.End(), read);
  if (!block.found)
    return vfd_Refuse("not an HDF5 file");
  if (block.damaged)
    return vfd_Refuse("the file's first block is damaged: its checksum disagrees");
  store.SetSuperblock(block.start);
  return block.end <= store.End() || vfd_Refuse("file is truncated: " + std::to_string(store.End()) +
                                                " bytes, " + std::to_string(block.end) + " expected");
}
