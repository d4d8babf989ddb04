#pragma once

#include <hdf5.h>

#include <utility>

/// How many identifiers of the module HDF5 could not close: what it wrote of the object then is incomplete.
/// Private to the module, as everything here.
inline constinit unsigned hdf_FailedClosings = 0;

/// Owns one HDF5 identifier and gives it back with Close. Private to the module.
template <herr_t (*Close)(hid_t)>
class hdf_Handle {
 public:
  hdf_Handle() = default;
  explicit hdf_Handle(hid_t id) : m_id(id) {}
  hdf_Handle(hdf_Handle&& other) noexcept : m_id(other.Release()) {}
  hdf_Handle& operator=(hdf_Handle&& other) noexcept {
    std::swap(m_id, other.m_id);
    return *this;
  }
  ~hdf_Handle() {
    if (m_id >= 0 && Close(m_id) < 0)
      ++hdf_FailedClosings;
  }

  hid_t Get() const { return m_id; }
  bool IsOpen() const { return m_id >= 0; }
  hid_t Release() { return std::exchange(m_id, H5I_INVALID_HID); }

 private:
  hid_t m_id = H5I_INVALID_HID;
};

using hdf_GroupHandle = hdf_Handle<H5Gclose>;
using hdf_DatasetHandle = hdf_Handle<H5Dclose>;
using hdf_AttributeHandle = hdf_Handle<H5Aclose>;
using hdf_SpaceHandle = hdf_Handle<H5Sclose>;
using hdf_TypeHandle = hdf_Handle<H5Tclose>;
using hdf_PropertiesHandle = hdf_Handle<H5Pclose>;
