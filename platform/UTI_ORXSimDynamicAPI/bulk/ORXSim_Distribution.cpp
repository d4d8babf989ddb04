#include <UTI_ORXSimDynamicAPI/ORXSim_Distribution.h>

#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_CollectionFile.h>
#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_DrawerFile.h>

#include <algorithm>
#include <new>

namespace {
constexpr auto kKind = ORXSimStoreCall::kDistributions;

// The sizes of the drawers' member sets; they must be of this context.
bool sizesOf(hdf_Operation& operation, ORXSimContextID context, const ORXSimDrawerDescription* drawers,
             std::vector<int>& sizes) {
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    if (drawers[i].members.IsNull() || !(drawers[i].members.Context() == context))
      return operation.Refuse("a drawer needs a member set of the same file");
    ORXSimStoreCall sets("size of a drawer's member set", context, ORXSimStoreCall::kCollections);
    sizes[i] = ORXSimSizeOf(sets, drawers[i].members);
    if (sizes[i] < 0)
      return false;
  }
  return true;
}

bool createDrawers(ORXSimStoreCall& call, hid_t distribution, const ORXSimDrawerDescription* drawers,
                   const std::vector<int>& sizes) {
  for (std::size_t i = 0; i < sizes.size(); ++i)
    if (!ORXSimDrawerFile::Create(call, distribution, static_cast<int>(i), drawers[i], sizes[i]))
      return false;
  return true;
}

// Opens distribution and drawer in one.
struct OpenDrawer {
  OpenDrawer(const char* what, ORXSimDistributionID id, int number) : call(what, id.Context(), kKind) {
    const hdf_GroupHandle distribution = call.Open(id.Minor());
    if (distribution.IsOpen())
      drawer = ORXSimDrawerFile::Open(call, distribution.Get(), number);
  }
  ORXSimStoreCall call;
  ORXSimDrawerFile drawer;
};

cow_String textOf(const char* what, ORXSimDistributionID id, const char* name) {
  ORXSimStoreCall call(what, id.Context(), kKind);
  const hdf_GroupHandle distribution = call.Open(id.Minor());
  return distribution.IsOpen() ? ORXSimReadText(call.Operation(), distribution.Get(), name) : cow_String();
}
} // namespace

ORXSimDistributionID ORXSimDistributionRef::Create(ORXSimContextID context, const cow_String& name,
                                                   const cow_String& unit,
                                                   const ORXSimDrawerDescription* drawers, int n) try {
  ORXSimStoreCall call("create distribution", context, kKind);
  hdf_Operation& operation = call.Operation();
  if (!call.Writable() ||
      ((n < 0 || (n > 0 && drawers == nullptr)) && !operation.Refuse("there are no drawer descriptions")))
    return {};
  std::vector<int> sizes(static_cast<std::size_t>(n));
  if (!sizesOf(operation, context, drawers, sizes))
    return {};
  const hdf_GroupHandle distribution = call.MakeObject();
  if (!distribution.IsOpen() || !ORXSimWriteText(operation, distribution.Get(), "name", name) ||
      !ORXSimWriteText(operation, distribution.Get(), "unit", unit) ||
      !createDrawers(call, distribution.Get(), drawers, sizes))
    return {};
  const int minor = call.Link(distribution);
  return minor < 0 ? ORXSimDistributionID() : ORXSimDistributionID(context, minor);
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return {};
}

bool ORXSimDistributionRef::Exists() const try {
  ORXSimStoreCall call("look up distribution", m_id.Context(), kKind);
  return call.Open(m_id.Minor()).IsOpen();
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return false;
}

cow_String ORXSimDistributionRef::Name() const try {
  return textOf("name of a distribution", m_id, "name");
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return {};
}

cow_String ORXSimDistributionRef::Unit() const try {
  return textOf("unit of a distribution", m_id, "unit");
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return {};
}

int ORXSimDistributionRef::NumDrawers() const try {
  ORXSimStoreCall call("count drawers", m_id.Context(), kKind);
  const hdf_GroupHandle distribution = call.Open(m_id.Minor());
  return distribution.IsOpen() ? std::max(ORXSimLinksIn(call.Operation(), distribution.Get()), 0) : 0;
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return 0;
}

int ORXSimDistributionRef::AddDrawer(const ORXSimDrawerDescription& description) const try {
  ORXSimStoreCall call("add drawer", m_id.Context(), kKind);
  if (!call.Writable())
    return -1;
  const hdf_GroupHandle distribution = call.Open(m_id.Minor());
  std::vector<int> sizes(1);
  if (!distribution.IsOpen() || !sizesOf(call.Operation(), m_id.Context(), &description, sizes))
    return -1;
  const int drawer = ORXSimFreeNumber(call.Operation(), distribution.Get(), 0);
  return drawer >= 0 && ORXSimDrawerFile::Create(call, distribution.Get(), drawer, description, sizes[0]) &&
                 call.Context()->EndWrite(call.Operation())
             ? drawer
             : -1;
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return -1;
}

bool ORXSimDistributionRef::QueryDrawers(ORXSimArray<ORXSimPersistentDrawerDesc>& drawers) const try {
  ORXSimStoreCall call("query drawers", m_id.Context(), kKind);
  const hdf_GroupHandle distribution = call.Open(m_id.Minor());
  if (!distribution.IsOpen())
    return false;
  const int known = std::min(drawers.Size(), ORXSimLinksIn(call.Operation(), distribution.Get()));
  for (int i = 0; i < known; ++i) {
    const ORXSimDrawerFile drawer = ORXSimDrawerFile::Open(call, distribution.Get(), i);
    if (!drawer.IsOpen() || !drawer.Describe(call.Operation(), m_id.Context(), drawers[i]))
      return false;
  }
  return known >= 0;
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return false;
}

ORXSimPersistentDrawerDesc ORXSimDistributionRef::Drawer(int number) const try {
  OpenDrawer opened("describe drawer", m_id, number);
  ORXSimPersistentDrawerDesc description;
  if (opened.drawer.IsOpen())
    opened.drawer.Describe(opened.call.Operation(), m_id.Context(), description);
  return description;
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return {};
}

int ORXSimDistributionRef::DataSizeItems(int number) const try {
  return OpenDrawer("size of a drawer", m_id, number).drawer.Items();
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return 0;
}

bool ORXSimDistributionRef::ReadItems(int number, int first, int count, void* buffer,
                                      std::int64_t bytes) const try {
  OpenDrawer opened("read drawer", m_id, number);
  return opened.drawer.IsOpen() &&
         opened.drawer.Move(opened.call.Operation(), first, count, bytes, buffer, nullptr);
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return false;
}

bool ORXSimDistributionRef::WriteItems(int number, int first, int count, const void* buffer,
                                       std::int64_t bytes) const try {
  OpenDrawer opened("write drawer", m_id, number);
  return opened.drawer.IsOpen() && opened.call.Writable() &&
         opened.drawer.Move(opened.call.Operation(), first, count, bytes, nullptr, buffer) &&
         opened.call.Context()->EndWrite(opened.call.Operation());
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return false;
}

ORXSimVerification ORXSimDistributionRef::Verify(int number) const try {
  OpenDrawer opened("verify drawer", m_id, number);
  return opened.drawer.IsOpen() ? opened.drawer.Verify(opened.call.Operation()) : ORXSimVerification();
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return {};
}
