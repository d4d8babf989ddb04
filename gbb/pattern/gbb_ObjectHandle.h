#pragma once

#include <gbb/gbb_Handle.h>
#include <gbb/gbb_Path.h>
#include <gbb/pattern/gbb_ObjectForward.h>

/// What all handles of schema classes share: one pointer to an implementation, null for an empty handle.
///
/// Copying a handle does not copy the object. A handle owns nothing: it is valid while a holder keeps the
/// object. A call on an empty handle prints its line and answers the null value.
///
/// Threads: one at a time for all objects of a root.
template <class TraitsOfClass>
class PDM_CORE_API gbb_ObjectHandle {
 public:
  using Traits = TraitsOfClass;

  constexpr gbb_ObjectHandle() = default;

  bool operator!() const { return m_impl == nullptr; }
  explicit operator bool() const { return m_impl != nullptr; }
  /// True for handles of one object.
  friend bool operator==(const gbb_ObjectHandle& a, const gbb_ObjectHandle& b) {
    return a.m_impl == b.m_impl;
  }

  /// The object with its own, most derived class; empty for an empty handle.
  operator gbb_Handle() const;
  /// Where the object sits; valid while the object lives.
  gbb_Path Path() const;
  /// All simple members at once, null for an empty handle. Valid until the object's next change.
  const typename Traits::Members* ReadMembers() const;

 protected:
  friend class gbb_ObjectHolder<Traits>;
  friend class gbb_ObjectAccess<Traits>;
  friend class gbb_ObjectImpl<Traits>;

  explicit constexpr gbb_ObjectHandle(typename Traits::Impl* impl) : m_impl(impl) {}
  /// Empty unless the object's class is this handle's or descends from it.
  explicit gbb_ObjectHandle(const gbb_Handle& object);

  /// The value of a member; `Name` is the operation's name in the line for an empty handle.
  template <auto Name, auto Field>
  const auto& Get() const;
  /// One committed write of one member. Prints a line when the write fails.
  template <auto Name, auto Field, class T>
  void Set(const T& value) const;
  /// The handle of a child, opened from the file when it has not been yet.
  template <auto Name, int Index>
  auto GetChild() const;
  /// Gives the object a child it does not have yet; the holder is empty afterwards. Prints a line when the
  /// write fails.
  template <auto Name, int Index, class Holder>
  auto SetChild(Holder& child) const;

  typename Traits::Impl* m_impl = nullptr;
};
