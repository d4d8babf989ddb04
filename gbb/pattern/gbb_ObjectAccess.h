#pragma once

#include <gbb/pattern/gbb_ObjectForward.h>
#include <gbb/pattern/gbb_ObjectHandle.h>

/// A scoped write to one object: change the members, then commit. What is not committed when the access
/// ends is discarded.
///
/// Threads: one at a time for all objects of a root.
template <class Traits>
class PDM_CORE_API gbb_ObjectAccess {
 public:
  explicit gbb_ObjectAccess(const gbb_ObjectHandle<Traits>& object) : m_impl(object.m_impl) {}
  gbb_ObjectAccess(const gbb_ObjectAccess&) = delete;
  gbb_ObjectAccess& operator=(const gbb_ObjectAccess&) = delete;
  ~gbb_ObjectAccess();

  /// The members to change, the same ones until the commit. Null, after a line, when there is no object.
  typename Traits::Members* members();
  /// Hands the members over: a connected object writes all of them to the file at once. Prints a line when
  /// the write fails; the members are dropped then. So does a commit of members that a rollback, a refresh or
  /// another access has discarded since members() gave them: nothing is written.
  void commit();

 private:
  friend class gbb_ObjectHandle<Traits>;

  // The commit as a part of another call.
  void Commit();
  // True when the members were the object's cache and that has been replaced since: they are gone.
  bool Stale() const;

  typename Traits::Impl* m_impl;
  typename Traits::Members* m_members = nullptr; // fetched and not yet committed
  int m_cacheNumber = -1;                        // of the cache that the members are, -1 for a copy
};
