#include <UTI_ORXSimDynamicAPI/ORXSim_Distribution.h>

#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_CollectionFile.h>
#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_DrawerFile.h>

#include <algorithm>

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

// Runs the work with an open drawer.
template <class Work>
auto onDrawer(const char* what, ORXSimDistributionID id, int number, Work work) {
  using Result = std::invoke_result_t<Work, ORXSimStoreCall&, ORXSimDrawerFile&>;
  return ORXSimStoreCall::Run(what, id.Context(), kKind, [&](ORXSimStoreCall& call) {
    ORXSimDrawerFile drawer = ORXSimDrawerFile::OpenOf(call, id.Minor(), number);
    return drawer.IsOpen() ? work(call, drawer) : Result();
  });
}

cow_String textOf(const char* what, ORXSimDistributionID id, const char* name) {
  return ORXSimStoreCall::RunOn(what, id, kKind, [&](auto& call, hid_t distribution) {
    return ORXSimReadText(call.Operation(), distribution, name);
  });
}
} // namespace

ORXSimDistributionID ORXSimDistributionRef::Create(ORXSimContextID context, const cow_String& name,
                                                   const cow_String& unit,
                                                   const ORXSimDrawerDescription* drawers, int n) {
  return ORXSimStoreCall::Run("create distribution", context, kKind, [&](ORXSimStoreCall& call) {
    hdf_Operation& operation = call.Operation();
    if (!call.Writable() ||
        ((n < 0 || (n > 0 && drawers == nullptr)) && !operation.Refuse("there are no drawer descriptions")))
      return ORXSimDistributionID();
    std::vector<int> sizes(static_cast<std::size_t>(n));
    if (!sizesOf(operation, context, drawers, sizes))
      return ORXSimDistributionID();
    const hdf_GroupHandle distribution = call.MakeObject();
    if (!distribution.IsOpen() || !ORXSimWriteText(operation, distribution.Get(), "name", name) ||
        !ORXSimWriteText(operation, distribution.Get(), "unit", unit) ||
        !createDrawers(call, distribution.Get(), drawers, sizes))
      return ORXSimDistributionID();
    const int minor = call.Link(distribution);
    return minor < 0 ? ORXSimDistributionID() : ORXSimDistributionID(context, minor);
  });
}

bool ORXSimDistributionRef::Exists() const {
  return ORXSimStoreCall::RunOn("look up distribution", m_id, kKind, [](auto&, hid_t) { return true; });
}

cow_String ORXSimDistributionRef::Name() const {
  return textOf("name of a distribution", m_id, "name");
}

cow_String ORXSimDistributionRef::Unit() const {
  return textOf("unit of a distribution", m_id, "unit");
}

int ORXSimDistributionRef::NumDrawers() const {
  return ORXSimStoreCall::RunOn("count drawers", m_id, kKind, [](auto& call, hid_t distribution) {
    return std::max(ORXSimLinksIn(call.Operation(), distribution), 0);
  });
}

int ORXSimDistributionRef::AddDrawer(const ORXSimDrawerDescription& description) const {
  return hdf_Try(-1, [&] {
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
  });
}

bool ORXSimDistributionRef::QueryDrawers(ORXSimArray<ORXSimPersistentDrawerDesc>& drawers) const {
  return ORXSimStoreCall::RunOn("query drawers", m_id, kKind, [&](auto& call, hid_t distribution) {
    const int known = std::min(drawers.Size(), ORXSimLinksIn(call.Operation(), distribution));
    for (int i = 0; i < known; ++i) {
      const ORXSimDrawerFile drawer = ORXSimDrawerFile::Open(call, distribution, i);
      if (!drawer.IsOpen() || !drawer.Describe(call.Operation(), m_id.Context(), drawers[i]))
        return false;
    }
    return known >= 0;
  });
}

ORXSimPersistentDrawerDesc ORXSimDistributionRef::Drawer(int number) const {
  return onDrawer("describe drawer", m_id, number, [&](auto& call, auto& drawer) {
    ORXSimPersistentDrawerDesc description;
    drawer.Describe(call.Operation(), m_id.Context(), description);
    return description;
  });
}

int ORXSimDistributionRef::DataSizeItems(int number) const {
  return onDrawer("size of a drawer", m_id, number, [](auto&, auto& drawer) { return drawer.Items(); });
}

bool ORXSimDistributionRef::ReadItems(int number, int first, int count, void* buffer,
                                      std::int64_t bytes) const {
  return onDrawer("read drawer", m_id, number, [&](auto& call, auto& drawer) {
    return drawer.Move(call.Operation(), first, count, bytes, buffer, nullptr);
  });
}

bool ORXSimDistributionRef::WriteItems(int number, int first, int count, const void* buffer,
                                       std::int64_t bytes) const {
  return onDrawer("write drawer", m_id, number, [&](auto& call, auto& drawer) {
    return call.Writable() && drawer.Move(call.Operation(), first, count, bytes, nullptr, buffer) &&
           call.Context()->EndWrite(call.Operation());
  });
}

cow_String ORXSimDistributionRef::DatasetPath(int number) const {
  return onDrawer("place of a drawer", m_id, number, [](auto& call, auto& drawer) {
    if (!call.ShowsItsFile())
      return cow_String();
    const std::string path = drawer.Path();
    return cow_String(path.data(), path.size());
  });
}

ORXSimVerification ORXSimDistributionRef::Verify(int number) const {
  return onDrawer("verify drawer", m_id, number,
                  [](auto& call, auto& drawer) { return drawer.Verify(call.Operation()); });
}
