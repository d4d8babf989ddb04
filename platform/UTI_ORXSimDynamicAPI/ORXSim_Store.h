#pragma once

#include <UTI_BasicUtils/cow_String.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>

#include <vector>

/// Lists the collections and distributions of a context. Nothing here reads bulk data; an empty, closed or
/// null context has none.
/// Threads: one at a time for everything of one context; contexts of other threads are not in the way.
class ORXSIM_API ORXSimStore {
 public:
  explicit ORXSimStore(ORXSimContextID context) : m_context(context) {}

  int NumCollections() const;
  int NumDistributions() const;
  /// Ascending by minor number. Cost: O(number).
  std::vector<ORXSimCollectionID> Collections() const;
  std::vector<ORXSimDistributionID> Distributions() const;
  /// The first of that name, null when there is none. Cost: O(number), each opened once.
  ORXSimCollectionID FindCollection(const cow_String& name) const;
  ORXSimDistributionID FindDistribution(const cow_String& name) const;

 private:
  ORXSimContextID m_context;
};
