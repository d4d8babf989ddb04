#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Inspect.h>
#include <pdmsim/check/check_Store.h>
#include <pdmsim/show/show_FileClasses.h>

#include <set>

/// Follows a walk through a simulation file and holds every object against the file's layout: the tree of
/// objects below `sim` by what program and file know of their classes, the bulk store by check_Store, and the
/// file's descriptions of classes.
class check_Objects : public ORXSimInspectVisitor {
 public:
  /// \param tick is told bytes that were read; what it throws ends the walk.
  check_Objects(ORXSimContextID context, check_Store& store, const check_Store::Finding& finding,
                const std::function<void(double)>& tick)
      : m_classes(context), m_store(store), m_finding(finding), m_tick(tick) {}

  void Object(const ORXSimInspected& object) override;
  void Finding(const ORXSimFinding& finding) override { m_finding(finding); }

 private:
  enum Role {
    kForeign,
    kRoot,
    kObject,
    kArray,
    kMembers,
    kClasses,
    kDescription,
    kStore,
    kCollections,
    kCollection,
    kSets,
    kSet,
    kDistributions,
    kDistribution,
    kDrawer
  };
  struct Place {
    Role role = kForeign;
    int minor = -1;                   // of a collection or distribution
    const show_Class* part = nullptr; // whose members stand here; null when not known
    std::string whole;                // class of the whole object that a part belongs to
    std::string expected;             // class that an object or the elements of an array should have; "": any
    bool isBase = false, isElement = false;
    std::string owner; // of members: path of the object
  };

  Place Under(const Place& parent, const ORXSimInspected& object);
  Place UnderObject(const Place& parent, const ORXSimInspected& object);
  Place UnderStore(const Place& parent, const ORXSimInspected& object);
  void Look(Place& place, const ORXSimInspected& object);
  void LookAtRoot(const ORXSimInspected& root);
  void LookAtObject(Place& place, const ORXSimInspected& object);
  bool LookAtClass(Place& place, const ORXSimInspected& object);
  void LookAtParts(const Place& place, const ORXSimInspected& object);
  void LookAtArray(const ORXSimInspected& object);
  void LookAtDescription(const ORXSimInspected& object);
  void LookForDescription(const ORXSimInspected& object, const std::string& name);
  void LookAtMembers(const Place& place, const ORXSimInspected& object);
  void Tell(const std::string& path, const char* kind, const std::string& text, bool note = false) const {
    m_finding({path, kind, text, note});
  }

  show_FileClasses m_classes;
  std::set<std::string> m_undescribed; // told already
  check_Store& m_store;
  const check_Store::Finding& m_finding;
  const std::function<void(double)>& m_tick;
  std::vector<Place> m_places; // of the object in hand and those above
};
