#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <gbb/gbb_Class.h>
#include <gbb/gbb_ClassTexts.h>
#include <gbb/gbb_Handle.h>
#include <gbb/gbb_Path.h>
#include <kda/kda_Export.h>
#include <omi/omi_Btree.h>

class gbb_SchemaSnapshotImpl;

/// The classes that a simulation file may hold. A handle: it is valid while its Sim lives.
/// Threads: one at a time for all objects of a root.
class PDM_CORE_API gbb_SchemaSnapshot {
 public:
  constexpr gbb_SchemaSnapshot() = default;
  explicit constexpr gbb_SchemaSnapshot(gbb_SchemaSnapshotImpl* impl) : m_impl(impl) {}
  /// Empty unless the handle's class is the snapshot's.
  explicit gbb_SchemaSnapshot(const gbb_Handle& handle);
  operator gbb_Handle() const;

  bool operator!() const { return m_impl == nullptr; }

  /// The registered class of that identifier, uninitialised when there is none. On an empty handle prints a
  /// line and answers an uninitialised class.
  gbb_Class GetClass(const gbb_ClassID& classID) const;
  /// Makes a class known, so that its objects can be opened; a host registers its own classes here before
  /// it opens objects of them. An identifier that is present keeps its first class.
  /// \return true when added.
  bool Register(gbb_Class added) const;
  /// Writes a class's description into the file, once: gbb_ClassTexts. An empty handle does nothing.
  void Describe(ORXSimContextID context, const char* name, const char* text) const;
  /// "com.vertana.SchemaSnapshot".
  static gbb_Class StaticClass();

 private:
  gbb_SchemaSnapshotImpl* m_impl = nullptr;
};

/// What stands behind a gbb_SchemaSnapshot, kept by a Sim.
class gbb_SchemaSnapshotImpl {
 public:
  explicit gbb_SchemaSnapshotImpl(gbb_Path sim);
  ~gbb_SchemaSnapshotImpl();
  /// The snapshot's own place: under its Sim.
  gbb_Path Path() const { return gbb_Path(&m_path); }

 private:
  friend class gbb_SchemaSnapshot;
  gbb_PathImpl m_path;
  omi_Btree<gbb_ClassID, gbb_Class> m_classes;
  gbb_ClassTexts m_texts;
};
