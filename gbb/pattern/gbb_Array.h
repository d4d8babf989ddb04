#pragma once

#include <UTI_CoreUtils/err_Stream.h>
#include <gbb/gbb_Call.h>
#include <gbb/pattern/gbb_ArrayImpl.h>

/// A persistent array of child objects: one pointer to its implementation, null when empty.
///
/// Elements are opened from the file when they are asked for. Valid while the owner object lives.
/// \tparam Element the elements' handle; \tparam Holder their holder; \tparam Owner the owning class.
///
/// Threads: one at a time for all objects of a root.
template <class Element, class Holder, class Repository, class Owner>
class gbb_Array {
 public:
  using Impl = gbb_ArrayImpl<Element, Holder, Repository, Owner>;

  constexpr gbb_Array() = default;
  explicit constexpr gbb_Array(Impl* impl) : m_impl(impl) {}
  bool operator!() const { return m_impl == nullptr; }

  /// Number of elements; opens none.
  int count() const {
    if (m_impl != nullptr)
      return m_impl->count();
    err_Write("**ERROR gbb_Array::count: called on an empty handle\n");
    return 0;
  }
  /// Element i, 0 <= i < count(); an index outside prints a line and gives an empty handle.
  Element get(int i) const {
    if (m_impl != nullptr)
      return m_impl->get(i);
    err_Write("**ERROR gbb_Array::get: called on an empty handle\n");
    return Element();
  }
  /// Appends an element and returns its handle; the holder is empty afterwards. In a connected array the
  /// element is in the file at once. When the write fails, a line is printed, the array stays as it was, and
  /// the handle is empty.
  Element add(Holder element) const {
    const gbb_Call call("**ERROR gbb_Array::add: ");
    if (m_impl != nullptr)
      return m_impl->add(std::move(element));
    err_Write("**ERROR gbb_Array::add: called on an empty handle\n");
    return Element();
  }

 private:
  Impl* m_impl = nullptr;
};
