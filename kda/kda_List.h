#pragma once

#include <kda/kda_ValueTypes.h>

#include <new>
#include <type_traits>
#include <utility>

/// Writes "** ERROR kda_List::operator[]: index <i> is out of bounds" and a newline to the error stream.
/// \param i  the index.
PDM_CORE_API void kda_ReportListIndex(int i);

/// A growable array: one contiguous block, 16 elements at first, then doubling.
///
/// Elements move with the block as raw bytes, so T must bear that (all exported types do: plain values and
/// strings of one pointer). A list holds fewer than 2^30 elements. There is no assignment; copy and swap.
/// Threads: any number may read one list while nobody changes it; different lists are independent.
template <class T>
class kda_List {
 public:
  /// An empty list without storage.
  kda_List() noexcept {}
  /// Copies the elements in order. The capacity is exactly the source's count. A copy of an empty list has no
  /// storage. Cost: O(count).
  kda_List(const kda_List& src);
  kda_List& operator=(const kda_List&) = delete;
  /// As clear(): the storage of a list that was reserved but never filled is not released. Cost: O(count).
  ~kda_List() { clear(); }

  /// One element. An index outside of [0, count()) writes one line to the error stream.
  /// \param i  0-based index.
  /// \return the place data + i, unchecked: with an index outside, reading it reads whatever lies there.
  T& operator[](int i) {
    Check(i);
    return m_data[i];
  }
  const T& operator[](int i) const {
    Check(i);
    return m_data[i];
  }

  /// Appends copies of a value at the end. Cost: amortised O(repeat).
  /// \param value   must not be an element of this list.
  /// \param repeat  number of copies; 0 or less appends nothing.
  void append(const T& value, int repeat) {
    if (repeat != 1) {
      AppendMany(value, repeat);
      return;
    }
    if (m_count == m_capacity) [[unlikely]]
      Reallocate(m_capacity == 0 ? 16 : 2 * m_capacity);
    Construct(m_data + m_count, value);
    ++m_count;
  }

  /// Ensures room. Never shrinks. Cost: O(count) when the block has to move.
  /// \param n  number of elements; where the list has to grow this is its capacity exactly.
  void reserve(int n) {
    if (m_capacity < n)
      Reallocate(n);
  }

  /// Destroys the elements and releases the storage. A list without elements keeps its storage. Cost:
  /// O(count) for strings, otherwise constant.
  void clear() {
    if (m_count == 0)
      return;
    if constexpr (!std::is_trivially_destructible_v<T>) {
      for (int i = 0; i < m_count; ++i)
        m_data[i].~T();
    }
    mem_Free(m_data);
    m_data = nullptr;
    m_capacity = 0;
    m_count = 0;
  }

  /// Exchanges storage, capacity and count; touches no element.
  void swap(kda_List& other) noexcept {
    std::swap(m_data, other.m_data);
    std::swap(m_capacity, other.m_capacity);
    std::swap(m_count, other.m_count);
  }

  /// \return the number of elements.
  int count() const noexcept { return m_count; }
  /// \return the number of elements for which there is room.
  int capacity() const noexcept { return m_capacity; }

 private:
  void Check(int i) const {
    if (static_cast<unsigned>(i) >= static_cast<unsigned>(m_count)) [[unlikely]]
      kda_ReportListIndex(i);
  }
  // In the header with all that a growing list needs, so that a local one lives in registers.
  void Reallocate(int n) {
    m_data = static_cast<T*>(mem_Realloc(m_data, static_cast<std::size_t>(n) * sizeof(T)));
    m_capacity = n;
  }
  void AppendMany(const T& value, int repeat);
  static void Construct(T* place, const T& value) {
    if constexpr (!std::is_empty_v<T>)
      ::new (static_cast<void*>(place)) T(value);
  }

  T* m_data = nullptr; // m_capacity slots, the first m_count of them alive; null without storage
  int m_capacity = 0;
  int m_count = 0;
};

#define KDA_DECLARE(T) extern template class PDM_CORE_API kda_List<T>;
KDA_FOR_EACH_VALUE_TYPE(KDA_DECLARE)
#undef KDA_DECLARE
