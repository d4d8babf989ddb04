#include <UTI_ORXSimDynamicAPI/ORXSim_Collection.h>

#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_BlockSums.h>
#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_CollectionFile.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <cstdlib>
#include <memory>

namespace {
constexpr auto kKind = ORXSimStoreCall::kCollections;

struct Freed {
  void operator()(void* block) const { std::free(block); }
};

// One bit an item, in memory that is only touched where members are.
bool checkMembers(hdf_Operation& operation, int items, const int* members, int n) {
  const auto words = static_cast<std::size_t>(items) / 64 + 1;
  const std::unique_ptr<std::uint64_t, Freed> seen(
      static_cast<std::uint64_t*>(std::calloc(words, sizeof(std::uint64_t))));
  if (seen == nullptr)
    return operation.Refuse("out of memory");
  for (int i = 0; i < n; ++i) {
    if (members[i] < 0 || members[i] >= items)
      return operation.Refuse("member " + std::to_string(members[i]) + " is not an item of the collection");
    std::uint64_t& word = seen.get()[members[i] / 64];
    const std::uint64_t bit = std::uint64_t{1} << (members[i] % 64);
    if ((word & bit) != 0)
      return operation.Refuse("member " + std::to_string(members[i]) + " is given twice");
    word |= bit;
  }
  return true;
}

hdf_GroupHandle openOrMakeSets(hdf_Operation& operation, hid_t collection) {
  hdf_GroupHandle sets = ORXSimOpenSets(operation, collection);
  if (sets.IsOpen())
    return sets;
  hdf_GroupHandle made(H5Gcreate2(collection, "sets", H5P_DEFAULT, hdf_Shared::Get().Group(), H5P_DEFAULT));
  operation.Check(made.Get());
  return made;
}

bool writeMembers(hdf_Operation& operation, hid_t set, const int* members, int n) {
  ORXSimBlockSums sums(n, sizeof(int), 1);
  sums.Note(0, n, reinterpret_cast<const unsigned char*>(members));
  return sums.Create(operation, set) &&
         operation.Check(H5Dwrite(set, H5T_NATIVE_INT, H5S_ALL, H5S_ALL, H5P_DEFAULT, members));
}

// The set gets its name last, so that a failed call leaves none behind.
int writeSet(hdf_Operation& operation, hid_t sets, const int* members, int n) {
  const auto bytes = static_cast<std::uint64_t>(n) * sizeof(int);
  hdf_Shared& shared = hdf_Shared::Get();
  const hdf_PropertiesHandle properties(H5Pcopy(shared.MemberDataset(bytes)));
#if H5_VERSION_GE(1, 10, 5)
  H5Pset_dset_no_attrs_hint(properties.Get(), false);
#endif
  const hdf_DatasetHandle set(H5Dcreate_anon(sets, H5T_NATIVE_INT, shared.Line(static_cast<std::uint64_t>(n)),
                                             properties.Get(), H5P_DEFAULT));
  if (!operation.Check(set.Get()))
    return -1;
  if (n > 0 && !writeMembers(operation, set.Get(), members, n))
    return -1;
  const int minor = ORXSimFreeNumber(operation, sets, 1);
  if (minor < 0 ||
      !operation.Check(H5Olink(set.Get(), sets, ORXSimNumberName(minor).text, H5P_DEFAULT, H5P_DEFAULT)))
    return -1;
  return minor;
}
} // namespace

int ORXSimItemsOf(hdf_Operation& operation, hid_t collection) {
  std::int64_t items = 0;
  if (!ORXSimReadNumbers(operation, collection, "items", &items, 1))
    return -1;
  if (items >= 0 && items <= INT32_MAX)
    return static_cast<int>(items);
  operation.Refuse("the number of items is out of range");
  return -1;
}

hdf_GroupHandle ORXSimOpenSets(hdf_Operation& operation, hid_t collection) {
  haddr_t address = HADDR_UNDEF;
  if (!hdf_FindHardLink(operation, collection, "sets", address) || address == HADDR_UNDEF)
    return {};
  hdf_GroupHandle sets(H5Gopen2(collection, "sets", H5P_DEFAULT));
  operation.Check(sets.Get());
  return sets;
}

ORXSimCollectionID ORXSimCollectionRef::Create(ORXSimContextID context, const cow_String& name, int items) {
  return ORXSimStoreCall::Run("create collection", context, kKind, [&](ORXSimStoreCall& call) {
    if (!call.Writable() || (items < 0 && !call.Operation().Refuse("the number of items is negative")))
      return ORXSimCollectionID();
    const hdf_GroupHandle collection = call.MakeObject();
    const std::int64_t count = items;
    if (!collection.IsOpen() || !ORXSimWriteText(call.Operation(), collection.Get(), "name", name) ||
        !ORXSimWriteNumbers(call.Operation(), collection.Get(), "items", H5T_STD_I64LE, &count, 1))
      return ORXSimCollectionID();
    const int minor = call.Link(collection);
    return minor < 0 ? ORXSimCollectionID() : ORXSimCollectionID(context, minor);
  });
}

bool ORXSimCollectionRef::Exists() const {
  return ORXSimStoreCall::RunOn("look up collection", m_id, kKind, [](auto&, hid_t) { return true; });
}

cow_String ORXSimCollectionRef::Name() const {
  return ORXSimStoreCall::RunOn("name of a collection", m_id, kKind, [](auto& call, hid_t collection) {
    return ORXSimReadText(call.Operation(), collection, "name");
  });
}

int ORXSimCollectionRef::NumItems() const {
  return ORXSimStoreCall::RunOn("items of a collection", m_id, kKind, [](auto& call, hid_t collection) {
    return std::max(ORXSimItemsOf(call.Operation(), collection), 0);
  });
}

ORXSimCSetID ORXSimCollectionRef::CreateOrderedCSet(const int* members, int n) const {
  return ORXSimStoreCall::Run("create member set", m_id.Context(), kKind, [&](ORXSimStoreCall& call) {
    hdf_Operation& operation = call.Operation();
    if (!call.Writable())
      return ORXSimCSetID();
    const hdf_GroupHandle collection = call.Open(m_id.Minor());
    const int items = collection.IsOpen() ? ORXSimItemsOf(operation, collection.Get()) : -1;
    if (items < 0 ||
        ((n < 0 || (members == nullptr && n > 0)) && !operation.Refuse("there are no members")) ||
        !checkMembers(operation, items, members, n))
      return ORXSimCSetID();
    const hdf_GroupHandle sets = openOrMakeSets(operation, collection.Get());
    const int minor = sets.IsOpen() ? writeSet(operation, sets.Get(), members, n) : -1;
    return minor >= 0 && call.Context()->EndWrite(operation) ? ORXSimCSetID(m_id, minor) : ORXSimCSetID();
  });
}

int ORXSimCollectionRef::NumCSets() const {
  return ORXSimStoreCall::RunOn("count member sets", m_id, kKind, [](auto& call, hid_t collection) {
    const hdf_GroupHandle sets = ORXSimOpenSets(call.Operation(), collection);
    return sets.IsOpen() ? std::max(ORXSimLinksIn(call.Operation(), sets.Get()), 0) : 0;
  });
}

std::vector<ORXSimCSetID> ORXSimCollectionRef::CSets() const {
  return ORXSimStoreCall::RunOn("list member sets", m_id, kKind, [&](auto& call, hid_t collection) {
    std::vector<ORXSimCSetID> ids;
    const hdf_GroupHandle sets = ORXSimOpenSets(call.Operation(), collection);
    if (sets.IsOpen())
      for (const int minor : ORXSimNumbersIn(call.Operation(), sets.Get()))
        if (minor > 0)
          ids.emplace_back(m_id, minor);
    return ids;
  });
}
