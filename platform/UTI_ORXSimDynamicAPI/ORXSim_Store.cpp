#include <UTI_ORXSimDynamicAPI/ORXSim_Store.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_StoreCall.h>

namespace {
template <class ID>
ID identifier(ORXSimContextID context, int minor) {
  return minor < 0 ? ID() : ID(context, minor);
}

template <class ID>
std::vector<ID> list(const char* what, ORXSimContextID context, ORXSimStoreCall::Kind kind) {
  ORXSimStoreCall call(what, context, kind);
  std::vector<ID> ids;
  for (const int minor : call.Minors())
    ids.emplace_back(context, minor);
  return ids;
}
} // namespace

int ORXSimStore::NumCollections() const {
  return ORXSimStoreCall("count collections", m_context, ORXSimStoreCall::kCollections).Count();
}

int ORXSimStore::NumDistributions() const {
  return ORXSimStoreCall("count distributions", m_context, ORXSimStoreCall::kDistributions).Count();
}

std::vector<ORXSimCollectionID> ORXSimStore::Collections() const {
  return list<ORXSimCollectionID>("list collections", m_context, ORXSimStoreCall::kCollections);
}

std::vector<ORXSimDistributionID> ORXSimStore::Distributions() const {
  return list<ORXSimDistributionID>("list distributions", m_context, ORXSimStoreCall::kDistributions);
}

ORXSimCollectionID ORXSimStore::FindCollection(const cow_String& name) const {
  ORXSimStoreCall call("find collection", m_context, ORXSimStoreCall::kCollections);
  return identifier<ORXSimCollectionID>(m_context, call.Find(name));
}

ORXSimDistributionID ORXSimStore::FindDistribution(const cow_String& name) const {
  ORXSimStoreCall call("find distribution", m_context, ORXSimStoreCall::kDistributions);
  return identifier<ORXSimDistributionID>(m_context, call.Find(name));
}
