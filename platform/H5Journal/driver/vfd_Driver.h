#pragma once

#include <H5Journal/H5Journal.h>

#include <memory>

class vfd_Store;
struct vfd_Options;

/// What a caller's options and HDF5's flags ask for.
vfd_Options vfd_OptionsOf(const char* name, unsigned flags, const H5J_options_t& given);

/// HDF5's road to a vfd_Store: a virtual file driver.
class vfd_Driver {
 public:
  /// The driver's identifier, registered with HDF5 on the first call and again when HDF5 was shut down.
  static hid_t Id();
  static H5J_options_t DefaultOptions();

  /// The store under a file that is open in HDF5 through this driver; null for other files.
  static vfd_Store* StoreOf(hid_t file);
  /// Takes the store of a file that HDF5 opened by itself out of its hands; null when it is not HDF5's to
  /// give.
  static std::unique_ptr<vfd_Store> TakeStore(hid_t file);

  /// Opens a file in HDF5 over a store that stays the caller's.
  static hid_t Open(vfd_Store& store, const char* name, bool readOnly, hid_t fapl);
  static hid_t Create(vfd_Store& store, const char* name, hid_t fcpl, hid_t fapl);
  /// Opens a file over a store that HDF5's file owns from then on. When that fails the store is gone.
  static hid_t Give(std::unique_ptr<vfd_Store> store, const char* name, hid_t fapl);

  /// False, with the cause, when the bytes are no whole HDF5 file.
  static bool CheckWhole(vfd_Store& store);
};
