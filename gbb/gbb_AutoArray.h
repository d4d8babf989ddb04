#pragma once

#include <UTI_CoreUtils/mem_Allocation.h>

#include <climits>
#include <cstring>
#include <new>
#include <utility>

/// A growable array owned by one Owner class: bytes of a stream, holders of a list.
///
/// Copying and moving both take the source's storage and leave the source empty. Elements move as raw
/// bytes when the storage grows. The destructor releases the storage only when the array holds elements:
/// one that reserved room but holds none keeps it.
///
/// Threads: one at a time for each array.
template <class T, class Owner>
class gbb_AutoArray {
 public:
  constexpr gbb_AutoArray() = default;
  /// Reserves room for n elements.
  explicit gbb_AutoArray(int n) { Reserve(n); }
  gbb_AutoArray(gbb_AutoArray& other) noexcept : gbb_AutoArray(std::move(other)) {}
  gbb_AutoArray(gbb_AutoArray&& other) noexcept { swap(other); }
  gbb_AutoArray& operator=(gbb_AutoArray other) noexcept {
    swap(other);
    return *this;
  }
  ~gbb_AutoArray() {
    if (m_length != 0)
      RemoveLast(m_length);
  }

  int Length() const { return m_length; }
  int Capacity() const { return m_capacity; }
  T* Data() { return m_data; }
  const T* Data() const { return m_data; }
  /// Unchecked.
  T& operator[](int i) { return m_data[i]; }
  const T& operator[](int i) const { return m_data[i]; }

  /// Makes room for n elements in all, exactly; never shrinks. Throws std::bad_alloc on exhaustion.
  void Reserve(int n) {
    if (n <= m_capacity)
      return;
    void* const storage = mem_Realloc(m_data, static_cast<std::size_t>(n) * sizeof(T));
    if (storage == nullptr)
      throw std::bad_alloc();
    m_data = static_cast<T*>(storage);
    m_capacity = n;
  }

  /// Adds n elements without contents (bytes only) and returns the first of them.
  T* Extend(int n) {
    GrowFor(n);
    T* const first = m_data + m_length;
    m_length += n;
    return first;
  }

  void Append(T element) {
    GrowFor(1);
    new (m_data + m_length) T(std::move(element));
    ++m_length;
  }

  /// Removes the last n elements; removing all or more releases the storage as well.
  void RemoveLast(int n) {
    for (const int kept = n < m_length ? m_length - n : 0; m_length > kept;)
      m_data[--m_length].~T();
    if (m_length == 0) {
      mem_Free(std::exchange(m_data, nullptr));
      m_capacity = 0;
    }
  }

  /// Removes element i, 0 <= i < Length(); the later ones move down by one place.
  void RemoveAt(int i) {
    m_data[i].~T();
    const auto behind = static_cast<std::size_t>(m_length - i - 1);
    std::memmove(static_cast<void*>(m_data + i), static_cast<const void*>(m_data + i + 1),
                 behind * sizeof(T));
    if (--m_length == 0)
      RemoveLast(0);
  }

  void swap(gbb_AutoArray& other) noexcept {
    std::swap(m_data, other.m_data);
    std::swap(m_length, other.m_length);
    std::swap(m_capacity, other.m_capacity);
  }

 private:
  void GrowFor(int n) {
    if (n > m_capacity - m_length) [[unlikely]]
      Grow(n);
  }
  [[gnu::noinline]] void Grow(int n) {
    if (n > INT_MAX - m_length)
      throw std::bad_alloc();
    const int needed = m_length + n;
    long long capacity = m_capacity == 0 ? 16 : m_capacity;
    while (capacity < needed)
      capacity *= 2;
    Reserve(capacity > INT_MAX ? INT_MAX : static_cast<int>(capacity));
  }

  T* m_data = nullptr; // m_capacity elements from mem_Realloc; the first m_length are alive
  int m_length = 0;
  int m_capacity = 0;
};
