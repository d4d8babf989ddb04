#include <pdmsim/diff/diff_Connectivity.h>
#include <pdmsim/diff/diff_Mesh.h>

#include <algorithm>

// The second half of diff_Mesh: sets, surfaces and connectivity.

namespace {

constexpr std::size_t kShown = 10;

/// A member of a set, or a side of an element, as the first file numbers it.
struct Member {
  int item, side;
  friend auto operator<=>(const Member&, const Member&) = default;
};

bool ascends(const std::vector<int>& items) {
  return std::is_sorted(items.begin(), items.end());
}

/// Members of two lists that only one has; of more than a few only the number.
template <class F>
void findOnly(std::vector<Member> a, std::vector<Member> b, F&& only) {
  std::sort(a.begin(), a.end());
  std::sort(b.begin(), b.end());
  std::size_t i = 0, k = 0;
  while (i < a.size() || k < b.size()) {
    if (k == b.size() || (i < a.size() && a[i] < b[k]))
      only(0, a[i++]);
    else if (i == a.size() || b[k] < a[i])
      only(1, b[k++]);
    else
      ++i, ++k;
  }
}

std::string listed(const std::vector<std::string>& names, std::size_t count) {
  std::string text;
  for (const std::string& name : names)
    text += (text.empty() ? "" : ", ") + name;
  return count > names.size() ? text + ", … " + std::to_string(count - names.size()) + " more" : text;
}

} // namespace

void diff_Mesh::SayOnly(const std::string& path, const std::string& word,
                        const std::vector<std::string> (&only)[2], std::size_t (&counts)[2]) {
  show_Json facts = show_Json::object();
  std::vector<std::string> lines{"other " + word};
  for (const int side : {0, 1})
    if (counts[side] > 0) {
      facts[side == 0 ? "onlyInA" : "onlyInB"] = {{"count", counts[side]}, {"first", only[side]}};
      lines.push_back("only in " + m_files.File(side).Path() + ": " + std::to_string(counts[side]) + ": " +
                      listed(only[side], counts[side]));
    }
  m_files.Report().Differ(path, "", facts, std::move(lines));
}

void diff_Mesh::CompareSet(const std::string& path, ORXSimCSetID a, ORXSimCSetID b) {
  ++m_files.Report().counts.sets;
  const diff_Matching* const matching = m_files.Matching(a.Collection(), b.Collection());
  if (matching == nullptr)
    return m_files.Report().Differ(
        path, "", {{"part", "collection"}},
        {"is of '" + std::string(ORXSimCollectionRef(a.Collection()).Name().CStr()) +
         "' against another collection, '" + ORXSimCollectionRef(b.Collection()).Name().CStr() + "'"});
  if (m_files.SameRows(a, b) || (a.Minor() == 0 && b.Minor() == 0))
    return;
  const std::vector<int> first = m_files.Members(a), second = m_files.Members(b);
  std::vector<Member> members[2];
  std::vector<std::string> only[2];
  std::size_t counts[2] = {0, 0};
  const auto say = [&](int side, int item) {
    if (counts[side]++ < kShown)
      only[side].push_back(matching->Name(side, item));
  };
  for (const int item : first)
    if (matching->Other(0, item) < 0)
      say(0, item);
    else
      members[0].push_back({item, 0});
  for (const int item : second)
    if (const int other = matching->Other(1, item); other < 0)
      say(1, item);
    else
      members[1].push_back({other, 0});
  findOnly(members[0], members[1], [&](int side, const Member& member) {
    say(side, side == 0 ? member.item : matching->Other(0, member.item));
  });
  if (counts[0] + counts[1] > 0)
    return SayOnly(path, "members", only, counts);
  if (ascends(first) && ascends(second))
    return; // in the order of the items, which is no order of the set's own
  const auto place = static_cast<std::size_t>(
      std::mismatch(members[0].begin(), members[0].end(), members[1].begin()).first - members[0].begin());
  const std::string mine = matching->Name(0, first[place]), its = matching->Name(1, second[place]);
  m_files.Report().Differ(path, "order", {{"place", place}, {"a", mine}, {"b", its}},
                          {"the same members in another order, first at place " + std::to_string(place) +
                           ": " + mine + " against " + its});
}

void diff_Mesh::CompareSurface(const std::string& path, ORXSimDistributionID a, ORXSimDistributionID b) {
  const ORXSimDistributionID ids[2] = {a, b};
  std::vector<Member> sides[2];
  bool ascending = true;
  const diff_Matching* matching = nullptr;
  std::vector<std::string> only[2];
  std::size_t counts[2] = {0, 0};
  for (const int side : {0, 1}) {
    int drawer = 0;
    for (const ORXSimPersistentDrawerDesc& desc : m_files.Drawers(ids[side])) {
      matching = side == 0 ? m_files.Matching(desc.CSet().Collection(), m_mesh[1].elements())
                           : m_files.Matching(m_mesh[0].elements(), desc.CSet().Collection());
      if (matching == nullptr || desc.Type() != ORXSimItemType::kInt32 || desc.Components() != 1)
        return diff_Field(m_files, path, "", a, b, {}, [](auto&&...) {}).Compare(); // no sides of elements
      std::vector<int> numbers;
      const std::vector<int> items = m_files.Members(desc.CSet());
      diff_Reader(ids[side], drawer++).Read(0, items.size(), numbers, m_files.Progress());
      ascending = ascending && ascends(items);
      for (std::size_t i = 0; i < items.size(); ++i) {
        const int other = matching->Other(side, items[i]);
        if (other >= 0)
          sides[side].push_back({side == 0 ? items[i] : other, numbers[i]});
        else if (counts[side]++ < kShown)
          only[side].push_back(matching->Name(side, items[i]) + "/" + std::to_string(numbers[i]));
      }
    }
  }
  ++m_files.Report().counts.sets;
  for (const char* part : {"name", "unit"}) {
    const auto text = [&](ORXSimDistributionID id) {
      return std::string(part[0] == 'n' ? ORXSimDistributionRef(id).Name().CStr()
                                        : ORXSimDistributionRef(id).Unit().CStr());
    };
    if (text(a) != text(b))
      m_files.Report().Differ(path, part, {{"a", text(a)}, {"b", text(b)}},
                              {std::string(part) + " is '" + text(a) + "' against '" + text(b) + "'"});
  }
  if (sides[0] == sides[1] && counts[0] + counts[1] == 0)
    return;
  findOnly(sides[0], sides[1], [&](int side, const Member& member) {
    if (counts[side]++ < kShown)
      only[side].push_back(matching->Name(0, member.item) + "/" + std::to_string(member.side));
  });
  if (counts[0] + counts[1] > 0)
    return SayOnly(path, "sides (element/side)", only, counts);
  if (ascending)
    return;
  const auto place = static_cast<std::size_t>(
      std::mismatch(sides[0].begin(), sides[0].end(), sides[1].begin()).first - sides[0].begin());
  m_files.Report().Differ(path, "order", {{"place", place}},
                          {"the same sides in another order, first at place " + std::to_string(place)});
}

void diff_Mesh::CompareConnectivity(const std::string& path, ORXSimDistributionID a, ORXSimDistributionID b) {
  const msfD_Mesh &first = m_mesh[0], &second = m_mesh[1];
  diff_Connectivity connectivity(m_files, path, a, b,
                                 {m_files.Matching(first.nodes(), second.nodes()),
                                  m_files.Matching(first.elements(), second.elements()),
                                  m_files.Matching(first.regions(), second.regions())});
  if (connectivity.IsOne())
    return connectivity.Compare();
  const diff_Steps constant{&m_frames, {}, 0, true};
  diff_Field(m_files, path, "connectivity", a, b, constant, [](auto&&...) {}).Compare();
}
