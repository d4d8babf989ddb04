#include "raw_Objects.h"

#include <hdf5.h>

#include <cstdlib>

namespace {
hid_t must(hid_t id) {
  if (id < 0)
    std::abort();
  return id;
}
} // namespace

long long raw_Objects::AccessList() const {
  const hid_t list = must(H5Pcreate(H5P_FILE_ACCESS));
  if (m_tuned) {
    H5Pset_libver_bounds(list, H5F_LIBVER_V18, H5F_LIBVER_V18);
    H5AC_cache_config_t cache{};
    cache.version = H5AC__CURR_CACHE_CONFIG_VERSION;
    H5Pget_mdc_config(list, &cache);
    cache.set_initial_size = true;
    cache.initial_size = cache.min_size = cache.max_size = 256 * 1024;
    cache.incr_mode = H5C_incr__off;
    cache.flash_incr_mode = H5C_flash_incr__off;
    cache.decr_mode = H5C_decr__off;
    must(H5Pset_mdc_config(list, &cache));
  }
  return list;
}

void raw_Objects::Create(const std::string& file, int n, const std::vector<unsigned char>& stream) const {
  const hid_t access = AccessList();
  const hid_t out = must(H5Fcreate(file.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access));
  const hid_t groups = must(H5Pcreate(H5P_GROUP_CREATE));
  const hid_t datasets = must(H5Pcreate(H5P_DATASET_CREATE));
  if (m_tuned) {
    H5Pset_est_link_info(groups, 4, 32);
    H5Pset_obj_track_times(groups, false);
    H5Pset_layout(datasets, H5D_COMPACT);
    H5Pset_obj_track_times(datasets, false);
    H5Pset_fill_time(datasets, H5D_FILL_TIME_NEVER);
    H5Pset_dset_no_attrs_hint(datasets, true);
  }
  const hsize_t classSize = 80, size = stream.size();
  const hid_t classSpace = must(H5Screate_simple(1, &classSize, nullptr));
  const hid_t space = must(H5Screate_simple(1, &size, nullptr));
  const unsigned char name[80] = "com.vertana.FESystem";
  const hid_t parent = must(H5Gcreate2(out, "systems", H5P_DEFAULT, groups, H5P_DEFAULT));
  for (int i = 0; i < n; ++i) {
    const hid_t group = must(H5Gcreate2(parent, std::to_string(i).c_str(), H5P_DEFAULT, groups, H5P_DEFAULT));
    const hid_t attribute =
        must(H5Acreate2(group, "class", H5T_NATIVE_UCHAR, classSpace, H5P_DEFAULT, H5P_DEFAULT));
    H5Awrite(attribute, H5T_NATIVE_UCHAR, name);
    H5Aclose(attribute);
    const hid_t dataset = must(
        H5Dcreate2(group, "#simpleTypeMembers", H5T_NATIVE_UCHAR, space, H5P_DEFAULT, datasets, H5P_DEFAULT));
    H5Dwrite(dataset, H5T_NATIVE_UCHAR, H5S_ALL, H5S_ALL, H5P_DEFAULT, stream.data());
    H5Dclose(dataset);
    H5Gclose(group);
  }
  for (const hid_t id : {space, classSpace})
    H5Sclose(id);
  for (const hid_t id : {access, groups, datasets})
    H5Pclose(id);
  H5Gclose(parent);
  H5Fflush(out, H5F_SCOPE_GLOBAL);
  H5Fclose(out);
}

long long raw_Objects::Read(const std::string& file, int first, int end) const {
  const hid_t access = AccessList();
  const hid_t in = must(H5Fopen(file.c_str(), H5F_ACC_RDONLY, access));
  const long long total = Read(in, first, end);
  H5Fclose(in);
  H5Pclose(access);
  return total;
}

long long raw_Objects::Read(long long file, int first, int end) {
  const hid_t parent = must(H5Gopen2(file, "systems", H5P_DEFAULT));
  long long total = 0;
  std::vector<unsigned char> bytes;
  unsigned char name[80];
  for (int i = first; i < end; ++i) {
    const hid_t group = must(H5Gopen2(parent, std::to_string(i).c_str(), H5P_DEFAULT));
    const hid_t attribute = must(H5Aopen(group, "class", H5P_DEFAULT));
    H5Aread(attribute, H5T_NATIVE_UCHAR, name);
    H5Aclose(attribute);
    const hid_t dataset = must(H5Dopen2(group, "#simpleTypeMembers", H5P_DEFAULT));
    const hid_t space = H5Dget_space(dataset);
    bytes.resize(static_cast<std::size_t>(H5Sget_simple_extent_npoints(space)));
    H5Dread(dataset, H5T_NATIVE_UCHAR, H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes.data());
    total += static_cast<long long>(bytes.size());
    H5Sclose(space);
    H5Dclose(dataset);
    H5Gclose(group);
  }
  H5Gclose(parent);
  return total;
}

long long raw_Objects::OpenForRewrite(const std::string& file) {
  const hid_t access = AccessList();
  m_file = must(H5Fopen(file.c_str(), H5F_ACC_RDWR, access));
  m_dataset = must(H5Dopen2(m_file, "systems/0/#simpleTypeMembers", H5P_DEFAULT));
  H5Pclose(access);
  return m_file;
}

void raw_Objects::Rewrite(const std::vector<unsigned char>& stream, bool flush) const {
  H5Dwrite(m_dataset, H5T_NATIVE_UCHAR, H5S_ALL, H5S_ALL, H5P_DEFAULT, stream.data());
  if (flush)
    H5Fflush(m_file, H5F_SCOPE_GLOBAL);
}

void raw_Objects::Close() const {
  H5Dclose(m_dataset);
  H5Fclose(m_file);
}
