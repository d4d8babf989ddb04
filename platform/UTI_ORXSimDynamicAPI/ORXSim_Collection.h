#pragma once

#include <UTI_BasicUtils/cow_String.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>

#include <vector>

/// A collection of a simulation file: a name and a number of items, which are known by their 0-based
/// numbers. Collections are never removed or resized.
///
/// Calls on a null or unknown identifier, or one whose context is closed, answer "", 0 or null and leave
/// the cause in ORXSimManager::LastError().
/// Threads: one at a time for everything of one context; contexts of other threads are not in the way.
class ORXSIM_API ORXSimCollectionRef {
 public:
  explicit ORXSimCollectionRef(ORXSimCollectionID id) : m_id(id) {}

  /// Makes a collection; one commit point. Names need not be unique.
  /// \param items number of items, 0 or more.
  /// \return null on failure.
  static ORXSimCollectionID Create(ORXSimContextID context, const cow_String& name, int items);

  ORXSimCollectionID ID() const { return m_id; }
  /// True when the collection exists.
  bool Exists() const;
  cow_String Name() const;
  int NumItems() const;

  /// The set of all items in ascending order; costs no storage.
  ORXSimCSetID FullCSet() const { return {m_id, m_id.IsNull() ? -1 : 0}; }
  /// Stores an ordered member set; one commit point.
  /// \param members [n] 0-based item numbers in any order; one out of range or given twice is refused.
  /// \return null on failure. Cost: O(n).
  ORXSimCSetID CreateOrderedCSet(const int* members, int n) const;
  /// Number of stored member sets, the full set not counted.
  int NumCSets() const;
  /// The stored member sets, ascending by minor number; the full set is not among them.
  std::vector<ORXSimCSetID> CSets() const;

 private:
  ORXSimCollectionID m_id;
};
