#pragma once

#include <UTI_ORXSimDynamicAPI/objects/hdf_Handle.h>

#include <cstdint>

/// The property lists and dataspaces that every file uses, made once. Private to the module.
class hdf_Shared {
 public:
  /// Made on the first call, and again when HDF5 was shut down and came back.
  static hdf_Shared& Get();
  /// Gives everything back; the next Get() makes it anew.
  static void Release();

  hid_t CreateFile() const { return m_createFile.Get(); }
  hid_t NewFileAccess() const { return m_newFileAccess.Get(); }
  hid_t OldFileAccess() const { return m_oldFileAccess.Get(); }
  hid_t Group() const { return m_group.Get(); }
  /// Access properties under which a soft or external link is not followed.
  hid_t OpenGroup() const { return m_openGroup.Get(); }
  hid_t OpenDataset() const { return m_openDataset.Get(); }
  /// Creation properties of a dataset that is rewritten whole.
  hid_t MemberDataset(std::uint64_t bytes) const {
    return bytes <= kLargestCompact ? m_compact.Get() : m_contiguous.Get();
  }
  /// Creation properties of bulk data; one contiguous block.
  hid_t Bulk() const { return m_bulk.Get(); }
  /// Transfer properties under which an integer that does not fit fails the transfer.
  hid_t ExactTransfer() const { return m_exact.Get(); }

  /// The two dataspaces that move the first `count` of `extent` elements.
  struct Window {
    hid_t memory, file;
  };
  /// Valid until the next call. Cheap when the same pair was asked for lately.
  Window FirstOf(std::uint64_t extent, std::uint64_t count);
  /// A one-dimensional dataspace of that extent, valid until the next call.
  hid_t Line(std::uint64_t extent);

  static constexpr std::uint64_t kLargestCompact = 1024;

 private:
  hdf_Shared();

  struct CachedWindow {
    std::uint64_t extent = 0, count = 0;
    hdf_SpaceHandle memory, file;
  };
  struct CachedLine {
    std::uint64_t extent = 0;
    hdf_SpaceHandle space;
  };
  static constexpr std::size_t kWindows = 16, kLines = 8;

  hdf_PropertiesHandle m_createFile, m_newFileAccess, m_oldFileAccess, m_group, m_openGroup, m_openDataset;
  hdf_PropertiesHandle m_compact, m_contiguous, m_bulk, m_exact;
  CachedLine m_lines[kLines];
  CachedWindow m_windows[kWindows];
};
