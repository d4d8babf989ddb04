#pragma once

#include <UTI_CoreUtils/mem_Allocation.h>
#include <kda/kda_Export.h>

class gbb_Handle;
class gbb_PathImpl;
class gbb_RootImpl;
class gbb_TraverseContext;

/// The object that resolves links for everything that hangs from it; null is the empty root.
/// Borrowed: the root outlives every path that names it.
class PDM_CORE_API gbb_Root {
 public:
  constexpr gbb_Root() = default;
  explicit constexpr gbb_Root(gbb_RootImpl* impl) : m_impl(impl) {}

  bool operator!() const { return m_impl == nullptr; }
  friend constexpr bool operator==(gbb_Root, gbb_Root) = default;

  /// Resolves a walk. An empty root prints a line and answers an empty handle.
  gbb_Handle Traverse(gbb_TraverseContext& context) const;

 private:
  gbb_RootImpl* m_impl = nullptr;
};

/// What stands behind a gbb_Root.
class PDM_CORE_API gbb_RootImpl {
 public:
  /// Walks from the root to the object that the context names, setting the context's status.
  virtual gbb_Handle Traverse(gbb_TraverseContext& context) = 0;

 protected:
  virtual ~gbb_RootImpl();
};

/// Where an object sits: under which parent, from which root, at which place. Null is the empty path.
/// Borrowed from the object: it is valid while the object lives.
///
/// Threads: one at a time for all objects of a root.
class PDM_CORE_API gbb_Path {
 public:
  constexpr gbb_Path() = default;
  explicit constexpr gbb_Path(const gbb_PathImpl* impl) : m_impl(impl) {}

  bool operator!() const { return m_impl == nullptr; }
  friend constexpr bool operator==(gbb_Path, gbb_Path) = default;

  /// The place under the parent, -1 for the empty path.
  int Index() const;
  /// The parent's path; empty for the empty path and at the top.
  gbb_Path Parent() const;
  /// The root of the nearest path upwards that carries one; empty when none does.
  gbb_Root Root() const;
  /// The nearest path upwards that carries a root of its own; empty when none does.
  gbb_Path Top() const;
  /// The place of objects that a rollback took from their owner.
  static gbb_Path Removed();
  /// True there and everywhere below.
  bool IsRemoved() const;

 private:
  const gbb_PathImpl* m_impl = nullptr;
};

/// The stored form of a path, kept by the object that it describes.
class gbb_PathImpl : public mem_AllocationOperatorsTiny {
 public:
  constexpr gbb_PathImpl() = default;
  /// A place under a parent object.
  constexpr gbb_PathImpl(gbb_Path parent, int index) : m_parent(parent), m_index(index) {}
  /// A place directly under a root.
  constexpr gbb_PathImpl(gbb_Root root, int index) : m_root(root), m_index(index) {}

  gbb_Path Parent() const { return m_parent; }
  gbb_Root Root() const { return m_root; }
  int Index() const { return m_index; }

 private:
  gbb_Path m_parent;
  gbb_Root m_root; // empty on every path but the one that carries the root
  int m_index = -1;
};
