#include <UTI_ORXSimDynamicAPI/ORXSim_CSet.h>

#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_CollectionFile.h>
#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_Rows.h>

#include <algorithm>
#include <numeric>

namespace {
constexpr auto kKind = ORXSimStoreCall::kCollections;

// One set of a collection: how many items the collection has, and the stored members unless it is the full
// set.
struct OpenSet {
  int items = -1; // -1: not open
  std::shared_ptr<hdf_DatasetRep> stored;

  int Size() const {
    return items < 0 || stored == nullptr ? items : static_cast<int>(stored->space.Elements());
  }
};

std::shared_ptr<hdf_DatasetRep> openStored(ORXSimStoreCall& call, hid_t collection, int minor) {
  hdf_Operation& operation = call.Operation();
  const hdf_GroupHandle sets = ORXSimOpenSets(operation, collection);
  if (!sets.IsOpen()) {
    if (!operation.Failed())
      operation.Refuse("the collection has no stored member set");
    return nullptr;
  }
  auto set = ORXSimOpenNumbered(call, sets.Get(), minor, false);
  if (set == nullptr || (set->space.GetDims(nullptr) == 1 && set->space.Elements() <= INT32_MAX))
    return set;
  operation.Refuse("not a list of members");
  return nullptr;
}

OpenSet openSet(ORXSimStoreCall& call, ORXSimCSetID id) {
  OpenSet set;
  if (id.IsNull() && !call.Operation().Refuse("the identifier is null"))
    return set;
  const hdf_GroupHandle collection = call.Open(id.CollectionMinor());
  if (!collection.IsOpen())
    return set;
  if (id.Minor() != 0)
    set.stored = openStored(call, collection.Get(), id.Minor());
  if (id.Minor() == 0 || set.stored != nullptr)
    set.items = ORXSimItemsOf(call.Operation(), collection.Get());
  return set;
}

ORXSimRows rowsOf(const hdf_DatasetRep& stored) {
  return {stored, H5T_NATIVE_INT, static_cast<int>(stored.space.Elements()), 1};
}

// Lists of other integers are another writer's and have no checksums.
bool readStored(hdf_Operation& operation, const hdf_DatasetRep& stored, int* members, int count) {
  if (count == 0 || !(stored.type == hdf_StoredType::Of(hdf_Datatype::NATIVE_INT)))
    return stored.ReadFirst(operation, hdf_Datatype::NATIVE_INT, members, static_cast<std::uint64_t>(count));
  return rowsOf(stored).Read(operation, 0, count, members);
}
} // namespace

int ORXSimSizeOf(ORXSimStoreCall& call, ORXSimCSetID id) {
  return openSet(call, id).Size();
}

int ORXSimCSet::Size() const {
  return ORXSimStoreCall::Run("size of a member set", m_id.Context(), kKind,
                              [&](ORXSimStoreCall& call) { return std::max(ORXSimSizeOf(call, m_id), 0); });
}

bool ORXSimCSet::OrderedMembers(int* members, int count) const {
  return ORXSimStoreCall::Run("read member set", m_id.Context(), kKind, [&](ORXSimStoreCall& call) {
    hdf_Operation& operation = call.Operation();
    const OpenSet set = openSet(call, m_id);
    if (set.items < 0)
      return false;
    if (count != set.Size())
      return operation.Refuse("room for " + std::to_string(count) + " members where the set has " +
                              std::to_string(set.Size()));
    if (set.stored == nullptr) {
      std::iota(members, members + count, 0);
      return true;
    }
    if (!readStored(operation, *set.stored, members, count))
      return false;
    const auto isItem = [&](int member) { return member >= 0 && member < set.items; };
    return std::all_of(members, members + count, isItem) ||
           operation.Refuse("a member is not an item of the collection");
  });
}

ORXSimVerification ORXSimCSet::Verify() const {
  return ORXSimStoreCall::Run("verify member set", m_id.Context(), kKind, [&](ORXSimStoreCall& call) {
    const OpenSet set = openSet(call, m_id);
    if (set.items >= 0 && set.stored != nullptr)
      return rowsOf(*set.stored).Verify(call.Operation());
    ORXSimVerification nothing;
    nothing.opened = set.items >= 0;
    return nothing;
  });
}
