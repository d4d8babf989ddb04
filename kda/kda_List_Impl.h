#pragma once

// The members of kda_List that are not inline. Included where a list of another value type is instantiated.

#include <kda/kda_List.h>

#include <cstring>

template <class T>
kda_List<T>::kda_List(const kda_List& src) {
  static_assert(sizeof(kda_List) == 16, "data, capacity, count");
  if (src.m_count == 0)
    return;
  reserve(src.m_count);
  if constexpr (std::is_trivially_copyable_v<T>) {
    std::memcpy(static_cast<void*>(m_data), src.m_data, static_cast<std::size_t>(src.m_count) * sizeof(T));
    m_count = src.m_count;
  } else {
    for (; m_count < src.m_count; ++m_count)
      Construct(m_data + m_count, src.m_data[m_count]);
  }
}

template <class T>
void kda_List<T>::AppendMany(const T& value, int repeat) {
  int capacity = m_capacity;
  while (m_count + repeat > capacity)
    capacity = capacity == 0 ? 16 : 2 * capacity;
  reserve(capacity);
  for (; repeat > 0; --repeat) {
    Construct(m_data + m_count, value);
    ++m_count;
  }
}
