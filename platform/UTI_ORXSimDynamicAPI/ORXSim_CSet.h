#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>

/// Reads one member set: an ordered list of item numbers of a collection.
class ORXSIM_API ORXSimCSet {
 public:
  explicit ORXSimCSet(ORXSimCSetID id) : m_id(id) {}

  ORXSimCSetID ID() const { return m_id; }
  /// Number of members; 0 for a null or unknown set.
  int Size() const;
  /// \param members receives the 0-based item numbers in the set's order.
  /// \param count   must be Size().
  /// \return false, with the cause in LastError() and members undefined, when the set cannot be read or
  ///         names an item that the collection has not.
  bool OrderedMembers(int* members, int count) const;

 private:
  ORXSimCSetID m_id;
};
