#include <UTI_ORXSimDynamicAPI/inspect/hdf_Sink.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

// The driver's functions are called by HDF5 alone, and so with the module's lock held.

namespace {

struct Info {
  int* error;
};

struct File {
  H5FD_t base{}; // first: HDF5 sees the file as this
  int descriptor = -1;
  int* error = nullptr;
  haddr_t endAllocated = 0, endOfFile = 0;
};

File& of(H5FD_t* file) {
  return *reinterpret_cast<File*>(file);
}
const File& of(const H5FD_t* file) {
  return *reinterpret_cast<const File*>(file);
}

void note(const File& file) {
  if (*file.error == 0)
    *file.error = errno;
}

H5FD_t* open(const char* name, unsigned flags, hid_t access, haddr_t) {
  const auto* const info = static_cast<const Info*>(H5Pget_driver_info(access));
  if (info == nullptr)
    return nullptr;
  auto file = std::make_unique<File>();
  file->error = info->error;
  const int wanted =
      ((flags & H5F_ACC_TRUNC) != 0 ? O_TRUNC : 0) | ((flags & H5F_ACC_CREAT) != 0 ? O_CREAT : 0);
  file->descriptor = ::open(name, O_RDWR | O_CLOEXEC | wanted, 0666);
  *file->error = file->descriptor < 0 ? errno : 0; // HDF5 tries first without making it
  return file->descriptor < 0 ? nullptr : &file.release()->base;
}

herr_t close(H5FD_t* file) {
  const std::unique_ptr<File> closed(&of(file));
  if (::close(closed->descriptor) != 0)
    note(*closed);
  return 0;
}

int compare(const H5FD_t* a, const H5FD_t* b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

herr_t query(const H5FD_t*, unsigned long* flags) {
  *flags = H5FD_FEAT_AGGREGATE_METADATA | H5FD_FEAT_ACCUMULATE_METADATA | H5FD_FEAT_DATA_SIEVE |
           H5FD_FEAT_AGGREGATE_SMALLDATA;
  return 0;
}

haddr_t endAllocated(const H5FD_t* file, H5FD_mem_t) {
  return of(file).endAllocated;
}

herr_t setEndAllocated(H5FD_t* file, H5FD_mem_t, haddr_t end) {
  of(file).endAllocated = end;
  return 0;
}

haddr_t endOfFile(const H5FD_t* file, H5FD_mem_t) {
  return of(file).endOfFile;
}

/// What was not written reads as zeros.
herr_t read(H5FD_t* file, H5FD_mem_t, hid_t, haddr_t at, std::size_t size, void* bytes) {
  auto* to = static_cast<char*>(bytes);
  while (size > 0) {
    const ssize_t count = ::pread(of(file).descriptor, to, size, static_cast<off_t>(at));
    if (count < 0 && errno == EINTR)
      continue;
    if (count < 0)
      note(of(file));
    if (count <= 0)
      break;
    to += count;
    at += static_cast<haddr_t>(count);
    size -= static_cast<std::size_t>(count);
  }
  std::memset(to, 0, size);
  return 0;
}

herr_t write(H5FD_t* file, H5FD_mem_t, hid_t, haddr_t at, std::size_t size, const void* bytes) {
  File& sink = of(file);
  const auto* from = static_cast<const char*>(bytes);
  sink.endOfFile = std::max(sink.endOfFile, at + size);
  while (size > 0 && *sink.error == 0) {
    const ssize_t count = ::pwrite(sink.descriptor, from, size, static_cast<off_t>(at));
    if (count < 0 && errno == EINTR)
      continue;
    if (count < 0) {
      note(sink);
      break;
    }
    from += count;
    at += static_cast<haddr_t>(count);
    size -= static_cast<std::size_t>(count);
  }
  return 0;
}

herr_t truncate(H5FD_t* file, hid_t, hbool_t) {
  File& sink = of(file);
  if (*sink.error == 0 && ::ftruncate(sink.descriptor, static_cast<off_t>(sink.endAllocated)) != 0)
    note(sink);
  sink.endOfFile = sink.endAllocated;
  return 0;
}

H5FD_class_t describe() {
  H5FD_class_t driver{};
#if H5_VERSION_GE(1, 13, 0)
  driver.version = H5FD_CLASS_VERSION;
  driver.value = static_cast<H5FD_class_value_t>(0x5045);
#endif
  driver.name = "sink";
  driver.maxaddr = (haddr_t{1} << 62) - 1;
  driver.fc_degree = H5F_CLOSE_STRONG;
  driver.fapl_size = sizeof(Info);
  driver.open = &open;
  driver.close = &close;
  driver.cmp = &compare;
  driver.query = &query;
  driver.get_eoa = &endAllocated;
  driver.set_eoa = &setEndAllocated;
  driver.get_eof = &endOfFile;
  driver.read = &read;
  driver.write = &write;
  driver.truncate = &truncate;
  constexpr H5FD_mem_t kMap[] = H5FD_FLMAP_DICHOTOMY;
  std::copy(std::begin(kMap), std::end(kMap), driver.fl_map);
  return driver;
}

} // namespace

herr_t hdf_UseSink(hid_t access, int* error) {
  static const H5FD_class_t s_driver = describe();
  static hid_t s_id = H5I_INVALID_HID;
  if (H5Iis_valid(s_id) <= 0)
    s_id = H5FDregister(&s_driver);
  const Info info{error};
  return s_id < 0 ? -1 : H5Pset_driver(access, s_id, &info);
}
