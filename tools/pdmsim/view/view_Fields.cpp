#include <pdmsim/view/view_Fields.h>

#include <algorithm>
#include <limits>
#include <numeric>

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kMostRuns = 1000; // to be mapped: HDF5 takes time with their square
constexpr const char* kGroups[] = {"PointData/", "CellData/"};

std::vector<int> readSet(const sto_Mesh& mesh, const mesh_Set& set) {
  std::vector<int> items(set.size);
  if (!items.empty())
    mesh.ReadSet(set, 0, items.size(), items.data());
  return items;
}

/// How many runs of items follow each other.
std::size_t runsOf(const std::vector<int>& items) {
  std::size_t runs = items.empty() ? 0 : 1;
  for (std::size_t i = 1; i < items.size(); ++i)
    runs += items[i] == items[i - 1] + 1 ? 0 : 1;
  return runs;
}

bool isReal(const sto_Mesh::Rows& rows) {
  const auto type = ORXSimDistributionRef(rows.distribution).Drawer(rows.drawer).Type();
  return type == ORXSimItemType::kFloat || type == ORXSimItemType::kDouble;
}

} // namespace

std::string view_NameOnSet(const std::string& field, const mesh_Set& set) {
  return field + " (" + set.name + ")";
}

std::string view_Fields::Take(On on, const std::string& name) {
  return kGroups[on] + m_names[on].Take(name);
}

std::vector<std::size_t> view_Fields::Shown(bool constant) const {
  if (m_step || constant || m_mesh.Times().empty())
    return {constant ? 0 : m_step.value_or(0)};
  std::vector<std::size_t> all(m_mesh.Times().size());
  std::iota(all.begin(), all.end(), 0);
  return all;
}

template <class PartsOf>
void view_Fields::Steps(On on, const std::string& name, std::size_t width, bool constant, PartsOf partsOf) {
  std::vector<view_Part> parts;
  const std::vector<std::size_t> steps = Shown(constant);
  for (std::size_t k = 0; k < steps.size(); ++k)
    for (view_Part& part : partsOf(steps[k])) {
      part.target += k * Items(on);
      parts.push_back(std::move(part));
    }
  hdf_ViewShape shape{hdf_Datatype::kDouble, steps.size() * Items(on), width};
  shape.fill = !parts.empty() && isReal(parts.front().rows) ? kNone : -1;
  if (on == kPoints && steps.size() == 1 && width == 3 && constant)
    shape.fill = 0; // the missing component of a vector in the plane
  const std::string path = Take(on, name);
  m_output.Rows(path, shape, parts, constant);
  m_arrays.push_back({path, steps.size() == 1});
  m_output.Shows((on == kPoints ? "nodeFields/" : "elementFields/") + name, {});
}

void view_Fields::Constant(On on, const std::string& name, ORXSimDistributionID field) {
  Steps(on, name, 1, true, [&](std::size_t) {
    std::vector<view_Part> parts;
    if (on == kCells)
      parts.push_back({m_mesh.ElementRows(field).front(), 0});
    else
      parts.push_back({{field, 0, 0, m_mesh.Nodes(), {}}, 0});
    return parts;
  });
}

void view_Fields::WriteLabels() {
  if (!m_mesh.NodeNumberField().IsNull())
    Constant(kPoints, "label", m_mesh.NodeNumberField());
  if (!m_mesh.ElementNumberField().IsNull())
    Constant(kCells, "label", m_mesh.ElementNumberField());
  for (std::size_t i = 0; i < m_mesh.NodeMaps().size(); ++i)
    Constant(kPoints, m_mesh.NodeMaps()[i].name, m_mesh.NodeMapField(i));
  for (std::size_t i = 0; i < m_mesh.ElementMaps().size(); ++i)
    Constant(kCells, m_mesh.ElementMaps()[i].name, m_mesh.ElementMapField(i));
}

void view_Fields::WriteSets() {
  for (const mesh_SetKind kind : {mesh_SetKind::kNodes, mesh_SetKind::kElements, mesh_SetKind::kSides})
    for (const mesh_Set& set : m_mesh.Sets(kind))
      WriteMask(set);
}

void view_Fields::WriteMask(const mesh_Set& set) {
  const On on = set.kind == mesh_SetKind::kNodes ? kPoints : kCells;
  std::vector<std::uint8_t> mask(Items(on));
  for (const int item : readSet(m_mesh, set))
    if (item >= 0 && static_cast<std::size_t>(item) < mask.size())
      mask[static_cast<std::size_t>(item)] = 1;
  const std::string path = Take(on, set.name);
  m_output.Values(path, {hdf_Datatype::kUChar, mask.size()}, mask);
  constexpr const char* kMaps[] = {"nodeSets/", "elementSets/", "surfaces/"};
  m_output.Shows(kMaps[static_cast<std::size_t>(set.kind)] + set.name, {});
  m_arrays.push_back({path, true});
}

void view_Fields::WriteResults() {
  for (const mesh_Place place : {mesh_Place::kNodes, mesh_Place::kBlocks}) {
    const mesh_Variables& variables = m_mesh.Variables(place);
    for (std::size_t i = 0; i < variables.names.size(); ++i)
      if (std::any_of(variables.present.begin(), variables.present.end(),
                      [i](const auto& present) { return present[i]; }))
        WriteVariable(variables, i);
  }
  for (const mesh_Place place : {mesh_Place::kNodeSets, mesh_Place::kElementSets}) {
    const mesh_Variables& variables = m_mesh.Variables(place);
    for (std::size_t i = 0; i < variables.names.size(); ++i)
      for (std::size_t entity = 0; entity < variables.present.size(); ++entity)
        if (variables.present[entity][i])
          WriteSetVariable(variables, i, entity);
  }
  for (const std::string& name : m_mesh.Variables(mesh_Place::kSideSets).names)
    m_notes.push_back("the field " + name + " on sides of elements is not shown");
  WriteGlobals();
}

void view_Fields::WriteVariable(const mesh_Variables& variables, std::size_t variable) {
  const On on = variables.place == mesh_Place::kNodes ? kPoints : kCells;
  Steps(on, variables.names[variable], variables.Components(variable), variables.Constant(variable),
        [&](std::size_t step) {
          std::vector<view_Part> parts;
          for (std::size_t entity = 0; entity < variables.present.size(); ++entity) {
            if (!variables.present[entity][variable])
              continue;
            std::size_t target = on == kCells ? m_mesh.Blocks()[entity].firstElement : 0;
            for (sto_Mesh::Rows& rows : m_mesh.RowsOf(variables.place, variable, entity, step)) {
              const std::size_t count = rows.count;
              parts.push_back({std::move(rows), target});
              target += count;
            }
          }
          return parts;
        });
  m_output.Shows((on == kPoints ? "nodeFields/" : "elementFields/") + variables.names[variable],
                 variables.Unit(variable));
}

/// A field on a set is an array of its own, since another set may have other values at the same items.
void view_Fields::WriteSetVariable(const mesh_Variables& variables, std::size_t variable,
                                   std::size_t entity) {
  const bool nodes = variables.place == mesh_Place::kNodeSets;
  const mesh_Set& set = m_mesh.Sets(nodes ? mesh_SetKind::kNodes : mesh_SetKind::kElements)[entity];
  const std::vector<int> items = readSet(m_mesh, set);
  const bool copied =
      !m_output.Maps() || runsOf(items) * Shown(variables.Constant(variable)).size() > kMostRuns;
  const std::string map = nodes ? "nodeFields/" : "elementFields/", name = variables.names[variable];
  Steps(nodes ? kPoints : kCells, view_NameOnSet(name, set), variables.Components(variable),
        variables.Constant(variable), [&](std::size_t step) {
          std::vector<view_Part> parts;
          if (copied) {
            for (sto_Mesh::Rows& rows : m_mesh.RowsOf(variables.place, variable, entity, step))
              parts.push_back({std::move(rows), 0, items});
            return parts;
          }
          std::size_t member = 0;
          for (const sto_Mesh::Rows& rows : m_mesh.RowsOf(variables.place, variable, entity, step))
            for (std::size_t i = 0; i < rows.count; ++i, ++member) {
              const auto item = static_cast<std::size_t>(items[member]);
              if (i > 0 && item == parts.back().target + parts.back().rows.count) {
                ++parts.back().rows.count;
                continue;
              }
              parts.push_back({{rows.distribution, rows.drawer, rows.first + i, 1, {}}, item});
            }
          return parts;
        });
  m_output.Shows(map + view_NameOnSet(name, set), variables.Unit(variable), map + name);
}

void view_Fields::FieldData(const std::string& name, hdf_Datatype::Kind type, std::size_t count,
                            const void* values) {
  const std::string path = "FieldData/" + m_fieldNames.Take(name);
  if (m_output.Begin(path, {type, count}, false))
    m_output.Write(path, 0, count, values, 8 * count);
  m_fieldData.emplace_back(path, count > 1);
}

void view_Fields::WriteGlobals() {
  const mesh_Variables& variables = m_mesh.Variables(mesh_Place::kGlobal);
  const std::vector<std::size_t> steps = Shown(false);
  const std::size_t names = m_mesh.Times().empty() ? 0 : variables.names.size();
  std::vector<double> values(steps.size() * names), one(names);
  for (std::size_t k = 0; k < steps.size() && names > 0; ++k) {
    m_mesh.Values(mesh_Place::kGlobal, 0, 0, steps[k])->Read(0, names, one.data());
    for (std::size_t i = 0; i < names; ++i)
      values[i * steps.size() + k] = one[i];
  }
  for (std::size_t i = 0; i < names; ++i)
    FieldData(variables.names[i], hdf_Datatype::kDouble, steps.size(), &values[i * steps.size()]);
}

void view_Fields::WriteIds() {
  for (const auto& [name, id] : mesh_Ids(m_mesh))
    FieldData(name, hdf_Datatype::kInt64, 1, &id);
}

void view_Fields::WriteModes(const sto_ModalSystem& system) {
  const std::size_t width = system.components == 1 ? 1 : 3;
  if (system.components > 3)
    m_notes.push_back("of the " + std::to_string(system.components) +
                      " components of the mode shapes the first three are shown");
  if (system.shapeCount < system.Modes())
    m_notes.push_back(std::to_string(system.Modes() - system.shapeCount) +
                      " modes without a shape are not shown");
  for (std::size_t mode = 0; mode < system.shapeCount; ++mode) {
    const sto_ModalSystem::Shape& place = system.shapePlaces[mode];
    if (place.rows.empty()) {
      Steps(kPoints, sto_ModeTitle(system, mode), width, true, [&](std::size_t) {
        return std::vector<view_Part>{{{system.shapes, place.drawer, 0, m_mesh.Nodes(), {}}, 0}};
      });
      m_output.Shows("modes/" + std::to_string(mode + 1), system.unit);
      continue;
    }
    const std::string path = Take(kPoints, sto_ModeTitle(system, mode));
    const std::vector<double> shape = sto_ModeShape(m_mesh.Path(), system, mode, 0, m_mesh.Nodes());
    std::vector<double> shown(m_mesh.Nodes() * width);
    const std::size_t kept = std::min(width, system.components);
    for (std::size_t i = 0; i < m_mesh.Nodes(); ++i)
      std::copy_n(&shape[i * system.components], kept, &shown[i * width]);
    m_output.Values(path, {hdf_Datatype::kDouble, m_mesh.Nodes(), width}, shown);
    m_output.Shows("modes/" + std::to_string(mode + 1), system.unit);
    m_arrays.push_back({path, true});
  }
}

void view_Fields::WriteSteps() {
  const std::vector<double>& times = m_mesh.Times();
  if (m_step) {
    const std::string path = std::string("FieldData/") + view_kTimeValue;
    if (m_output.Begin(path, {hdf_Datatype::kDouble, 1}, false))
      m_output.Write(path, 0, 1, &times[*m_step], sizeof(double));
    return;
  }
  if (times.empty())
    return;
  const std::size_t count = times.size();
  m_output.StepCount(count);
  m_output.Values("Steps/Values", {hdf_Datatype::kDouble, count}, times);
  const std::vector<std::int64_t> zeros(count), ones(count, 1);
  const hdf_ViewShape line{hdf_Datatype::kInt64, count}, table{hdf_Datatype::kInt64, count, 1, true};
  m_output.Values("Steps/PartOffsets", line, zeros);
  m_output.Values("Steps/NumberOfParts", line, ones);
  m_output.Values("Steps/PointOffsets", line, zeros);
  m_output.Values("Steps/CellOffsets", table, zeros);
  m_output.Values("Steps/ConnectivityIdOffsets", table, zeros);
  m_arrays.push_back({"CellData/block", true});
  for (const auto& [path, each] : m_fieldData) {
    std::vector<std::int64_t> offsets(count);
    if (each)
      std::iota(offsets.begin(), offsets.end(), 0);
    m_output.Values("Steps/FieldDataOffsets" + path.substr(path.find('/')), line, offsets);
  }
  for (const Array& array : m_arrays) {
    const On on = array.path.starts_with("Point") ? kPoints : kCells;
    std::vector<std::int64_t> offsets(count);
    for (std::size_t k = 0; k < count && !array.constant; ++k)
      offsets[k] = static_cast<std::int64_t>(k * Items(on));
    const std::size_t slash = array.path.find('/');
    m_output.Values("Steps/" + array.path.substr(0, slash) + "Offsets" + array.path.substr(slash), line,
                    offsets);
  }
}
