#include <pdmsim/diff/diff_Rows.h>

#include <algorithm>
#include <numeric>

namespace {

/// One row of a step.
struct Row {
  int group, item, side; // as the first file numbers items
  int column, row;
  auto Key() const { return std::tie(group, item, side); }
};

/// The rows of one file in the order of what they are for.
std::vector<Row> rowsOf(diff_Files& files, int side, const std::vector<diff_Column>& columns,
                        const diff_Matching& matching, const std::vector<std::string>& groups) {
  std::vector<Row> rows;
  for (std::size_t column = 0; column < columns.size(); ++column) {
    const auto group = std::find(groups.begin(), groups.end(), columns[column].group) - groups.begin();
    const std::vector<int> members = files.Members(columns[column].set);
    for (std::size_t row = 0; row < members.size(); ++row) {
      const int item = side == 0 ? members[row] : matching.Other(1, members[row]);
      if (item < 0 || (side == 0 && matching.Other(0, item) < 0))
        continue; // the item itself is in one file only, which is said once, where the items are
      rows.push_back({static_cast<int>(group), item,
                      row < columns[column].sides.size() ? columns[column].sides[row] : 0,
                      static_cast<int>(column), static_cast<int>(row)});
    }
  }
  const auto less = [](const Row& x, const Row& y) { return x.Key() < y.Key(); };
  if (!std::is_sorted(rows.begin(), rows.end(), less))
    std::stable_sort(rows.begin(), rows.end(), less);
  return rows;
}

void addRuns(const std::vector<std::pair<Row, Row>>& pairs, diff_RowPlan& plan) {
  for (std::size_t at = 0; at < pairs.size();) {
    diff_Run run{diff_Size(pairs[at].first.column), diff_Size(pairs[at].second.column), {}, {}};
    for (; at < pairs.size() && diff_Size(pairs[at].first.column) == run.a &&
           diff_Size(pairs[at].second.column) == run.b;
         ++at) {
      run.rows.push_back(pairs[at].first.row);
      run.other.push_back(pairs[at].second.row);
    }
    plan.runs.push_back(std::move(run));
  }
}

bool alike(diff_Files& files, const std::vector<diff_Column>& a, const std::vector<diff_Column>& b) {
  bool same = a.size() == b.size();
  for (std::size_t i = 0; same && i < a.size(); ++i)
    same = a[i].group == b[i].group && a[i].sides == b[i].sides && files.SameRows(a[i].set, b[i].set);
  return same;
}

std::vector<ORXSimCSetID> setsOf(const std::vector<diff_Column>& columns) {
  std::vector<ORXSimCSetID> sets;
  for (const diff_Column& column : columns)
    sets.push_back(column.set);
  return sets;
}

/// The whole of both collections, in one drawer each.
diff_Run wholeRun(const diff_Matching& matching) {
  diff_Run run;
  for (int item = 0; item < matching.Count(0); ++item)
    if (const int other = matching.Other(0, item); other >= 0) {
      run.rows.push_back(item);
      run.other.push_back(other);
    }
  return run;
}

diff_RowPlan makePlan(diff_Files& files, const std::vector<diff_Column>& a,
                      const std::vector<diff_Column>& b) {
  diff_RowPlan plan;
  if (alike(files, a, b)) {
    for (std::size_t i = 0; i < a.size(); ++i)
      plan.runs.push_back({i, i, {}, {}});
    return plan;
  }
  if (a.empty() || b.empty())
    return plan;
  const diff_Matching* const matching = files.Matching(a[0].set.Collection(), b[0].set.Collection());
  const auto elsewhere = [](const std::vector<diff_Column>& columns) {
    return std::any_of(columns.begin(), columns.end(), [&](const diff_Column& one) {
      return one.set.CollectionMinor() != columns[0].set.CollectionMinor();
    });
  };
  plan.apart = matching == nullptr || elsewhere(a) || elsewhere(b);
  if (plan.apart)
    return plan;
  const auto whole = [](const std::vector<diff_Column>& columns) {
    return columns.size() == 1 && columns[0].set.Minor() == 0 && columns[0].sides.empty();
  };
  if (whole(a) && whole(b) && a[0].group == b[0].group) {
    plan.runs.push_back(wholeRun(*matching));
    if (plan.runs.back().rows.empty())
      plan.runs.clear();
    return plan;
  }
  std::vector<std::string> groups;
  for (const auto* columns : {&a, &b})
    for (const diff_Column& column : *columns)
      if (std::find(groups.begin(), groups.end(), column.group) == groups.end())
        groups.push_back(column.group);
  const std::vector<Row> first = rowsOf(files, 0, a, *matching, groups),
                         second = rowsOf(files, 1, b, *matching, groups);
  std::vector<std::pair<Row, Row>> pairs;
  const auto only = [&](int side, const Row& row) {
    if (plan.only[side]++ == 0)
      plan.first[side] = files.Word(a[0].set.Collection()) + " " + matching->Name(0, row.item);
  };
  std::size_t i = 0, k = 0;
  while (i < first.size() || k < second.size()) {
    if (k == second.size() || (i < first.size() && first[i].Key() < second[k].Key()))
      only(0, first[i++]);
    else if (i == first.size() || second[k].Key() < first[i].Key())
      only(1, second[k++]);
    else
      pairs.emplace_back(first[i++], second[k++]);
  }
  const auto place = [](const std::pair<Row, Row>& pair) {
    return std::tuple(pair.first.column, pair.second.column, pair.first.row);
  };
  std::sort(pairs.begin(), pairs.end(), [&](const auto& x, const auto& y) { return place(x) < place(y); });
  addRuns(pairs, plan);
  return plan;
}

} // namespace

std::shared_ptr<const diff_RowPlan> diff_PlanRows(diff_Files& files, const std::vector<diff_Column>& a,
                                                  const std::vector<diff_Column>& b) {
  const auto plain = [](const diff_Column& column) { return column.group.empty() && column.sides.empty(); };
  if (!std::all_of(a.begin(), a.end(), plain) || !std::all_of(b.begin(), b.end(), plain))
    return std::make_shared<const diff_RowPlan>(makePlan(files, a, b));
  diff_Files::Planned& last = files.LastPlan();
  std::vector<ORXSimCSetID> setsA = setsOf(a), setsB = setsOf(b);
  if (last.plan == nullptr || last.a != setsA || last.b != setsB)
    last = {std::move(setsA), std::move(setsB), std::make_shared<const diff_RowPlan>(makePlan(files, a, b))};
  return last.plan;
}

diff_Reader::diff_Reader(ORXSimDistributionID id, int drawer)
    : m_drawer(ORXSimDistributionRef(id).OpenDrawer(drawer)) {
  if (!m_drawer)
    diff_FailToRead();
}

std::size_t diff_Reader::Piece() const {
  const std::size_t size = Width() * diff_Size(ORXSimItemSize(Type())),
                    block = diff_Size(m_drawer.BlockRows());
  return std::max<std::size_t>(1, (std::size_t{2} << 20) / (size * block)) * block;
}

template <class Stored, class T>
void diff_Reader::Convert(std::size_t first, std::size_t count, std::vector<T>& out) const {
  std::vector<Stored> values(std::is_same_v<Stored, T> ? 0 : count * Width());
  out.resize(count * Width());
  void* target = out.data();
  if constexpr (!std::is_same_v<Stored, T>)
    target = values.data();
  if (!m_drawer.Read(static_cast<int>(first), static_cast<int>(count), target,
                     static_cast<std::int64_t>(count * Width() * sizeof(Stored))))
    diff_FailToRead();
  if constexpr (!std::is_same_v<Stored, T>)
    std::transform(values.begin(), values.end(), out.begin(),
                   [](Stored value) { return static_cast<T>(value); });
}

template <class T>
void diff_Reader::Read(std::size_t first, std::size_t count, std::vector<T>& out,
                       cli_Progress& progress) const {
  switch (Type()) {
  case ORXSimItemType::kInt32:
    Convert<std::int32_t>(first, count, out);
    break;
  case ORXSimItemType::kInt64:
    Convert<std::int64_t>(first, count, out);
    break;
  case ORXSimItemType::kFloat:
    Convert<float>(first, count, out);
    break;
  case ORXSimItemType::kDouble:
    Convert<double>(first, count, out);
  }
  progress.Advance(static_cast<double>(count * Width() * diff_Size(ORXSimItemSize(Type()))));
}

template void diff_Reader::Read(std::size_t, std::size_t, std::vector<std::int32_t>&, cli_Progress&) const;
template void diff_Reader::Read(std::size_t, std::size_t, std::vector<std::int64_t>&, cli_Progress&) const;
template void diff_Reader::Read(std::size_t, std::size_t, std::vector<float>&, cli_Progress&) const;
template void diff_Reader::Read(std::size_t, std::size_t, std::vector<double>&, cli_Progress&) const;
