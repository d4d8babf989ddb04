#pragma once

#include <hdf5.h>

class vfd_Store;

/// HDF5's road to a vfd_Store: a virtual file driver. Private to the module.
class vfd_Driver {
 public:
  /// The driver's identifier, registered with HDF5 on the first call and again when HDF5 was shut down.
  static hid_t Id();

  /// While it lives HDF5 opens and creates files through `store`, whatever name it is given. HDF5 opens a
  /// file twice to see whether it knows it, so the closing of a file does not count meanwhile either.
  class Opening {
   public:
    explicit Opening(vfd_Store& store);
    Opening(const Opening&) = delete;
    Opening& operator=(const Opening&) = delete;
    ~Opening();
  };
};
