#include <H5Journal/driver/vfd_Driver.h>

#include <H5Journal/commit/vfd_Store.h>

#include <new>
#if H5_VERSION_GE(1, 13, 0)
#include <H5FDdevelop.h>
#endif

namespace {
constinit vfd_Store* s_opening = nullptr;

// HDF5 knows the beginning of it only.
struct File {
  H5FD_t base;
  vfd_Store* store; // null: cut off, what HDF5 still does with it has no effect
  haddr_t eoa;
};

File* fileOf(H5FD_t* base) {
  return reinterpret_cast<File*>(base);
}
const File* fileOf(const H5FD_t* base) {
  return reinterpret_cast<const File*>(base);
}

H5FD_t* open(const char*, unsigned, hid_t, haddr_t) {
  File* const file = s_opening == nullptr ? nullptr : new (std::nothrow) File{{}, s_opening, 0};
  if (file == nullptr)
    return nullptr;
  s_opening->OpenedBy(&file->store);
  return &file->base;
}

// What HDF5 wrote while closing becomes a commit point in the store or is forgotten; the store knows which.
herr_t close(H5FD_t* base) {
  File* const file = fileOf(base);
  if (file->store != nullptr)
    file->store->ClosedBy(&file->store, s_opening != nullptr);
  delete file;
  return 0;
}

// Two views of one file may stand at different commit points, and what HDF5 could not close must not come
// back when the store is opened again, so each opening is a file of its own for HDF5.
int compare(const H5FD_t* a, const H5FD_t* b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

// No data sieve: with it HDF5 writes while it closes a dataset, and when that write fails it keeps half of
// the dataset and does not survive its own exit handler. Small writes meet in the store's pages anyway.
herr_t query(const H5FD_t*, unsigned long* features) {
  *features = H5FD_FEAT_AGGREGATE_METADATA | H5FD_FEAT_ACCUMULATE_METADATA | H5FD_FEAT_AGGREGATE_SMALLDATA |
              H5FD_FEAT_DEFAULT_VFD_COMPATIBLE;
  return 0;
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

// No exception may pass through HDF5. A failed read counts as well: HDF5 may have needed it for what it
// writes.
// \param cutOff the answer without a store.
template <class Work>
herr_t guarded(H5FD_t* base, herr_t cutOff, Work work) {
  if (fileOf(base)->store == nullptr)
    return cutOff;
  vfd_Store& store = *fileOf(base)->store;
  try {
    if (work(store))
      return 0;
  } catch (const std::bad_alloc&) {
  }
  store.HasFailed();
  // HDF5 does not survive a write that fails while it closes a file; the store knows that it is not to be
  // kept.
  return store.IsClosing() ? cutOff : -1;
}

herr_t read(H5FD_t* base, H5FD_mem_t, hid_t, haddr_t address, std::size_t size, void* buffer) {
  return guarded(base, -1, [&](const vfd_Store& store) { return store.Read(address, size, buffer); });
}

herr_t write(H5FD_t* base, H5FD_mem_t, hid_t, haddr_t address, std::size_t size, const void* buffer) {
  return guarded(base, 0, [&](vfd_Store& store) { return store.Write(address, size, buffer); });
}

// HDF5 flushes when it likes; only the context says when it counts.
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
  driver.name = "pdm_journal";
  driver.maxaddr = static_cast<haddr_t>(kVfdLargest);
  driver.fc_degree = H5F_CLOSE_STRONG;
  driver.open = &open;
  driver.close = &close;
  driver.cmp = &compare;
  driver.query = &query;
  driver.get_eoa = &endAllocated;
  driver.set_eoa = &setEndAllocated;
  driver.get_eof = &endOfFile;
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
} // namespace

hid_t vfd_Driver::Id() {
  static hid_t s_id = H5I_INVALID_HID;
  static const H5FD_class_t s_driver = describeDriver();
  if (H5Iis_valid(s_id) <= 0)
    s_id = H5FDregister(&s_driver);
  return s_id;
}

vfd_Driver::Opening::Opening(vfd_Store& store) {
  s_opening = &store;
}

vfd_Driver::Opening::~Opening() {
  s_opening = nullptr;
}
