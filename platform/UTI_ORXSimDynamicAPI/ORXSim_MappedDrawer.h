#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Export.h>

#include <cstddef>
#include <cstdint>
#include <utility>

/// A drawer's numbers where they lie in the file, mapped into memory: nothing is copied, and nothing is read
/// before it is looked at. ORXSimDistributionRef::MapDrawer makes it.
///
/// The numbers are not checked against their checksums; ORXSimDistributionRef::Verify does that. The memory
/// stays valid until this object ends, also when the context is closed before. The map keeps the file open
/// for reading: as long as it lives nobody opens the file for writing, so the numbers stay what they are.
///
/// Owned by one place: moved, never copied.
/// Threads: a map may be read in any number of threads at once.
class ORXSIM_API ORXSimMappedDrawer {
 public:
  /// An empty one.
  ORXSimMappedDrawer() = default;
  ORXSimMappedDrawer(ORXSimMappedDrawer&& other) noexcept { *this = std::move(other); }
  ORXSimMappedDrawer& operator=(ORXSimMappedDrawer&& other) noexcept;
  ~ORXSimMappedDrawer();

  /// True when nothing is mapped.
  bool operator!() const { return m_data == nullptr; }
  /// Rows x components numbers of the drawer's type, at an address that suits it; null when empty.
  const void* Data() const { return m_data; }
  /// Size of the numbers, 0 when empty.
  std::int64_t Bytes() const { return m_bytes; }

 private:
  friend class ORXSimDistributionRef;

  void* m_pages = nullptr;      // what the system has mapped, from a whole page on
  std::size_t m_mapped = 0;     // its size
  const void* m_data = nullptr; // within it
  std::int64_t m_bytes = 0;
};
