#include <pdmsim/diff/diff_Mesh.h>

#include <algorithm>
#include <set>

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
  const std::vector<ORXSimPersistentDrawerDesc> drawers[2] = {m_files.Drawers(a), m_files.Drawers(b)};
  const ORXSimCollectionID nodes[2] = {m_mesh[0].nodes(), m_mesh[1].nodes()};
  const diff_Matching* const matching =
      nodes[0].IsNull() || nodes[1].IsNull() ? nullptr : m_files.Matching(nodes[0], nodes[1]);
  bool integers = matching != nullptr;
  for (const auto& list : drawers)
    for (const ORXSimPersistentDrawerDesc& drawer : list)
      integers = integers && drawer.Type() == ORXSimItemType::kInt32;
  const diff_Steps none{&m_frames, {}, true};
  if (!integers)
    return diff_Field(m_files, path, "connectivity", a, b, none, [](auto&&...) {}).Compare();
  ++m_files.Report().counts.fields;
  std::vector<diff_Column> columns[2];
  for (const int side : {0, 1})
    for (const ORXSimPersistentDrawerDesc& drawer : drawers[side])
      columns[side].push_back({static_cast<int>(columns[side].size()), drawer.CSet(), "", {}});
  const diff_RowPlan plan = diff_PlanRows(m_files, columns[0], columns[1]);
  for (const int side : {0, 1})
    if (plan.only[side] > 0)
      m_files.Report().Differ(path, "rows", {{side == 0 ? "onlyInA" : "onlyInB", plan.only[side]}},
                              {std::to_string(plan.only[side]) + " elements, as " + plan.first[side] +
                               ", have nodes only in " + m_files.File(side).Path()});
  const diff_Matching* const elements = m_files.Matching(m_mesh[0].elements(), m_mesh[1].elements());
  const diff_Matching* const regions = m_mesh[0].regions().IsNull() || m_mesh[1].regions().IsNull()
                                           ? nullptr
                                           : m_files.Matching(m_mesh[0].regions(), m_mesh[1].regions());
  const bool byRegion = regions != nullptr && diff_Size(regions->Count(0)) == drawers[0].size() &&
                        diff_Size(regions->Count(1)) == drawers[1].size();
  std::size_t others = 0, moved = 0;
  std::vector<std::string> first[2];
  std::string firstMoved, element;
  const auto named = [&](const diff_Run& run, std::size_t row) {
    const int item = m_files.Members(drawers[0][run.a].CSet())[row];
    return "element " + (elements == nullptr ? std::to_string(item) : elements->Name(0, item));
  };
  for (const diff_Run& run : plan.runs) {
    const ORXSimPersistentDrawerDesc &mine = drawers[0][run.a], &its = drawers[1][run.b];
    const std::size_t rows = run.rows.empty() ? diff_Size(mine.Items()) : run.rows.size();
    if (rows == 0)
      continue;
    if (byRegion && regions->Other(0, static_cast<int>(run.a)) != static_cast<int>(run.b)) {
      if (moved == 0)
        firstMoved = named(run, run.rows.empty() ? 0 : diff_Size(run.rows[0]));
      moved += rows;
    }
    if (mine.LongName() != its.LongName())
      m_files.Report().Differ(path, "type",
                              {{"a", mine.LongName().CStr()},
                               {"b", its.LongName().CStr()},
                               {"elements", rows},
                               {"drawer", run.a}},
                              {std::to_string(rows) + " elements of block " + std::to_string(run.a) +
                               " are of type '" + mine.LongName().CStr() + "' against '" +
                               its.LongName().CStr() + "'"});
    const diff_Reader readA(a, static_cast<int>(run.a)), readB(b, static_cast<int>(run.b));
    const std::size_t widths[2] = {readA.Width(), readB.Width()};
    const bool same = widths[0] == widths[1] && matching->Identity();
    diff_ForEachPiece<std::int32_t>(
        run, readA, readB, m_files.Progress(),
        [&](const std::int32_t* x, const std::int32_t* y, std::size_t count, const auto& rowOf) {
          m_files.Report().counts.values += count * widths[0];
          if (same && std::memcmp(x, y, count * widths[0] * sizeof *x) == 0)
            return;
          for (std::size_t i = 0; i < count; ++i, x += widths[0], y += widths[1]) {
            bool equal = true;
            for (std::size_t k = 0; equal && k < std::max(widths[0], widths[1]); ++k) {
              const int node = k < widths[0] ? x[k] : -1, other = k < widths[1] ? y[k] : -1;
              equal = node < 0 || other < 0 ? node == other : matching->Other(0, node) == other;
            }
            if (equal || others++ > 0)
              continue;
            element = named(run, rowOf(i));
            for (std::size_t k = 0; k < widths[0]; ++k)
              first[0].push_back(x[k] < 0 ? "-" : matching->Name(0, x[k]));
            for (std::size_t k = 0; k < widths[1]; ++k)
              first[1].push_back(y[k] < 0 ? "-" : matching->Name(1, y[k]));
          }
        });
  }
  if (others > 0)
    m_files.Report().Differ(path, "",
                            {{"elements", others}, {"first", element}, {"a", first[0]}, {"b", first[1]}},
                            {std::to_string(others) + " elements have other nodes",
                             "first: " + element + ": " + listed(first[0], first[0].size()) + " against " +
                                 listed(first[1], first[1].size())});
  if (moved > 0)
    m_files.Report().Differ(path, "block", {{"elements", moved}, {"first", firstMoved}},
                            {std::to_string(moved) + " elements are in another block, as " + firstMoved});
}
