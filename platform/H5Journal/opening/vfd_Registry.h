#pragma once

#include <H5Journal/files/vfd_Io.h>

class vfd_Store;

/// The files that this process has open: the system's locks do not keep a process from itself.
class vfd_Registry {
 public:
  static void Add(vfd_Store& store);
  static void Remove(const vfd_Store& store) noexcept;
  /// The store on that file that a further opening would disturb, null when there is none: readers bear each
  /// other, and live readers everybody. A store of the parent process counts for nothing.
  static vfd_Store* InTheWay(const vfd_FileIdentity& file, bool readOnly, bool live);
};
