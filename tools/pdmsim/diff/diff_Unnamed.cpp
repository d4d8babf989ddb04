#include <pdmsim/diff/diff_Objects.h>

#include <algorithm>

// The second half of diff_Objects: what of the store no object names.

void diff_Objects::FindNamed(int side, const show_Json& value) {
  const std::string kind = value.is_object() ? value.value("kind", "") : "";
  if (kind == "collection")
    m_collections[side].emplace(0, value["id"].get<int>());
  else if (kind == "field")
    m_distributions[side].emplace(0, value["id"].get<int>());
  else if (kind == "set")
    m_sets[side].emplace(value["collectionId"].get<int>(), value["id"].get<int>());
  else if (value.is_structured())
    for (const show_Json& one : value)
      FindNamed(side, one);
}

namespace {

template <class Ref, class Id>
std::vector<std::string> namesOf(const std::vector<Id>& ids) {
  std::vector<std::string> names;
  for (const Id id : ids)
    names.emplace_back(Ref(id).Name().CStr());
  return names;
}

template <class Id>
std::vector<Id> unnamed(const std::vector<Id>& all, const std::set<std::pair<int, int>>& named) {
  std::vector<Id> left;
  for (const Id id : all)
    if (!named.contains({0, id.Minor()}))
      left.push_back(id);
  return left;
}

} // namespace

/// Collections that no object names go together by their own names.
void diff_Objects::MatchUnnamed() {
  const std::vector<ORXSimCollectionID> left[2] = {
      unnamed(ORXSimStore(Context(0)).Collections(), m_collections[0]),
      unnamed(ORXSimStore(Context(1)).Collections(), m_collections[1])};
  const std::vector<std::string> names[2] = {namesOf<ORXSimCollectionRef>(left[0]),
                                             namesOf<ORXSimCollectionRef>(left[1])};
  const diff_Matching matching(names[0], names[1]);
  for (int i = 0; i < matching.Count(0); ++i)
    if (const int other = matching.Other(0, i); other >= 0) {
      const ORXSimCollectionID a = left[0][diff_Size(i)], b = left[1][diff_Size(other)];
      if (!m_files.HasMatch(a))
        m_files.Match(a, b, {ORXSimCollectionRef(a).NumItems(), ORXSimCollectionRef(b).NumItems()});
      m_paired.emplace_back(a, b);
    }
  for (const int side : {0, 1})
    for (const int i : matching.Only(side))
      if (const std::string& name = names[side][diff_Size(i)];
          !m_files.Report().Ignores("store/collections/" + name, name))
        m_files.Report().Only(side, "store/collections/" + name, "collection");
}

void diff_Objects::CompareUnnamed() {
  const std::vector<ORXSimDistributionID> left[2] = {
      unnamed(ORXSimStore(Context(0)).Distributions(), m_distributions[0]),
      unnamed(ORXSimStore(Context(1)).Distributions(), m_distributions[1])};
  const std::vector<std::string> names[2] = {namesOf<ORXSimDistributionRef>(left[0]),
                                             namesOf<ORXSimDistributionRef>(left[1])};
  const diff_Matching matching(names[0], names[1]);
  const auto path = [&](int side, int i) { return "store/fields/" + names[side][diff_Size(i)]; };
  for (int i = 0; i < matching.Count(0); ++i)
    if (const int other = matching.Other(0, i);
        other >= 0 && !m_files.Report().Ignores(path(0, i), names[0][diff_Size(i)]))
      m_mesh.CompareField(path(0, i), "", names[0][diff_Size(i)], left[0][diff_Size(i)],
                          left[1][diff_Size(other)]);
  for (const int side : {0, 1})
    for (const int i : matching.Only(side))
      if (!m_files.Report().Ignores(path(side, i), names[side][diff_Size(i)]))
        m_files.Report().Only(side, path(side, i), "field");
  for (const auto& [a, b] : m_paired) {
    const std::string name = ORXSimCollectionRef(a).Name().CStr(), at = "store/collections/" + name;
    if (m_collections[0].contains({0, a.Minor()}) || m_files.Report().Ignores(at, name))
      continue;
    Collection({at, "", ""}, a, b);
  }
  for (const int side : {0, 1}) // rows are over sets that have no other name
    for (const ORXSimDistributionID id : ORXSimStore(Context(side)).Distributions())
      for (const ORXSimPersistentDrawerDesc& drawer : m_files.Drawers(id))
        m_sets[side].emplace(drawer.CSet().CollectionMinor(), drawer.CSet().Minor());
  for (const auto& [a, b] : m_paired)
    CompareUnnamedSets("store/sets/" + std::string(ORXSimCollectionRef(a).Name().CStr()), a, b);
}

void diff_Objects::CompareUnnamedSets(const std::string& path, ORXSimCollectionID a, ORXSimCollectionID b) {
  std::vector<ORXSimCSetID> left[2];
  for (const int side : {0, 1})
    for (const ORXSimCSetID set : ORXSimCollectionRef(side == 0 ? a : b).CSets())
      if (!m_sets[side].contains({set.CollectionMinor(), set.Minor()}))
        left[side].push_back(set);
  const std::size_t both = std::min(left[0].size(), left[1].size());
  for (std::size_t i = 0; i < std::max(left[0].size(), left[1].size()); ++i) {
    const std::string number = std::to_string(i), at = path + "/" + number;
    if (m_files.Report().Ignores(at, number))
      continue;
    if (i < both)
      m_mesh.CompareSet(at, left[0][i], left[1][i]);
    else
      m_files.Report().Only(i < left[0].size() ? 0 : 1, at, "set");
  }
}
