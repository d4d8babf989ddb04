#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <sys/mman.h>
#include <utility>

/// The first bytes of a file as memory, for numbers that are written too often for a call of the system. What
/// is stored survives the process at once. A file that somebody cuts to nothing meanwhile ends the process.
class vfd_Mapping {
 public:
  vfd_Mapping() = default;
  vfd_Mapping(vfd_Mapping&& other) noexcept : m_base(std::exchange(other.m_base, nullptr)) {}
  vfd_Mapping& operator=(vfd_Mapping&& other) noexcept {
    std::swap(m_base, other.m_base);
    return *this;
  }
  ~vfd_Mapping() { Close(); }

  /// \param file open for reading and writing, at least kBytes long.
  /// \return false when there is no mapping.
  bool Open(int file) {
    if (m_base == nullptr)
      if (void* const base = ::mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
          base != MAP_FAILED)
        m_base = static_cast<unsigned char*>(base);
    return m_base != nullptr;
  }
  void Close() {
    if (m_base != nullptr)
      ::munmap(std::exchange(m_base, nullptr), kBytes);
  }
  /// All eight bytes or none of them.
  /// \param at a multiple of 8.
  void Store(std::size_t at, std::uint64_t bytes) {
    std::atomic_ref(*reinterpret_cast<std::uint64_t*>(m_base + at)).store(bytes, std::memory_order_release);
  }

 private:
  static constexpr std::size_t kBytes = 512;

  unsigned char* m_base = nullptr;
};
