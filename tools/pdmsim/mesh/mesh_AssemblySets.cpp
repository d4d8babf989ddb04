#include <pdmsim/mesh/mesh_Assembly.h>

#include <pdmsim/mesh/mesh_Error.h>

#include <algorithm>
#include <climits>
#include <cmath>

// The second half of mesh_Assembly: sets, labels, fields.

void mesh_Assembly::AddSet(mesh_SetKind kind, const mesh_RawGroup& group, mesh_Assembled::Members members) {
  auto& sets = m_mesh->m_sets[static_cast<std::size_t>(kind)];
  if (members.items.size() > INT_MAX)
    Fail("expected at most 2147483647 members of the group " + group.name + ", found " +
         std::to_string(members.items.size()));
  // Groups of other dimensions may have the same number. Blocks are element sets, too.
  const auto has = [&](const auto& one) { return one.id == group.id; };
  const auto& blocks = m_mesh->m_blocks;
  const bool taken = group.id == 0 || std::any_of(sets.begin(), sets.end(), has) ||
                     (kind == mesh_SetKind::kElements && std::any_of(blocks.begin(), blocks.end(), has));
  sets.push_back({kind, static_cast<int>(sets.size()) + 1, taken ? ++m_lastId : group.id, group.name,
                  members.items.size(), 0});
  m_mesh->m_members[static_cast<std::size_t>(kind)].push_back(std::move(members));
}

void mesh_Assembly::MakeElementSets() {
  // Of each group that is neither a surface nor a block; members ascend.
  std::vector<mesh_Assembled::Members> members(m_raw.groups.size());
  const auto& cells = m_mesh->m_cells;
  for (const mesh_Block& block : m_mesh->m_blocks) {
    std::size_t list = 0;
    for (std::size_t element = block.firstElement; element < block.firstElement + block.elements; ++element) {
      const auto cell = static_cast<std::size_t>(cells[element]);
      while (cell >= m_starts[list + 1])
        ++list;
      const mesh_RawCells& of = m_raw.cells[list];
      if (of.families.empty() || of.families[cell - m_starts[list]] < 0)
        continue;
      for (const int group : m_raw.families[static_cast<std::size_t>(of.families[cell - m_starts[list]])]) {
        const auto g = static_cast<std::size_t>(group);
        const int dimension = m_raw.groups[g].dimension;
        if ((dimension == of.type->dimension || dimension == mesh_kAnyDimension) && !m_isSurface[g] &&
            !m_isBlock[g] &&
            (members[g].items.empty() || members[g].items.back() != static_cast<int>(element)))
          members[g].items.push_back(static_cast<int>(element));
      }
    }
  }
  for (std::size_t g = 0; g < members.size(); ++g)
    if (m_raw.groups[g].dimension >= 0 && !m_isSurface[g] && !m_isBlock[g])
      AddSet(mesh_SetKind::kElements, m_raw.groups[g], std::move(members[g]));
}

void mesh_Assembly::MakeSideSets() {
  if (m_surfaces.empty())
    return;
  m_elementOf.assign(m_starts.back(), -1);
  for (std::size_t element = 0; element < m_mesh->m_cells.size(); ++element)
    m_elementOf[static_cast<std::size_t>(m_mesh->m_cells[element])] = static_cast<int>(element);
  for (Surface& surface : m_surfaces) {
    mesh_Assembled::Members members;
    members.items.reserve(surface.sides.size());
    members.sides.reserve(surface.sides.size());
    for (const mesh_SideOf& side : surface.sides) {
      members.items.push_back(m_elementOf[static_cast<std::size_t>(side.cell)]);
      members.sides.push_back(side.side);
    }
    AddSet(mesh_SetKind::kSides, m_raw.groups[static_cast<std::size_t>(surface.group)], std::move(members));
    surface.sides = {};
  }
  m_elementOf = {};
}

void mesh_Assembly::MakeNodeSets() {
  for (mesh_RawGroup& group : m_raw.groups) {
    if (group.dimension >= 0)
      continue;
    for (const int node : group.nodes)
      if (node < 0 || static_cast<std::size_t>(node) >= m_mesh->m_nodes)
        Fail("expected the group " + group.name + " to have nodes in 1.." + std::to_string(m_mesh->m_nodes) +
             ", found " + std::to_string(node + 1LL));
    AddSet(mesh_SetKind::kNodes, group, {std::move(group.nodes), {}});
  }
}

void mesh_Assembly::MakeLabels() {
  const bool any = std::any_of(m_raw.cells.begin(), m_raw.cells.end(),
                               [](const mesh_RawCells& cells) { return !cells.labels.empty(); });
  if (!any)
    return;
  m_mesh->m_elementNumbers.resize(m_mesh->m_elements);
  for (const mesh_Block& block : m_mesh->m_blocks) {
    std::size_t list = 0;
    for (std::size_t element = block.firstElement; element < block.firstElement + block.elements; ++element) {
      const auto cell = static_cast<std::size_t>(m_mesh->m_cells[element]);
      while (cell >= m_starts[list + 1])
        ++list;
      const auto& labels = m_raw.cells[list].labels;
      m_mesh->m_elementNumbers[element] =
          labels.empty() ? static_cast<long long>(cell) + 1 : labels[cell - m_starts[list]];
    }
  }
  for (mesh_RawCells& cells : m_raw.cells)
    cells.labels = {};
}

mesh_Variables mesh_Assembly::Variables(mesh_Place place, const std::vector<mesh_RawField>& fields,
                                        std::vector<std::size_t> sizes) const {
  mesh_Variables variables;
  variables.place = place;
  for (const mesh_RawField& field : fields) {
    variables.names.push_back(field.name);
    variables.components.push_back(field.components);
    variables.units.push_back(field.unit);
    variables.constant.push_back(m_raw.times.empty());
  }
  for (const std::size_t size : sizes)
    variables.present.emplace_back(fields.size(), size > 0);
  variables.entitySizes = std::move(sizes);
  return variables;
}

void mesh_Assembly::MakeVariables() {
  std::vector<std::size_t> blocks;
  for (const mesh_Block& block : m_mesh->m_blocks)
    blocks.push_back(block.elements);
  m_mesh->m_variables[static_cast<std::size_t>(mesh_Place::kGlobal)].present.resize(1);
  m_mesh->m_variables[static_cast<std::size_t>(mesh_Place::kNodes)] =
      Variables(mesh_Place::kNodes, m_raw.nodeFields, {m_mesh->m_nodes});
  m_mesh->m_variables[static_cast<std::size_t>(mesh_Place::kBlocks)] =
      Variables(mesh_Place::kBlocks, m_raw.cellFields, std::move(blocks));
  if (m_mesh->m_cells.size() == m_starts.back())
    return;
  std::string lost;
  for (const mesh_RawField& field : m_raw.cellFields) {
    bool has = false;
    for (std::size_t step = 0; step < std::max<std::size_t>(1, m_raw.times.size()) && !has; ++step) {
      const std::vector<double> values = field.read(step);
      for (std::size_t i = 0; i < values.size() && !has; ++i)
        has = m_leftOut[i / field.components] && !std::isnan(values[i]);
    }
    if (has)
      lost += (lost.empty() ? "" : ", ") + field.name;
  }
  if (!lost.empty())
    m_mesh->m_notes.push_back("values of " + lost + " on what became sides" +
                              (m_raw.pointsAreNodes ? " or nodes of sets" : ""));
}

std::unique_ptr<mesh_Source> mesh_Assemble(mesh_Raw raw) {
  return mesh_Assembly(std::move(raw)).Make();
}
