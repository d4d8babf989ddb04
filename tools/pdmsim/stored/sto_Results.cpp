#include <pdmsim/stored/sto_Mesh.h>

#include <pdmsim/mesh/mesh_Error.h>
#include <pdmsim/stored/sto_Joined.h>
#include <pdmsim/stored/sto_Numbers.h>
#include <pdmsim/stored/sto_Steps.h>

#include <algorithm>

// The second half of sto_Mesh: times and fields.

namespace {

bool isInteger(ORXSimItemType type) {
  return type == ORXSimItemType::kInt32 || type == ORXSimItemType::kInt64;
}

mesh_SetKind setsOf(mesh_Place place) {
  return place == mesh_Place::kNodeSets      ? mesh_SetKind::kNodes
         : place == mesh_Place::kElementSets ? mesh_SetKind::kElements
                                             : mesh_SetKind::kSides;
}

} // namespace

void sto_Mesh::ReadTimes() {
  const ORXSimDistributionID id = m_mesh.frameFields().get("time");
  if (id.IsNull())
    return;
  m_times.resize(sto_Size(ORXSimDistributionRef(id).DataSizeItems(0)));
  sto_Numbers(m_path, id, 0, 0, m_times.size()).Read(0, m_times.size(), m_times.data());
}

void sto_Mesh::ReadFields() {
  for (std::size_t place = 0; place < mesh_kPlaces; ++place) {
    m_variables[place].place = static_cast<mesh_Place>(place);
    m_variables[place].entitySizes = EntitySizes(static_cast<mesh_Place>(place));
    m_variables[place].present.resize(m_variables[place].entitySizes.size());
  }
  const auto each = [&](const FieldMap& fields, const char* map, const std::vector<mesh_Place>& places) {
    fields.ForEach([&](const kda_string& key, ORXSimDistributionID id) {
      const std::string name = key.cStr();
      if (!id.IsNull() && (places.front() == mesh_Place::kGlobal ? name != "time" : sto_IsResult(map, name)))
        AddField(name, id, places);
    });
  };
  each(m_mesh.frameFields(), "frameFields", {mesh_Place::kGlobal});
  each(m_mesh.nodeFields(), "nodeFields", {mesh_Place::kNodes, mesh_Place::kNodeSets});
  each(m_mesh.elementFields(), "elementFields", {mesh_Place::kBlocks, mesh_Place::kElementSets});
  each(m_mesh.surfaceFields(), "surfaceFields", {mesh_Place::kSideSets});
}

std::vector<std::size_t> sto_Mesh::EntitySizes(mesh_Place place) const {
  std::vector<std::size_t> sizes;
  if (place == mesh_Place::kGlobal)
    sizes.push_back(1);
  else if (place == mesh_Place::kNodes)
    sizes.push_back(m_nodes);
  else if (place == mesh_Place::kBlocks)
    for (const mesh_Block& block : m_blocks)
      sizes.push_back(block.elements);
  else
    for (const mesh_Set& set : Sets(setsOf(place)))
      sizes.push_back(set.size);
  return sizes;
}

void sto_Mesh::AddField(const std::string& name, ORXSimDistributionID id,
                        const std::vector<mesh_Place>& places) {
  const auto drawers = Drawers(id);
  if (drawers.empty())
    return AddEmptyField(name, id, m_times.empty() ? places.front() : places.back());
  const ORXSimPersistentDrawerDesc& first = drawers.front();
  if (places.front() == mesh_Place::kGlobal) {
    mesh_Variables& variables = m_variables[static_cast<std::size_t>(mesh_Place::kGlobal)];
    if (drawers.size() != 1 || first.Components() != 1 || sto_Size(first.Items()) != m_times.size()) {
      m_notes.push_back("the frame field " + name);
      return;
    }
    variables.names.push_back(name);
    variables.components.push_back(1);
    variables.units.emplace_back(ORXSimDistributionRef(id).Unit().CStr());
    variables.constant.push_back(false);
    variables.present[0].push_back(true);
    m_fields[0].push_back({id, 1, {}});
    return;
  }
  // One integer for each node or element is a further numbering, and no result.
  const bool ofNodes = places.front() == mesh_Place::kNodes;
  const bool all = first.CSet().Minor() == 0;
  if (drawers.size() == 1 && first.Components() == 1 && all && isInteger(first.Type()) &&
      (ofNodes || places.front() == mesh_Place::kBlocks)) {
    (ofNodes ? m_nodeMaps : m_elementMaps)
        .push_back({name, static_cast<long long>((ofNodes ? m_nodeMaps : m_elementMaps).size()) + 1});
    (ofNodes ? m_nodeMapFields : m_elementMapFields).push_back(id);
    return;
  }
  bool constant = false;
  const int columns = Columns(drawers, constant);
  for (const mesh_Place place : places)
    if (columns > 0 && AddVariable(place, name, id, drawers, columns, constant))
      return;
  m_notes.push_back("the field " + name);
}

void sto_Mesh::AddEmptyField(const std::string& name, ORXSimDistributionID id, mesh_Place place) {
  mesh_Variables& variables = m_variables[static_cast<std::size_t>(place)];
  if (place == mesh_Place::kGlobal) {
    m_notes.push_back("the frame field " + name + ", which has no values");
    return;
  }
  variables.names.push_back(name);
  variables.components.push_back(1);
  variables.units.emplace_back(ORXSimDistributionRef(id).Unit().CStr());
  variables.constant.push_back(false);
  for (auto& present : variables.present)
    present.push_back(false);
  Field field{id, 0, {}};
  field.entities.resize(variables.present.size());
  m_fields[static_cast<std::size_t>(place)].push_back(std::move(field));
}

/// Drawers of one step, or all of them where they are no steps. 0 when their rows differ.
int sto_Mesh::Columns(const std::vector<ORXSimPersistentDrawerDesc>& drawers, bool& constant) const {
  const auto count = static_cast<int>(drawers.size()), steps = static_cast<int>(m_times.size());
  int columns = sto_DrawersOfStep(count, steps, steps, [&](int i) { return drawers[sto_Size(i)]; });
  constant = columns == 0;
  if (constant)
    columns = count;
  for (std::size_t i = sto_Size(columns); i < drawers.size(); ++i)
    if (drawers[i].Components() != drawers[i - sto_Size(columns)].Components())
      return 0;
  return columns;
}

bool sto_Mesh::AddVariable(mesh_Place place, const std::string& name, ORXSimDistributionID id,
                           const std::vector<ORXSimPersistentDrawerDesc>& drawers, int columns,
                           bool constant) {
  mesh_Variables& variables = m_variables[static_cast<std::size_t>(place)];
  Field field{id, columns, {}};
  field.entities.resize(variables.entitySizes.size());
  for (int column = 0; column < columns; ++column)
    if (drawers[sto_Size(column)].Components() != drawers[0].Components() ||
        !PlaceColumn(place, field, column, drawers[sto_Size(column)]))
      return false;
  for (std::size_t entity = 0; entity < field.entities.size(); ++entity) {
    std::size_t rows = 0;
    for (const Rows& part : field.entities[entity])
      rows += part.count;
    if (!field.entities[entity].empty() && rows != variables.entitySizes[entity])
      return false; // on a part of a set only
  }
  variables.names.push_back(name);
  variables.components.push_back(sto_Size(drawers[0].Components()));
  variables.units.emplace_back(ORXSimDistributionRef(id).Unit().CStr());
  if (variables.units.back().empty())
    variables.units.back() = drawers[0].Unit().CStr();
  variables.constant.push_back(constant);
  for (std::size_t entity = 0; entity < field.entities.size(); ++entity)
    variables.present[entity].push_back(!field.entities[entity].empty());
  m_fields[static_cast<std::size_t>(place)].push_back(std::move(field));
  return true;
}

bool sto_Mesh::IsSet(mesh_SetKind kind, const std::string& name) const {
  const auto& sets = Sets(kind);
  return !name.empty() &&
         std::any_of(sets.begin(), sets.end(), [&](const mesh_Set& set) { return set.name == name; });
}

bool sto_Mesh::PlaceColumn(mesh_Place place, Field& field, int column,
                           const ORXSimPersistentDrawerDesc& drawer) const {
  if (place == mesh_Place::kNodes) {
    if (column > 0 || drawer.CSet().Minor() != 0 || sto_Size(drawer.Items()) != m_nodes ||
        IsSet(mesh_SetKind::kNodes, drawer.LongName().CStr()))
      return false;
    field.entities[0].push_back({field.id, column, 0, m_nodes, {}});
    return true;
  }
  if (place == mesh_Place::kBlocks)
    return PlaceOnBlocks(field, column, drawer);
  const auto& sets = Sets(setsOf(place));
  for (std::size_t i = 0; i < sets.size(); ++i) {
    const auto& parts = m_storedSets[static_cast<std::size_t>(setsOf(place))][i].parts;
    const std::size_t part = field.entities[i].size();
    if (sets[i].name == drawer.LongName().CStr() && part < parts.size() &&
        parts[part].members == drawer.CSet()) {
      field.entities[i].push_back({field.id, column, 0, sto_Size(drawer.Items()), {}});
      return true;
    }
  }
  return false;
}

bool sto_Mesh::PlaceOnBlocks(Field& field, int column, const ORXSimPersistentDrawerDesc& drawer) const {
  if (IsSet(mesh_SetKind::kElements, drawer.LongName().CStr()))
    return false;
  for (std::size_t k = 0; k < m_blocks.size(); ++k)
    if (m_storedBlocks[k].members == drawer.CSet() && m_blocks[k].elements > 0) {
      if (!field.entities[k].empty())
        return false;
      field.entities[k].push_back({field.id, column, 0, m_blocks[k].elements, {}});
      return true;
    }
  // Over several blocks: where each element's row is.
  const std::vector<int> members = Members(drawer.CSet());
  std::vector<int> rows(m_elements, -1);
  for (std::size_t row = 0; row < members.size(); ++row) {
    const int element = m_places.empty() ? members[row] : m_places[sto_Size(members[row])];
    if (element >= 0 && sto_Size(element) < m_elements)
      rows[sto_Size(element)] = static_cast<int>(row);
  }
  for (std::size_t k = 0; k < m_blocks.size(); ++k) {
    const mesh_Block& block = m_blocks[k];
    const auto begin = rows.begin() + static_cast<std::ptrdiff_t>(block.firstElement);
    const auto end = begin + static_cast<std::ptrdiff_t>(block.elements);
    const auto had = std::count_if(begin, end, [](int row) { return row >= 0; });
    if (had == 0)
      continue;
    if (had != end - begin || !field.entities[k].empty())
      return false; // on a part of a block
    bool run = true;
    for (auto row = begin + 1; run && row < end; ++row)
      run = *row == row[-1] + 1;
    field.entities[k].push_back({field.id, column, sto_Size(*begin), block.elements,
                                 run ? std::vector<int>() : std::vector<int>(begin, end)});
  }
  return true;
}

std::vector<sto_Mesh::Rows> sto_Mesh::RowsOf(mesh_Place place, std::size_t variable, std::size_t entity,
                                             std::size_t step) const {
  const Field& field = m_fields[static_cast<std::size_t>(place)][variable];
  std::vector<Rows> parts = field.entities[entity];
  for (Rows& part : parts)
    part.drawer += field.columns * static_cast<int>(Variables(place).Constant(variable) ? 0 : step);
  return parts;
}

mesh_NumbersPtr sto_Mesh::Values(mesh_Place place, std::size_t variable, std::size_t entity,
                                 std::size_t step) const {
  std::vector<mesh_NumbersPtr> parts;
  if (place == mesh_Place::kGlobal) {
    for (const Field& field : m_fields[0])
      parts.push_back(std::make_unique<sto_Numbers>(m_path, field.id, 0, step, std::size_t{1}));
    return std::make_unique<sto_Joined>(std::move(parts));
  }
  for (Rows& rows : RowsOf(place, variable, entity, step))
    parts.push_back(
        rows.order.empty()
            ? std::make_unique<sto_Numbers>(m_path, rows.distribution, rows.drawer, rows.first, rows.count)
            : std::make_unique<sto_Numbers>(m_path, rows.distribution, rows.drawer, std::move(rows.order)));
  if (parts.size() == 1)
    return std::move(parts.front());
  return std::make_unique<sto_Joined>(std::move(parts));
}
