#include <mpi/numbering/rnk_Store.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Collection.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Distribution.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>

#include <memory>

namespace {

constexpr std::size_t kPieceBytes = std::size_t{8} << 20;

int pieceOf(const rnk_Rows& rows) {
  return static_cast<int>(std::max<std::size_t>(1, kPieceBytes / rows.bytes));
}

bool failed(std::string& cause) {
  cause = ORXSimManager::LastError();
  return false;
}

bool hasItems(ORXSimCollectionID over, std::int64_t items, std::string& cause) {
  const ORXSimCollectionRef collection(over);
  if (!collection.Exists())
    return failed(cause);
  if (collection.NumItems() == items)
    return true;
  cause = "the collection has " + std::to_string(collection.NumItems()) + " items, the numbering " +
          std::to_string(items);
  return false;
}

// Runs what only rank 0 does.
template <class Work>
bool onRoot(const rnk_Agreement& ranks, Work work) {
  std::string cause;
  const bool done = !ranks.IsRoot() || rnk_Try(cause, [&] { return work(cause); });
  return ranks.Root(done, "numbering: rank 0: " + cause);
}

} // namespace

bool rnk_StoreDrawer(const rnk_Agreement& ranks, const rnk_Rows& rows, ORXSimCollectionID over,
                     const rnk_Drawer& drawer, ORXSimDistributionID& stored) {
  std::unique_ptr<ORXSimUpdate> update; // rank 0's
  ORXSimDistributionID made;
  const auto create = [&](std::string& cause) {
    if (!hasItems(over, rows.parts.Total(), cause))
      return false;
    update = std::make_unique<ORXSimUpdate>(over.Context());
    ORXSimDrawerDescription description;
    description.members = ORXSimCollectionRef(over).FullCSet();
    description.type = drawer.type;
    description.components = drawer.components;
    made = ORXSimDistributionRef::Create(over.Context(), drawer.name, "", &description, 1);
    return !made.IsNull() || failed(cause);
  };
  const auto write = [&](std::int64_t first, int count, const void* from, std::string& cause) {
    return ORXSimDistributionRef(made).WriteItems(0, static_cast<int>(first), count, from,
                                                  std::int64_t{count} *
                                                      static_cast<std::int64_t>(rows.bytes)) ||
           failed(cause);
  };
  const auto commit = [&](std::string& cause) { return update->Commit() || failed(cause); };
  if (!onRoot(ranks, create) || !rnk_BringRows(ranks, rows, write, pieceOf(rows)) || !onRoot(ranks, commit))
    return false;
  stored = made;
  return true;
}

bool rnk_StoreOrder(const rnk_Agreement& ranks, const rnk_Rows& rows, ORXSimCollectionID over,
                    std::int64_t items, ORXSimCSetID& stored) {
  std::vector<int> members; // rank 0's
  ORXSimCSetID made;
  const auto prepare = [&](std::string& cause) {
    if (!hasItems(over, items, cause))
      return false;
    members.resize(rnk_At(rows.parts.Total()));
    return true;
  };
  const auto take = [&](std::int64_t first, int count, const void* from, std::string&) {
    const auto* const dofs = static_cast<const std::int64_t*>(from);
    std::transform(dofs, dofs + count, members.begin() + first,
                   [](std::int64_t dof) { return static_cast<int>(dof); });
    return true;
  };
  const auto write = [&](std::string& cause) {
    made = ORXSimCollectionRef(over).CreateOrderedCSet(members.data(), static_cast<int>(members.size()));
    return !made.IsNull() || failed(cause);
  };
  if (!onRoot(ranks, prepare) || !rnk_BringRows(ranks, rows, take, pieceOf(rows)) || !onRoot(ranks, write))
    return false;
  stored = made;
  return true;
}
