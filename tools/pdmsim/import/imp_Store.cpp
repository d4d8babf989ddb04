#include <pdmsim/import/imp_Store.h>

#include <pdmsim/cli/cli_Failure.h>

void imp_Store::Fail() {
  throw cli_Failure(cli_Exit::kUnusable, ORXSimManager::LastError());
}

ORXSimCollectionID imp_Store::Collection(const char* name, std::size_t items) const {
  const auto id = ORXSimCollectionRef::Create(m_context, name, static_cast<int>(items));
  if (id.IsNull())
    Fail();
  return id;
}

ORXSimCSetID imp_Store::Set(ORXSimCollectionID collection, const std::vector<int>& members) const {
  const ORXSimCollectionRef ref(collection);
  const auto size = static_cast<int>(members.size());
  bool all = size == ref.NumItems();
  for (int i = 0; all && i < size; ++i)
    all = members[static_cast<std::size_t>(i)] == i;
  const ORXSimCSetID id = all ? ref.FullCSet() : ref.CreateOrderedCSet(members.data(), size);
  if (id.IsNull())
    Fail();
  return id;
}

ORXSimDistributionID imp_Store::Distribution(const std::string& name,
                                             const std::vector<ORXSimDrawerDescription>& drawers,
                                             const std::string& unit) const {
  const auto id = ORXSimDistributionRef::Create(m_context, cow_String(name.data(), name.size()),
                                                cow_String(unit.data(), unit.size()), drawers.data(),
                                                static_cast<int>(drawers.size()));
  if (id.IsNull())
    Fail();
  return id;
}

ORXSimOpenDrawer imp_Store::Open(ORXSimDistributionID distribution, int drawer) const {
  ORXSimOpenDrawer opened = ORXSimDistributionRef(distribution).OpenDrawer(drawer);
  if (!opened)
    Fail();
  return opened;
}

void imp_Store::Write(const ORXSimOpenDrawer& drawer, std::size_t first, std::size_t rows, const void* values,
                      std::size_t bytes) {
  if (rows > 0 && !drawer.Write(static_cast<int>(first), static_cast<int>(rows), values,
                                static_cast<std::int64_t>(bytes)))
    Fail();
}
