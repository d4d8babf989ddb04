#pragma once

#include <UTI_CoreUtils/mem_Allocation.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

/// The way from a tree's root to one of its nodes: a stack that lives in place for the first kInPlace
/// entries, which no tree of ordinary history exceeds, and on the heap beyond. Entries are plain values.
template <class Entry, int kInPlace = 64>
class omi_BtreePath {
  static_assert(std::is_trivially_copyable_v<Entry>);

public:
  omi_BtreePath() {} // leaves the entries untouched: they are written before they are read
  omi_BtreePath(const omi_BtreePath&) = delete;
  omi_BtreePath& operator=(const omi_BtreePath&) = delete;
  ~omi_BtreePath() {
    if (m_entries != m_inPlace) [[unlikely]]
      mem_Free(m_entries);
  }

  /// Adds an entry at the deep end. Cost: amortised constant.
  void Push(Entry entry) {
    if (m_count == m_capacity) [[unlikely]]
      Grow();
    m_entries[m_count++] = entry;
  }
  /// Takes the deepest entry away. REQUIRES Count() > 0.
  Entry Pop() { return m_entries[--m_count]; }

  Entry& operator[](int depth) { return m_entries[depth]; }
  int Count() const { return m_count; }

private:
  __attribute__((noinline)) void Grow() {
    const std::size_t bytes = sizeof(Entry) * static_cast<std::size_t>(m_capacity);
    auto* const wider = static_cast<Entry*>(mem_OperatorNewThrow(2 * bytes));
    std::memcpy(static_cast<void*>(wider), m_entries, bytes);
    if (m_entries != m_inPlace)
      mem_Free(m_entries);
    m_entries = wider;
    m_capacity *= 2;
  }

  Entry* m_entries = m_inPlace;
  int m_capacity = kInPlace;
  int m_count = 0;
  Entry m_inPlace[kInPlace];
};
