#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <H5Journal/H5Journal.h>

namespace {
constinit hdf_Shared* s_shared = nullptr;

// HDF5 walks every cached entry at a flush, so a small cache of fixed size makes commit points cheap.
constexpr std::size_t kMetadataCache = std::size_t{256} << 10;

// Large blocks begin at a cache line. (Not at a page: buffers of malloc begin 16 bytes behind one, and moving
// between places that are alike in their low 12 bits is slower.)
constexpr hsize_t kLargeBlock = hsize_t{256} << 10;
constexpr hsize_t kLine = 64;

void fixMetadataCache(hid_t access) {
  H5AC_cache_config_t config;
  config.version = H5AC__CURR_CACHE_CONFIG_VERSION;
  if (H5Pget_mdc_config(access, &config) < 0)
    return;
  config.set_initial_size = true;
  config.initial_size = config.min_size = config.max_size = kMetadataCache;
  config.incr_mode = H5C_incr__off;
  config.flash_incr_mode = H5C_flash_incr__off;
  config.decr_mode = H5C_decr__off;
  H5Pset_mdc_config(access, &config);
}

hid_t makeFileAccess(H5F_libver_t newest) {
  const hid_t access = H5Pcreate(H5P_FILE_ACCESS);
  H5Pset_libver_bounds(access, H5F_LIBVER_V18, newest);
  H5Pset_fclose_degree(access, H5F_CLOSE_STRONG);
  H5Pset_alignment(access, kLargeBlock, kLine);
  fixMetadataCache(access);
  H5Pset_fapl_journal(access, nullptr);
  return access;
}

hid_t makeObjectProperties(hid_t classId) {
  const hid_t properties = H5Pcreate(classId);
  H5Pset_obj_track_times(properties, false);
  return properties;
}

hid_t makeGroupProperties(hid_t classId) {
  const hid_t properties = makeObjectProperties(classId);
  H5Pset_est_link_info(properties, 4, 32);
  return properties;
}

// A file and its journal know each other by the mark.
hid_t makeFileProperties() {
  const hid_t properties = makeGroupProperties(H5P_FILE_CREATE);
  H5Pset_journal_mark(properties);
  return properties;
}

// The call for this number refuses 0, the library does not. Without the property nothing is opened.
hid_t makeLinkAccess(hid_t classId) {
  const hid_t access = H5Pcreate(classId);
  const std::size_t followed = 0;
  return H5Pset(access, "max soft links", &followed) < 0 ? H5I_INVALID_HID : access;
}

hid_t makeDatasetProperties(H5D_layout_t layout, bool member) {
  const hid_t properties = makeObjectProperties(H5P_DATASET_CREATE);
  H5Pset_layout(properties, layout);
  H5Pset_alloc_time(properties, H5D_ALLOC_TIME_EARLY);
  H5Pset_fill_time(properties, H5D_FILL_TIME_NEVER);
#if H5_VERSION_GE(1, 10, 5)
  if (member)
    H5Pset_dset_no_attrs_hint(properties, true);
#else
  static_cast<void>(member);
#endif
  return properties;
}

H5T_conv_ret_t refuseLoss(H5T_conv_except_t exception, hid_t, hid_t, void*, void*, void*) {
  return exception == H5T_CONV_EXCEPT_RANGE_HI || exception == H5T_CONV_EXCEPT_RANGE_LOW ? H5T_CONV_ABORT
                                                                                         : H5T_CONV_UNHANDLED;
}

hid_t makeExactTransfer() {
  const hid_t transfer = H5Pcreate(H5P_DATASET_XFER);
  H5Pset_type_conv_cb(transfer, &refuseLoss, nullptr);
  return transfer;
}
} // namespace

hdf_Shared::hdf_Shared()
    : m_createFile(makeFileProperties()), m_newFileAccess(makeFileAccess(H5F_LIBVER_V18)),
      m_oldFileAccess(makeFileAccess(H5F_LIBVER_LATEST)), m_group(makeGroupProperties(H5P_GROUP_CREATE)),
      m_openGroup(makeLinkAccess(H5P_GROUP_ACCESS)), m_openDataset(makeLinkAccess(H5P_DATASET_ACCESS)),
      m_compact(makeDatasetProperties(H5D_COMPACT, true)),
      m_contiguous(makeDatasetProperties(H5D_CONTIGUOUS, true)),
      m_bulk(makeDatasetProperties(H5D_CONTIGUOUS, false)), m_exact(makeExactTransfer()) {}

hdf_Shared& hdf_Shared::Get() {
  if (s_shared == nullptr)
    s_shared = new hdf_Shared;
  return *s_shared;
}

void hdf_Shared::Release() {
  delete s_shared;
  s_shared = nullptr;
}

hid_t hdf_Shared::Line(std::uint64_t extent) {
  CachedLine& line = m_lines[extent / 16 % kLines];
  if (!line.space.IsOpen() || line.extent != extent) {
    const hsize_t dims = extent;
    line.space = hdf_SpaceHandle(H5Screate_simple(1, &dims, nullptr));
    line.extent = extent;
  }
  return line.space.Get();
}

hdf_Shared::Window hdf_Shared::FirstOf(std::uint64_t extent, std::uint64_t count) {
  CachedWindow& window = m_windows[(extent * 31 + count) % kWindows];
  if (!window.file.IsOpen() || window.extent != extent || window.count != count) {
    const hsize_t whole = extent, part = count, start = 0;
    window.extent = extent;
    window.count = count;
    window.memory = hdf_SpaceHandle(H5Screate_simple(1, &part, nullptr));
    window.file = hdf_SpaceHandle(H5Screate_simple(1, &whole, nullptr));
    if (count == 0)
      H5Sselect_none(window.file.Get());
    else
      H5Sselect_hyperslab(window.file.Get(), H5S_SELECT_SET, &start, nullptr, &part, nullptr);
  }
  return {window.memory.Get(), window.file.Get()};
}
