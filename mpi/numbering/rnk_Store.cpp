#include <mpi/numbering/rnk_Store.h>

#include <mpi/ORXSim_RankTransfer.h>
#include <mpi/ORXSim_RankUpdate.h>
#include <mpi/numbering/rnk_Pieces.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Collection.h>

namespace {

constexpr int kPiece = 1 << 20; // members that come to rank 0 at once

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
bool onRoot(const rnk_Agreement& agree, Work work) {
  std::string cause;
  const bool done = !agree.IsRoot() || rnk_Try(cause, [&] { return work(cause); });
  return agree.Root(done, "numbering: rank 0: " + cause);
}

} // namespace

bool rnk_StoreDrawer(const ORXSimRanks& ranks, const rnk_Parts& parts, const void* mine,
                     ORXSimCollectionID over, const rnk_Drawer& drawer, ORXSimDistributionID& stored) {
  ORXSimRankUpdate update(ranks);
  const ORXSimCSetID all = ORXSimCollectionRef(over).FullCSet();
  ORXSimDistributionID made;
  const auto create = [&](std::string& cause) {
    if (!hasItems(over, parts.Total(), cause))
      return false;
    const ORXSimDrawerDescription description{
        .members = all, .type = drawer.type, .components = drawer.components};
    made = ORXSimDistributionRef::Create(over.Context(), drawer.name, "", &description, 1);
    return !made.IsNull() || failed(cause);
  };
  if (!onRoot(rnk_Agreement(ranks.Comm()), create))
    return false;
  ORXSimRankTransfer transfer(ranks, ORXSimDistributionRef(made));
  transfer.SetWrite();
  transfer.SetDim(0, all);
  transfer.SetItemType(drawer.type);
  transfer.SetRows(parts.First(ranks.Rank()), parts.Count(ranks.Rank()));
  transfer.SetBuffer(0, mine, parts.Count(ranks.Rank()) * drawer.components * ORXSimItemSize(drawer.type));
  if (!transfer.CheckView() || !transfer.ExecWrite() || !update.Commit())
    return false;
  stored = made;
  return true;
}

bool rnk_StoreOrder(const ORXSimRanks& ranks, const rnk_Parts& parts, const std::int64_t* mine,
                    ORXSimCollectionID over, std::int64_t items, ORXSimCSetID& stored) {
  const rnk_Agreement agree(ranks.Comm());
  std::vector<int> members; // rank 0's
  ORXSimCSetID made;
  const auto prepare = [&](std::string& cause) {
    if (!hasItems(over, items, cause)) // which counts in ints
      return false;
    members.reserve(rnk_At(parts.Total()));
    return true;
  };
  const auto take = [&](const std::int64_t* dofs, int count) {
    for (int i = 0; i < count; ++i)
      members.push_back(static_cast<int>(dofs[i]));
  };
  const auto write = [&](std::string& cause) {
    made = ORXSimCollectionRef(over).CreateOrderedCSet(members.data(), static_cast<int>(members.size()));
    return !made.IsNull() || failed(cause);
  };
  if (!onRoot(agree, prepare) || !rnk_BringPieces(agree, parts, mine, kPiece, take) || !onRoot(agree, write))
    return false;
  stored = made;
  return true;
}
