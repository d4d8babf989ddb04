#include <pdmsim/mesh/mesh_Error.h>
#include <pdmsim/mesh/mesh_VtkCells.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace {

// More sets than anybody looks at; numbers that are no kinds of something end here.
constexpr std::size_t kMostValues = 10000;

class Groups {
 public:
  Groups(mesh_Raw& raw, std::string name) : m_raw(raw), m_name(std::move(name)) {}

  /// The group of a value, which is made where there is none yet; -1 for no value.
  int Of(int dimension, double value) {
    if (std::isnan(value))
      return -1;
    if (std::trunc(value) != value || std::abs(value) > 1e15)
      throw mesh_Error(m_raw.path,
                       "expected integers in the array " + m_name + ", found " + std::to_string(value));
    const auto key = std::pair(dimension, static_cast<long long>(value));
    const auto found = m_groups.find(key);
    if (found != m_groups.end())
      return found->second;
    if (m_groups.size() == kMostValues)
      throw mesh_Error(m_raw.path, "expected at most " + std::to_string(kMostValues) +
                                       " different values in the array " + m_name + ", found more");
    mesh_RawGroup group;
    group.dimension = dimension;
    group.name = m_name + "_" + std::to_string(key.second);
    m_raw.groups.push_back(std::move(group));
    return m_groups[key] = static_cast<int>(m_raw.groups.size()) - 1;
  }

 private:
  mesh_Raw& m_raw;
  std::string m_name;
  std::map<std::pair<int, long long>, int> m_groups; // of dimension and value
};

std::vector<double> valuesOf(const mesh_Raw& raw, const mesh_RawField& field, std::size_t rows) {
  if (field.components != 1)
    throw mesh_Error(raw.path, "expected one integer a row in the array " + field.name + ", found " +
                                   std::to_string(field.components));
  std::vector<double> values = field.read(0);
  if (values.size() != rows)
    throw mesh_Error(raw.path, "expected " + std::to_string(rows) + " values of " + field.name + ", found " +
                                   std::to_string(values.size()));
  return values;
}

void groupNodes(mesh_Raw& raw, const mesh_RawField& field) {
  const std::vector<double> values = valuesOf(raw, field, raw.coordinates.size() / raw.dimension);
  Groups groups(raw, field.name);
  for (std::size_t node = 0; node < values.size(); ++node)
    if (const int group = groups.Of(-1, values[node]); group >= 0)
      raw.groups[static_cast<std::size_t>(group)].nodes.push_back(static_cast<int>(node));
}

/// Puts cells into one group more.
class Families {
 public:
  explicit Families(mesh_Raw& raw) : m_raw(raw) {
    for (mesh_RawCells& list : raw.cells)
      list.families.resize(CellsOf(list), -1);
  }
  static std::size_t CellsOf(const mesh_RawCells& list) {
    return list.nodes.size() / static_cast<std::size_t>(list.type->nodes);
  }
  void Add(int& family, int group) {
    const auto [found, isNew] =
        m_families.try_emplace({family, group}, static_cast<int>(m_raw.families.size()));
    if (isNew) {
      std::vector<int> members;
      if (family >= 0)
        members = m_raw.families[static_cast<std::size_t>(family)];
      members.push_back(group);
      m_raw.families.push_back(std::move(members));
    }
    family = found->second;
  }

 private:
  mesh_Raw& m_raw;
  std::map<std::pair<int, int>, int> m_families; // of the family before and the group
};

std::size_t cellsOf(const mesh_Raw& raw) {
  std::size_t cells = 0;
  for (const mesh_RawCells& list : raw.cells)
    cells += Families::CellsOf(list);
  return cells;
}

void groupCells(mesh_Raw& raw, const mesh_RawField& field) {
  const std::vector<double> values = valuesOf(raw, field, cellsOf(raw));
  Groups groups(raw, field.name);
  Families families(raw);
  auto next = values.begin();
  for (mesh_RawCells& list : raw.cells)
    for (int& family : list.families)
      if (const int group = groups.Of(list.type->dimension, *next++); group >= 0)
        families.Add(family, group);
}

} // namespace

void mesh_SetsFrom(mesh_Raw& raw, const std::string& name) {
  if (name.empty())
    return;
  const auto named = [&](const mesh_RawField& field) { return field.name == name; };
  const auto onNodes = std::find_if(raw.nodeFields.begin(), raw.nodeFields.end(), named);
  const auto onCells = std::find_if(raw.cellFields.begin(), raw.cellFields.end(), named);
  if (onNodes == raw.nodeFields.end() && onCells == raw.cellFields.end()) {
    std::string known;
    for (const auto* fields : {&raw.nodeFields, &raw.cellFields})
      for (const mesh_RawField& field : *fields)
        if (known.size() < 200)
          known += (known.empty() ? "" : ", ") + field.name;
    throw mesh_Error(raw.path, "expected an array " + name + " to make sets of, found " +
                                   (known.empty() ? "no array" : known));
  }
  if (onNodes != raw.nodeFields.end())
    groupNodes(raw, *onNodes);
  if (onCells != raw.cellFields.end())
    groupCells(raw, *onCells);
}

void mesh_AddCellSet(mesh_Raw& raw, const std::string& name, const std::vector<int>& members,
                     const std::vector<int>& order) {
  std::vector<bool> isMember(cellsOf(raw));
  for (const int member : members) {
    if (member < 0 || (order.empty() && static_cast<std::size_t>(member) >= isMember.size()))
      throw mesh_Error(raw.path, "expected cells in the set " + name + ", found " + std::to_string(member));
    if (static_cast<std::size_t>(member) >= isMember.size())
      isMember.resize(static_cast<std::size_t>(member) + 1);
    isMember[static_cast<std::size_t>(member)] = true;
  }
  std::map<int, int> groups; // of a dimension
  Families families(raw);
  std::size_t cell = 0;
  for (mesh_RawCells& list : raw.cells)
    for (int& family : list.families) {
      const std::size_t place = order.empty() ? cell : static_cast<std::size_t>(order[cell]);
      ++cell;
      if (place >= isMember.size() || !isMember[place])
        continue;
      const auto [group, isNew] =
          groups.try_emplace(list.type->dimension, static_cast<int>(raw.groups.size()));
      if (isNew)
        raw.groups.push_back({list.type->dimension, name, 0, {}});
      families.Add(family, group->second);
    }
}
