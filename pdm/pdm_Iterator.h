#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <utility>

// Going over what is reached by a number.
// Threads: as its sequence says.

namespace pdm::detail {

/// Goes over the elements of a sequence, each made when it is asked for. It shares a copy of the sequence,
/// and as many elements as there were when it began.
template <class Sequence, class Element>
class Iterator {
 public:
  using value_type = Element;
  using difference_type = std::ptrdiff_t;
  Iterator() = default;
  /// The beginning.
  /// \param sequence  has an operator[] of its elements.
  /// \param size      how many it has.
  Iterator(std::shared_ptr<const Sequence> sequence, int size)
      : m_sequence(std::move(sequence)), m_size(size) {}
  /// The end.
  /// \param size  how many elements there are.
  static Iterator end(int size) {
    Iterator at;
    at.m_at = at.m_size = size;
    return at;
  }

  Element operator*() const { return (*m_sequence)[m_at]; }
  Iterator& operator++() {
    ++m_at;
    return *this;
  }
  Iterator operator++(int) {
    Iterator before = *this;
    ++m_at;
    return before;
  }
  friend bool operator==(const Iterator& a, const Iterator& b) { return a.m_at == b.m_at; }
  friend bool operator==(const Iterator& a, std::default_sentinel_t) { return a.m_at == a.m_size; }

 private:
  std::shared_ptr<const Sequence> m_sequence;
  int m_at = 0, m_size = 0;
};

} // namespace pdm::detail
