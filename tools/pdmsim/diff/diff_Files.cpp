#include <pdmsim/diff/diff_Files.h>

#include <pdmsim/cli/cli_Failure.h>

#include <numeric>

void diff_FailToRead() {
  throw cli_Failure(cli_Exit::kUnusable, ORXSimManager::LastError());
}

void diff_Files::Match(ORXSimCollectionID a, ORXSimCollectionID b, diff_Matching matching) {
  m_matchings.try_emplace(a.Minor(), Pair{b.Minor(), std::move(matching)});
}

const diff_Matching* diff_Files::Matching(ORXSimCollectionID a, ORXSimCollectionID b) {
  if (a.IsNull() || b.IsNull())
    return nullptr;
  auto found = m_matchings.find(a.Minor());
  if (found == m_matchings.end()) {
    const ORXSimCollectionRef first(a), second(b);
    if (first.Name() != second.Name())
      return nullptr;
    found = m_matchings.emplace(a.Minor(), Pair{b.Minor(), {first.NumItems(), second.NumItems()}}).first;
  }
  return found->second.other == b.Minor() ? &found->second.matching : nullptr;
}

std::string diff_Files::Word(ORXSimCollectionID a) const {
  std::string name(ORXSimCollectionRef(a).Name().CStr());
  if (name.size() > 1 && name.ends_with('s'))
    name.pop_back();
  const auto found = m_matchings.find(a.Minor());
  const bool labels = found != m_matchings.end() && found->second.matching.HasLabels();
  return labels || name.empty() ? name + (labels ? "" : "item") : name + " item";
}

std::vector<int> diff_Files::Members(ORXSimCSetID set) const {
  const ORXSimCSet members(set);
  std::vector<int> items(diff_Size(members.Size()));
  if (set.Minor() == 0)
    std::iota(items.begin(), items.end(), 0);
  else if (!items.empty() && !members.OrderedMembers(items.data(), static_cast<int>(items.size())))
    diff_FailToRead();
  return items;
}

std::vector<ORXSimPersistentDrawerDesc> diff_Files::Drawers(ORXSimDistributionID id) const {
  const ORXSimDistributionRef distribution(id);
  std::vector<ORXSimPersistentDrawerDesc> drawers;
  for (int i = 0; i < distribution.NumDrawers(); ++i) {
    drawers.push_back(distribution.Drawer(i));
    if (drawers.back().CSet().IsNull() || drawers.back().Components() < 1)
      diff_FailToRead();
  }
  return drawers;
}

bool diff_Files::SameRows(ORXSimCSetID a, ORXSimCSetID b) {
  const auto [place, isNew] =
      m_same.try_emplace({a.CollectionMinor(), a.Minor(), b.CollectionMinor(), b.Minor()}, false);
  if (!isNew)
    return place->second;
  const diff_Matching* const matching = Matching(a.Collection(), b.Collection());
  if (matching == nullptr)
    return false;
  if (a.Minor() == 0 && b.Minor() == 0)
    return place->second = matching->Identity() && matching->Whole();
  std::vector<int> first = Members(a);
  const std::vector<int> second = Members(b);
  for (int& item : first)
    item = matching->Other(0, item);
  return place->second = first == second;
}
