#pragma once

#include <UTI_CoreUtils/mem_Allocation.h>
#include <gbb/gbb_Class.h>
#include <gbb/gbb_Handle.h>
#include <kda/kda_Export.h>

class gbb_Group;
class gbb_Path;
class gbb_TraverseContext;

/// What every persistent object can do, whatever its class. The order of the operations is part of the
/// binary interface.
///
/// Threads: one at a time for all objects of a root.
class PDM_CORE_API gbb_ObjectInterface : public mem_AllocationOperatorsTiny {
 public:
  virtual ~gbb_ObjectInterface();
  /// Places the object: at `index` under the object at `parent`.
  virtual void SetPath(const gbb_Path& parent, int index) = 0;
  virtual gbb_Path Path() const = 0;
  /// The class of the whole object, the most derived one.
  virtual gbb_Class Class() const = 0;
  /// The implementation that a handle of class `wanted` refers to: the object's own, or that of a base
  /// part; null when the object is no such thing.
  virtual void* Handle(gbb_Class wanted) = 0;
  /// Writes the object and its children into a group of the file; it is connected afterwards. Prints one line
  /// when a write fails.
  virtual void Bind(const gbb_Group& group) = 0;
  /// Goes on with a walk below this object: to the child that the context's current component names.
  virtual gbb_Handle Traverse(gbb_TraverseContext& context) = 0;
  /// What every handle on the whole object refers to, whichever part of it the handle is of: the caller's own
  /// interface object if there is one, else the most derived implementation.
  virtual gbb_ObjectInterface* Identity();
};

/// What a class's interface adds: the operations forward to the implementation that it was given to, so
/// that a caller's own interface object overrides only what it wants to change.
///
/// Such an object is handed to New() or Open(); it stays the caller's and must outlive the implementation.
template <class Traits, class Base = gbb_ObjectInterface>
class PDM_CORE_API gbb_InterfaceOf : public Base {
 public:
  void SetPath(const gbb_Path& parent, int index) override;
  gbb_Path Path() const override;
  gbb_Class Class() const override;
  void* Handle(gbb_Class wanted) override;
  void Bind(const gbb_Group& group) override;
  gbb_Handle Traverse(gbb_TraverseContext& context) override;

 protected:
  /// The implementation that this interface speaks for, null before New() or Open() and after its end.
  typename Traits::Impl* Implementation() const { return m_implementation; }

  /// Makes an interface speak for an implementation; no interface is ignored.
  static void Attach(gbb_InterfaceOf* interface, typename Traits::Impl* implementation) {
    if (interface != nullptr)
      interface->m_implementation = implementation;
  }
  /// The end of an implementation: an interface that speaks for another one by now goes on doing so. The
  /// derived parts of the implementation may be gone already, so it comes as what every object is.
  static void Detach(gbb_InterfaceOf& interface, const gbb_ObjectInterface* implementation) {
    if (interface.m_implementation == implementation)
      interface.m_implementation = nullptr;
  }

 private:
  typename Traits::Impl* m_implementation = nullptr;
};
