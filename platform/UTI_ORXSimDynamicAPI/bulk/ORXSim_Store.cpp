#include <UTI_ORXSimDynamicAPI/ORXSim_Store.h>

#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_StoreCall.h>

#include <new>

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

int ORXSimStore::NumCollections() const try {
  return ORXSimStoreCall("count collections", m_context, ORXSimStoreCall::kCollections).Count();
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return 0;
}

int ORXSimStore::NumDistributions() const try {
  return ORXSimStoreCall("count distributions", m_context, ORXSimStoreCall::kDistributions).Count();
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return 0;
}

std::vector<ORXSimCollectionID> ORXSimStore::Collections() const try {
  return list<ORXSimCollectionID>("list collections", m_context, ORXSimStoreCall::kCollections);
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return {};
}

std::vector<ORXSimDistributionID> ORXSimStore::Distributions() const try {
  return list<ORXSimDistributionID>("list distributions", m_context, ORXSimStoreCall::kDistributions);
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return {};
}

ORXSimCollectionID ORXSimStore::FindCollection(const cow_String& name) const try {
  ORXSimStoreCall call("find collection", m_context, ORXSimStoreCall::kCollections);
  return identifier<ORXSimCollectionID>(m_context, call.Find(name));
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return {};
}

ORXSimDistributionID ORXSimStore::FindDistribution(const cow_String& name) const try {
  ORXSimStoreCall call("find distribution", m_context, ORXSimStoreCall::kDistributions);
  return identifier<ORXSimDistributionID>(m_context, call.Find(name));
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return {};
}
