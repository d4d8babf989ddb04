#pragma once

#include <UTI_CoreUtils/mem_Allocation.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

/// Room for the way from a tree's root to one of its nodes: a stack that lies in place for the first kInPlace
/// entries, which no tree of ordinary history exceeds, and on the heap beyond. Entries are plain values.
/// Threads: one thread; a path belongs to one call.
///
/// A loop where every cycle counts keeps the top to itself: it writes from Begin() on and, when it reaches
/// End(), calls Grow. Everyone else uses Push and Pop.
template <class Entry, int kInPlace = 64>
class omi_BtreePath {
  static_assert(std::is_trivially_copyable_v<Entry>);

 public:
  omi_BtreePath() {} // leaves the entries untouched: they are written before they are read
  omi_BtreePath(const omi_BtreePath&) = delete;
  omi_BtreePath& operator=(const omi_BtreePath&) = delete;
  ~omi_BtreePath() {
    if (m_begin != m_inPlace) [[unlikely]]
      mem_Free(m_begin);
  }

  Entry* Begin() { return m_begin; }
  Entry* End() { return m_end; }
  /// Doubles the room, which is full. Begin() and End() move. Cost: O(entries).
  /// \return where the next entry goes.
  [[gnu::noinline, gnu::cold]] Entry* Grow() {
    const auto count = static_cast<std::size_t>(m_end - m_begin);
    auto* const wider = static_cast<Entry*>(mem_OperatorNewThrow(2 * count * sizeof(Entry)));
    std::memcpy(static_cast<void*>(wider), m_begin, count * sizeof(Entry));
    if (m_begin != m_inPlace)
      mem_Free(m_begin);
    m_begin = wider;
    m_end = wider + 2 * count;
    return wider + count;
  }

  /// Adds an entry at the deep end. Cost: amortised constant.
  void Push(Entry entry) {
    if (m_top == m_end) [[unlikely]]
      m_top = Grow();
    *m_top++ = entry;
  }
  /// Takes the deepest entry away. REQUIRES that there is one.
  /// \return the entry.
  Entry Pop() { return *--m_top; }
  bool IsEmpty() const { return m_top == m_begin; }

 private:
  Entry* m_begin = m_inPlace;
  Entry* m_end = m_inPlace + kInPlace;
  Entry* m_top = m_inPlace; // of Push and Pop
  Entry m_inPlace[kInPlace];
};
