#include <UTI_ORXSimDynamicAPI/ORXSim_Store.h>

#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_StoreCall.h>

namespace {
template <class ID>
ID find(const char* what, ORXSimContextID context, ORXSimStoreCall::Kind kind, const cow_String& name) {
  return ORXSimStoreCall::Run(what, context, kind, [&](ORXSimStoreCall& call) {
    const int minor = call.Find(name);
    return minor < 0 ? ID() : ID(context, minor);
  });
}

template <class ID>
std::vector<ID> list(const char* what, ORXSimContextID context, ORXSimStoreCall::Kind kind) {
  return ORXSimStoreCall::Run(what, context, kind, [&](ORXSimStoreCall& call) {
    std::vector<ID> ids;
    for (const int minor : call.Minors())
      ids.emplace_back(context, minor);
    return ids;
  });
}

int count(const char* what, ORXSimContextID context, ORXSimStoreCall::Kind kind) {
  return ORXSimStoreCall::Run(what, context, kind, [](ORXSimStoreCall& call) { return call.Count(); });
}
} // namespace

int ORXSimStore::NumCollections() const {
  return count("count collections", m_context, ORXSimStoreCall::kCollections);
}

int ORXSimStore::NumDistributions() const {
  return count("count distributions", m_context, ORXSimStoreCall::kDistributions);
}

std::vector<ORXSimCollectionID> ORXSimStore::Collections() const {
  return list<ORXSimCollectionID>("list collections", m_context, ORXSimStoreCall::kCollections);
}

std::vector<ORXSimDistributionID> ORXSimStore::Distributions() const {
  return list<ORXSimDistributionID>("list distributions", m_context, ORXSimStoreCall::kDistributions);
}

ORXSimCollectionID ORXSimStore::FindCollection(const cow_String& name) const {
  return find<ORXSimCollectionID>("find collection", m_context, ORXSimStoreCall::kCollections, name);
}

ORXSimDistributionID ORXSimStore::FindDistribution(const cow_String& name) const {
  return find<ORXSimDistributionID>("find distribution", m_context, ORXSimStoreCall::kDistributions, name);
}
