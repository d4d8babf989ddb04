#pragma once

#include <H5Journal/files/vfd_Io.h>

/// A store's place among the files that this process has open: the system's locks do not keep a process from
/// itself. Threads come and go with stores of their own at any time.
class vfd_Registered {
 public:
  vfd_Registered(bool readOnly, bool live);
  vfd_Registered(const vfd_Registered&) = delete;
  vfd_Registered& operator=(const vfd_Registered&) = delete;
  ~vfd_Registered();

  /// The store has that file now.
  void Has(const vfd_FileIdentity& file);
  /// True when there is a store on that file that a further opening would disturb: readers bear each other,
  /// and live readers everybody. A store of the parent process counts for nothing.
  static bool InTheWay(const vfd_FileIdentity& file, bool readOnly, bool live);

 private:
  const vfd_Owner m_owner;
  const bool m_readOnly, m_live;
  vfd_FileIdentity m_file;
  vfd_Registered* m_next;
};
