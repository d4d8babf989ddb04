#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Verification.h>

/// Reads one member set: an ordered list of item numbers of a collection.
/// Threads: one at a time for everything of one context; contexts of other threads are not in the way.
class ORXSIM_API ORXSimCSet {
 public:
  explicit ORXSimCSet(ORXSimCSetID id) : m_id(id) {}

  ORXSimCSetID ID() const { return m_id; }
  /// Number of members; 0 for a null or unknown set.
  int Size() const;
  /// \param members receives the 0-based item numbers in the set's order.
  /// \param count   must be Size().
  /// \return false, with the cause in LastError() and members undefined, when the set cannot be read, names
  ///         an item that the collection has not, or has a block that does not match its checksum.
  bool OrderedMembers(int* members, int count) const;
  /// Holds the stored list against its checksums, whose rows are members. The full set has no blocks.
  /// Memory: 256 KiB, or one block where that is larger.
  ORXSimVerification Verify() const;

 private:
  ORXSimCSetID m_id;
};
