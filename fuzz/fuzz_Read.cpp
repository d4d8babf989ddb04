#include "fuzz_Classes.h"
#include "fuzz_Common.h"
#include "fuzz_Model.h"

#include <gbb/pattern/gbb_MemberTable.h>

#include <algorithm>

namespace {
constexpr int kMostElements = 64;            // of an array, sets of a collection, drawers of a distribution
constexpr std::int64_t kMostBytes = 4 << 20; // of one set or drawer

/// What was read, in the order in which it was: FNV-1a.
class Sum {
 public:
  void Add(const void* bytes, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i)
      m_sum = (m_sum ^ static_cast<const unsigned char*>(bytes)[i]) * 0x100000001b3u;
  }
  void Add(const char* text) { Add(text, std::strlen(text) + 1); }
  void Add(const kda_string& text) { Add(text.cStr()); }
  void Add(const cow_String& text) { Add(text.CStr()); }
  template <class Number>
  requires std::is_arithmetic_v<Number>
  void Add(Number number) { Add(&number, sizeof number); }
  template <class ID>
  requires requires(ID id) { id.Minor(); }
  void Add(ID id) {
    if constexpr (requires { id.CollectionMinor(); })
      Add(id.IsNull() ? -1 : id.CollectionMinor());
    Add(id.Minor());
  }
  template <class Map>
  requires requires(const Map& map) { map.tree(); }
  void Add(const Map& map) {
    Add(map.count());
    map.ForEach([&](const auto& key, const auto& value) {
      Add(key);
      Add(value);
    });
  }
  std::uint64_t Value() const { return m_sum; }

 private:
  std::uint64_t m_sum = 0xcbf29ce484222325u;
};

void readObject(Sum& sum, const gbb_Handle& object);

template <class E, class H, class R, class O>
void readChild(Sum& sum, const gbb_Array<E, H, R, O>& array) {
  sum.Add(array.count());
  for (int i = 0; i < std::min(array.count(), kMostElements); ++i)
    readObject(sum, array.get(i));
}
template <class Handle>
void readChild(Sum& sum, const Handle& object) {
  readObject(sum, object);
}

// Members and children as the class of the handle has them, those of its bases first.
template <class Handle>
void readAs(Sum& sum, const Handle& object) {
  if constexpr (!std::is_void_v<typename Handle::Traits::Base>)
    readAs(sum, typename Handle::Traits::Base::Handle(gbb_Handle(object)));
  gbb_ForEachMember(object, [&](auto, const auto& value) { sum.Add(value); });
  gbb_ForEachChild(object, [&](auto, const auto& child) { readChild(sum, child); });
}

template <class Handle>
bool readIf(Sum& sum, const gbb_Handle& object) {
  const Handle handle{object};
  if (!handle)
    return false;
  readAs(sum, handle);
  return true;
}

void readObject(Sum& sum, const gbb_Handle& object) {
  if (!object)
    return;
  sum.Add(object.Class().ClassID().text, gbb_ClassID::kSize);
  [&]<class... Handle>(std::tuple<Handle...>*) {
    (readIf<Handle>(sum, object) || ...);
  }(static_cast<fuzz_Classes*>(nullptr));
}

void readSet(Sum& sum, const ORXSimCSet& set) {
  const int n = set.Size();
  sum.Add(n);
  if (n <= 0 || std::int64_t{n} * 4 > kMostBytes)
    return;
  std::vector<int> members(static_cast<std::size_t>(n));
  if (set.OrderedMembers(members.data(), n))
    sum.Add(members.data(), members.size() * sizeof(int));
}

void readCollection(Sum& sum, const ORXSimCollectionRef& collection) {
  sum.Add(collection.Name());
  sum.Add(collection.NumItems());
  readSet(sum, ORXSimCSet(collection.FullCSet()));
  int left = kMostElements;
  for (const ORXSimCSetID set : collection.CSets()) {
    if (left-- > 0)
      readSet(sum, ORXSimCSet(set));
  }
}

void readDrawer(Sum& sum, const ORXSimDistributionRef& distribution, int number) {
  const ORXSimPersistentDrawerDesc drawer = distribution.Drawer(number);
  sum.Add(drawer.CSet());
  sum.Add(drawer.Unit());
  sum.Add(drawer.LongName());
  sum.Add(drawer.Components());
  sum.Add(drawer.Items());
  sum.Add(distribution.DataSizeItems(number));
  if (drawer.Bytes() <= 0 || drawer.Bytes() > kMostBytes)
    return;
  std::vector<unsigned char> bytes(static_cast<std::size_t>(drawer.Bytes()));
  if (distribution.ReadItems(number, 0, drawer.Items(), bytes.data(), drawer.Bytes()))
    sum.Add(bytes.data(), bytes.size());
  const int half = drawer.Items() / 2;
  if (half > 0) // part of the rows, and the whole by a transfer
    distribution.ReadItems(number, half, 1, bytes.data(), drawer.Bytes() / drawer.Items());
  ORXSimTransfer transfer(distribution);
  transfer.SetRead();
  transfer.SetDim(0, drawer.CSet());
  transfer.SetBuffer(number, bytes.data(), drawer.Bytes());
  if (transfer.CheckView() && transfer.ExecRead())
    sum.Add(bytes.data(), bytes.size());
}

void readStore(Sum& sum, ORXSimContextID context) {
  const ORXSimStore store(context);
  for (const ORXSimCollectionID id : store.Collections())
    readCollection(sum, ORXSimCollectionRef(id));
  for (const ORXSimDistributionID id : store.Distributions()) {
    const ORXSimDistributionRef distribution(id);
    sum.Add(distribution.Name());
    sum.Add(distribution.Unit());
    const int drawers = distribution.NumDrawers();
    sum.Add(drawers);
    for (int i = 0; i < std::min(drawers, kMostElements); ++i)
      readDrawer(sum, distribution, i);
  }
  sum.Add(store.FindCollection("nodes"));
  sum.Add(store.FindDistribution("coordinates"));
}
} // namespace

std::uint64_t fuzz_ReadAll(const msfD_Sim& sim) {
  Sum sum;
  readAs(sum, sim);
  readStore(sum, sim.distributionService().Context());
  return sum.Value();
}
