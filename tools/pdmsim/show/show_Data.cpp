#include <pdmsim/show/show_Data.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Input.h>
#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/show/show_Names.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

[[noreturn]] void FailToRead() {
  throw cli_Failure(cli_Exit::kUnusable, cli_LastError());
}

template <class T>
struct Range {
  T least{}, greatest{};
  std::int64_t numbers = 0, nans = 0;

  void Add(T value) {
    if constexpr (std::is_floating_point_v<T>)
      if (std::isnan(value)) {
        ++nans;
        return;
      }
    least = numbers == 0 ? value : std::min(least, value);
    greatest = numbers == 0 ? value : std::max(greatest, value);
    ++numbers;
  }
  show_Json Json() const {
    show_Json json{{"min", nullptr}, {"max", nullptr}};
    if (numbers > 0)
      json = {{"min", least}, {"max", greatest}};
    if (nans > 0)
      json["nan"] = nans;
    return json;
  }
};

/// The members of a set that go with the first rows; empty when that would mean to read a great set.
std::vector<int> FirstMembers(ORXSimCSetID id, int count) {
  constexpr int kGreatSet = 1 << 22;
  const ORXSimCSet set(id);
  const int size = set.Size();
  count = std::min(count, size);
  std::vector<int> members;
  if (id.Minor() == 0) {
    for (int i = 0; i < count; ++i)
      members.push_back(i);
  } else if (size <= kGreatSet && count > 0) {
    members.resize(static_cast<std::size_t>(size));
    if (!set.OrderedMembers(members.data(), size))
      FailToRead();
    members.resize(static_cast<std::size_t>(count));
  }
  return members;
}

/// The first members with what people know them by.
show_Json Items(ORXSimCSetID set, int count) {
  const show_Names& names = show_NamesInUse::Get();
  const std::vector<int> items = FirstMembers(set, count);
  show_Json head{{"items", items}};
  if (const auto labels = names.Labels(set.Collection(), items); !labels.empty())
    head["labels"] = labels;
  if (!names.IsFrames(set.Collection()) || names.Times().empty())
    return head;
  show_Json times = show_Json::array();
  for (const int item : items)
    if (item >= 0 && static_cast<std::size_t>(item) < names.Times().size())
      times.push_back(names.Times()[static_cast<std::size_t>(item)]);
  head["times"] = std::move(times);
  return head;
}

template <class T>
class Sweep {
 public:
  Sweep(ORXSimDistributionID id, int drawer)
      : m_distribution(id), m_drawer(drawer), m_description(m_distribution.Drawer(drawer)),
        m_width(static_cast<std::size_t>(std::max(1, m_description.Components()))) {}

  show_Json Ranges(cli_Progress& progress) {
    std::vector<Range<T>> ranges(m_width);
    const int rows = m_description.Items();
    const int step =
        static_cast<int>(std::max<std::size_t>(1, (std::size_t{2} << 20) / (sizeof(T) * m_width)));
    for (int first = 0; first < rows; first += std::min(step, rows - first)) {
      Read(first, std::min(step, rows - first));
      for (std::size_t i = 0; i < m_values.size(); i += m_width)
        for (std::size_t k = 0; k < m_width; ++k)
          ranges[k].Add(m_values[i + k]);
      progress.Advance(static_cast<double>(sizeof(T) * m_values.size()));
    }
    show_Json json = show_Json::array();
    for (const Range<T>& range : ranges)
      json.push_back(range.Json());
    return json;
  }

  show_Json Head(int count) {
    show_Json rows = show_Json::array();
    count = std::min(count, m_description.Items());
    if (count > 0)
      Read(0, count);
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i)
      rows.push_back(std::vector<T>(m_values.begin() + static_cast<std::ptrdiff_t>(i * m_width),
                                    m_values.begin() + static_cast<std::ptrdiff_t>((i + 1) * m_width)));
    show_Json head = Items(m_description.CSet(), count);
    head["rows"] = std::move(rows);
    return head;
  }

 private:
  void Read(int first, int count) {
    m_values.resize(static_cast<std::size_t>(count) * m_width);
    if (!m_distribution.ReadItems(m_drawer, first, count, m_values.data(),
                                  static_cast<std::int64_t>(sizeof(T) * m_values.size())))
      FailToRead();
  }

  ORXSimDistributionRef m_distribution;
  int m_drawer;
  ORXSimPersistentDrawerDesc m_description;
  std::size_t m_width;
  std::vector<T> m_values;
};

template <class F>
show_Json WithType(ORXSimItemType type, F&& f) {
  switch (type) {
  case ORXSimItemType::kInt32:
    return f(std::int32_t());
  case ORXSimItemType::kInt64:
    return f(std::int64_t());
  case ORXSimItemType::kFloat:
    return f(float());
  case ORXSimItemType::kDouble:
    break;
  }
  return f(double());
}

} // namespace

namespace {

/// The drawers that were chosen, [first, second).
std::pair<int, int> Chosen(const std::string& what, ORXSimDistributionID id, int drawers,
                           const show_Choice& choice) {
  const auto refuse = [&](const char* kind, int end, int found) {
    throw cli_Failure(cli_Exit::kNotThere, what + ": expected a " + kind + " in 0.." +
                                               std::to_string(end - 1) + ", found " + std::to_string(found));
  };
  if (choice.drawer) {
    if (*choice.drawer < 0 || *choice.drawer >= drawers)
      refuse("drawer", drawers, *choice.drawer);
    return {*choice.drawer, *choice.drawer + 1};
  }
  if (!choice.step)
    return {0, choice.most > 0 ? std::min(drawers, choice.most) : drawers};
  const show_Names& names = show_NamesInUse::Get();
  const auto steps = static_cast<int>(names.Times().size());
  if (steps == 0)
    throw cli_Failure(cli_Exit::kNotThere, what + ": expected a file with steps for --step, found none");
  if (!names.Step(id, 0, drawers))
    throw cli_Failure(cli_Exit::kNotThere, what + ": expected drawers for each of the " +
                                               std::to_string(steps) + " steps, found " +
                                               std::to_string(drawers) +
                                               " that are of no step; --drawer takes one of them");
  if (*choice.step < 0 || *choice.step >= steps)
    refuse("step", steps, *choice.step);
  const int each = drawers / steps;
  return {*choice.step * each, (*choice.step + 1) * each};
}

show_Json Describe(ORXSimDistributionID id, int number, int drawers, cli_Progress& progress) {
  const ORXSimPersistentDrawerDesc desc = ORXSimDistributionRef(id).Drawer(number);
  if (desc.Components() < 1 || desc.CSet().IsNull())
    FailToRead();
  show_Json one{{"drawer", number}};
  if (const auto step = show_NamesInUse::Get().Step(id, number, drawers); step && drawers > 1) {
    one["step"] = *step;
    one["time"] = show_NamesInUse::Get().Times()[static_cast<std::size_t>(*step)];
  }
  one.update(show_Drawer(desc));
  one["range"] = WithType(desc.Type(), [&]<class T>(T) { return Sweep<T>(id, number).Ranges(progress); });
  return one;
}

} // namespace

void show_FieldData(const std::string& what, ORXSimDistributionID id, const show_Choice& choice,
                    show_Json& description) {
  const ORXSimDistributionRef distribution(id);
  const int drawers = distribution.NumDrawers();
  const auto [first, end] = Chosen(what, id, drawers, choice);
  cli_Progress progress("reading " + what, true);
  if (first < end) // as if all were as the first
    progress.Total(static_cast<double>(distribution.Drawer(first).Bytes()) * (end - first));
  show_Json list = show_Json::array();
  for (int i = first; i < end; ++i) {
    show_Json one = Describe(id, i, drawers, progress);
    if (i == first || choice.drawer || choice.step)
      one["head"] = WithType(distribution.Drawer(i).Type(),
                             [&]<class T>(T) { return Sweep<T>(id, i).Head(choice.head); });
    if (i == first) {
      description["head"] = {{"drawer", i}};
      description["head"].update(one["head"]);
    }
    list.push_back(std::move(one));
  }
  description.erase("first");
  description["drawers"] = std::move(list);
  description["count"] = drawers;
}

void show_SetData(ORXSimCSetID id, int head, show_Json& description) {
  description["head"] = Items(id, head);
}
