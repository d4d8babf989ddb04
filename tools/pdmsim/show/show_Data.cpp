#include <pdmsim/show/show_Data.h>

#include <pdmsim/cli/cli_Failure.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

[[noreturn]] void FailToRead() {
  throw cli_Failure(cli_Exit::kUnusable, ORXSimManager::LastError());
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

template <class T>
class Sweep {
 public:
  Sweep(ORXSimDistributionID id, int drawer)
      : m_distribution(id), m_drawer(drawer), m_description(m_distribution.Drawer(drawer)),
        m_width(static_cast<std::size_t>(std::max(1, m_description.Components()))) {}

  show_Json Ranges() {
    std::vector<Range<T>> ranges(m_width);
    const int rows = m_description.Items();
    const int step =
        static_cast<int>(std::max<std::size_t>(1, (std::size_t{2} << 20) / (sizeof(T) * m_width)));
    for (int first = 0; first < rows; first += std::min(step, rows - first)) {
      Read(first, std::min(step, rows - first));
      for (std::size_t i = 0; i < m_values.size(); i += m_width)
        for (std::size_t k = 0; k < m_width; ++k)
          ranges[k].Add(m_values[i + k]);
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
    return {{"drawer", m_drawer},
            {"items", FirstMembers(m_description.CSet(), count)},
            {"rows", std::move(rows)}};
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

void show_FieldData(ORXSimDistributionID id, int head, std::optional<int> drawer, show_Json& description) {
  const ORXSimDistributionRef distribution(id);
  const int drawers = distribution.NumDrawers();
  if (drawer && (*drawer < 0 || *drawer >= drawers))
    throw cli_Failure(cli_Exit::kNotThere, "expected a drawer in 0.." + std::to_string(drawers - 1) +
                                               ", found " + std::to_string(*drawer));
  const int first = drawer.value_or(0), end = drawer ? first + 1 : drawers;
  show_Json list = show_Json::array();
  for (int i = first; i < end; ++i) {
    const ORXSimPersistentDrawerDesc desc = distribution.Drawer(i);
    if (desc.Components() < 1 || desc.CSet().IsNull())
      FailToRead();
    show_Json one{{"drawer", i}};
    one.update(show_Drawer(desc));
    one["range"] = WithType(desc.Type(), [&]<class T>(T) { return Sweep<T>(id, i).Ranges(); });
    if (i == first)
      description["head"] = WithType(desc.Type(), [&]<class T>(T) { return Sweep<T>(id, i).Head(head); });
    list.push_back(std::move(one));
  }
  description.erase("first");
  description["drawers"] = std::move(list);
}

void show_SetData(ORXSimCSetID id, int head, show_Json& description) {
  description["head"] = {{"items", FirstMembers(id, head)}};
}
