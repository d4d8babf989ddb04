#include <pdmsim/import/exodus/exo_Reader.h>

#include <climits>
#include <cstring>
#include <strings.h>

namespace {

// More blocks, sets or variables than any mesh has; a damaged count ends here instead of in the allocator.
constexpr std::size_t kMostEntities = 1000000, kMostNameBytes = std::size_t{1} << 28,
                      kMostFlags = std::size_t{1} << 24, kMostSteps = 10000000;

std::string N(const char* name, std::size_t number) {
  return name + std::to_string(number);
}

} // namespace

const exo_SetNames& exo_NamesOf(mesh_SetKind kind) {
  static constexpr exo_SetNames names[] = {{"num_node_sets", "ns_prop1", "ns_names", "ns_status", "node_ns",
                                            "num_nod_ns", nullptr, "dist_fact_ns", "num_df_ns"},
                                           {"num_elem_sets", "els_prop1", "els_names", "els_status",
                                            "elem_els", "num_ele_els", nullptr, "dist_fact_els",
                                            "num_df_els"},
                                           {"num_side_sets", "ss_prop1", "ss_names", "ss_status", "elem_ss",
                                            "num_side_ss", "side_ss", "dist_fact_ss", "num_df_ss"}};
  return names[static_cast<std::size_t>(kind)];
}

const exo_VariableNames& exo_NamesOf(mesh_Place place) {
  static constexpr exo_VariableNames names[] = {
      {"num_glo_var", "name_glo_var", nullptr, "vals_glo_var", nullptr, nullptr, nullptr},
      {"num_nod_var", "name_nod_var", nullptr, "vals_nod_var", nullptr, nullptr, nullptr},
      {"num_elem_var", "name_elem_var", "elem_var_tab", "vals_elem_var", "eb", "num_el_blk", "num_el_in_blk"},
      {"num_nset_var", "name_nset_var", "nset_var_tab", "vals_nset_var", "ns", "num_node_sets", "num_nod_ns"},
      {"num_elset_var", "name_elset_var", "elset_var_tab", "vals_elset_var", "es", "num_elem_sets",
       "num_ele_els"},
      {"num_sset_var", "name_sset_var", "sset_var_tab", "vals_sset_var", "ss", "num_side_sets",
       "num_side_ss"}};
  return names[static_cast<std::size_t>(place)];
}

void exo_Reader::ReadAll() {
  CheckFormat();
  ReadSizes();
  ReadBlocks();
  for (const mesh_SetKind kind : {mesh_SetKind::kNodes, mesh_SetKind::kElements, mesh_SetKind::kSides})
    ReadSets(kind);
  ReadMaps("node", m_mesh.m_nodeMaps, m_mesh.m_nodeMapVariables, m_mesh.m_nodes);
  ReadMaps("elem", m_mesh.m_elementMaps, m_mesh.m_elementMapVariables, m_mesh.m_elements);
  ReadTimes();
  ReadVariables();
  NoteTheRest();
}

void exo_Reader::CheckFormat() const {
  const bool version = m_file.HasAttribute("api_version") || m_file.HasAttribute("api version");
  if (!version || (!m_file.Dimension("num_dim") && !m_file.Dimension("num_nodes")))
    m_file.Fail(std::string("expected an Exodus II mesh, found a netCDF or HDF5 file without ") +
                (version ? "the dimensions num_dim and num_nodes" : "the attribute api_version"));
}

std::size_t exo_Reader::Count(const std::string& dimension) const {
  const std::size_t count = m_file.Dimension(dimension).value_or(0);
  if (count > kMostEntities)
    m_file.Fail("expected " + dimension + " to be at most " + std::to_string(kMostEntities) + ", found " +
                std::to_string(count));
  return count;
}

void exo_Reader::CheckDimension(const std::string& name, std::size_t size, const std::string& of) const {
  const auto found = m_file.Dimension(name);
  if (found && *found != size)
    m_file.Fail("expected the dimension " + name + " to be " + std::to_string(size) + " as " + of +
                ", found " + std::to_string(*found));
}

void exo_Reader::ReadSizes() {
  m_mesh.m_title = m_file.TextAttribute("title");
  m_mesh.m_dimension = m_file.Dimension("num_dim").value_or(0);
  if (m_mesh.m_dimension < 1 || m_mesh.m_dimension > 3)
    m_file.Fail("expected the dimension num_dim to be 1, 2 or 3, found " +
                std::to_string(m_mesh.m_dimension));
  m_mesh.m_nodes = m_file.Dimension("num_nodes").value_or(0);
  m_mesh.m_elements = m_file.Dimension("num_elem").value_or(0);
  for (const auto& [name, size] : {std::pair{"num_nodes", m_mesh.m_nodes}, {"num_elem", m_mesh.m_elements}})
    if (size > INT_MAX)
      m_file.Fail(std::string("expected the dimension ") + name + " to be at most 2147483647, found " +
                  std::to_string(size));
  m_mesh.m_axisNames = Names("coor_names", m_mesh.m_dimension);
  for (std::size_t axis = 0; axis < m_mesh.m_dimension; ++axis) {
    if (m_mesh.m_axisNames[axis].empty())
      m_mesh.m_axisNames[axis] = std::string(1, "xyz"[axis]);
    if (m_mesh.m_nodes)
      m_mesh.Coordinate(axis);
  }
  m_mesh.NodeNumbers();
  m_mesh.ElementNumbers();
}

std::vector<long long> exo_Reader::Ids(const std::string& variable, std::size_t count) const {
  std::vector<long long> ids;
  if (const auto array = m_file.Find(variable)) {
    array->Require({count}, exo_Array::Kind::kInteger);
    return array->Integers(kMostEntities);
  }
  for (std::size_t i = 1; i <= count; ++i)
    ids.push_back(static_cast<long long>(i));
  return ids;
}

std::vector<std::string> exo_Reader::Names(const std::string& variable, std::size_t count) const {
  const auto array = m_file.Find(variable);
  if (!array)
    return std::vector<std::string>(count);
  auto names = array->Texts(kMostNameBytes);
  if (names.size() != count)
    array->Unexpected("a table of " + std::to_string(count) + " names");
  return names;
}

std::vector<bool> exo_Reader::Used(const std::string& variable, std::size_t count) const {
  std::vector<bool> used(count, true);
  const auto array = m_file.Find(variable);
  if (!array)
    return used;
  array->Require({count}, exo_Array::Kind::kInteger);
  const auto flags = array->Integers(kMostEntities);
  for (std::size_t i = 0; i < count; ++i)
    used[i] = flags[i] != 0;
  return used;
}

void exo_Reader::ReadBlocks() {
  const std::size_t count = Count("num_el_blk");
  const auto ids = Ids("eb_prop1", count);
  const auto names = Names("eb_names", count);
  const auto used = Used("eb_status", count);
  std::size_t elements = 0;
  for (std::size_t i = 0; i < count; ++i) {
    mesh_Block block;
    block.number = static_cast<int>(i + 1);
    block.id = ids[i];
    block.name = names[i];
    block.firstElement = elements;
    if (used[i])
      ReadBlock(block);
    elements += block.elements;
    m_mesh.m_blocks.push_back(std::move(block));
  }
  if (elements != m_mesh.m_elements)
    m_file.Fail("expected the blocks to hold num_elem = " + std::to_string(m_mesh.m_elements) +
                " elements, found " + std::to_string(elements));
}

void exo_Reader::ReadBlock(mesh_Block& block) {
  const auto number = static_cast<std::size_t>(block.number);
  block.elements = m_file.Dimension(N("num_el_in_blk", number)).value_or(0);
  block.nodesPerElement = m_file.Dimension(N("num_nod_per_el", number)).value_or(0);
  if (block.elements > m_mesh.m_elements)
    m_file.Fail("expected block " + std::to_string(block.id) + " to hold at most num_elem = " +
                std::to_string(m_mesh.m_elements) + " elements, found " + std::to_string(block.elements));
  ReadConnectivity(block);
  if (block.elements > 0)
    ReadAttributes(block);
}

void exo_Reader::ReadConnectivity(mesh_Block& block) {
  const std::string variable = N("connect", static_cast<std::size_t>(block.number));
  const auto connect = m_file.Find(variable);
  if (connect)
    block.type = connect->TextAttribute("elem_type");
  if (strcasecmp(block.type.c_str(), "nfaced") == 0) {
    block.shape = mesh_Block::Shape::kPolyhedra;
    m_mesh.m_notes.push_back("the faces of the polyhedra of block " + std::to_string(block.id));
    return;
  }
  if (block.elements == 0)
    return;
  if (!connect && block.nodesPerElement == 0) // elements without nodes
    return;
  if (!connect)
    m_file.Fail("expected the connectivity of block " + std::to_string(block.id) + " in " + variable +
                ", found no such variable");
  if (strcasecmp(block.type.c_str(), "nsided") == 0) {
    block.shape = mesh_Block::Shape::kPolygons;
    connect->Require({block.nodesPerElement}, exo_Array::Kind::kInteger);
  } else {
    connect->Require({block.elements, block.nodesPerElement}, exo_Array::Kind::kInteger);
  }
}

void exo_Reader::ReadAttributes(mesh_Block& block) {
  const auto number = static_cast<std::size_t>(block.number);
  const auto attributes = m_file.Find(N("attrib", number));
  if (!attributes)
    return;
  const std::size_t count = Count(N("num_att_in_blk", number));
  attributes->Require({block.elements, count}, exo_Array::Kind::kReal);
  block.attributes = Names(N("attrib_name", number), count);
}

void exo_Reader::ReadSets(mesh_SetKind kind) {
  const exo_SetNames& name = exo_NamesOf(kind);
  const std::size_t count = Count(name.count);
  if (count == 0)
    return;
  const auto ids = Ids(name.ids, count);
  const auto names = Names(name.names, count);
  const auto used = Used(name.status, count);
  for (std::size_t i = 0; i < count; ++i) {
    mesh_Set set{kind, static_cast<int>(i + 1), ids[i], names[i]};
    if (used[i])
      ReadSet(set);
    m_mesh.m_sets[static_cast<std::size_t>(kind)].push_back(std::move(set));
  }
}

void exo_Reader::ReadSet(mesh_Set& set) {
  const exo_SetNames& name = exo_NamesOf(set.kind);
  const auto number = static_cast<std::size_t>(set.number);
  const std::string variable = N(name.entries, number);
  const auto entries = m_file.Find(variable);
  if (!entries) {
    CheckDimension(N(name.entryCount, number), 0, "there is no variable " + variable);
    return;
  }
  if (!entries->IsInteger() || entries->Shape().size() != 1)
    entries->Unexpected("a list of integers");
  set.size = entries->Shape()[0];
  CheckDimension(N(name.entryCount, number), set.size, variable + " has that many entries");
  if (set.size > INT_MAX)
    entries->Unexpected("of at most 2147483647 entries");
  if (name.sides) {
    const std::string sides = N(name.sides, number);
    const auto array = m_file.Find(sides);
    if (!array)
      m_file.Fail("expected the sides of side set " + std::to_string(set.id) + " in " + sides +
                  ", found no such variable");
    array->Require({set.size}, exo_Array::Kind::kInteger);
  }
  if (const auto factors = m_file.Find(N(name.factors, number))) {
    if (!factors->IsReal() || factors->Shape().size() != 1)
      factors->Unexpected("a list of reals");
    set.factors = factors->Shape()[0];
  }
}

void exo_Reader::ReadMaps(const char* kind, std::vector<mesh_Map>& maps, std::vector<std::string>& variables,
                          std::size_t size) {
  const std::string node(kind), prefix(node.substr(0, 1));
  const std::size_t count = Count("num_" + node + "_maps");
  if (count == 0 || size == 0)
    return;
  const auto ids = Ids(prefix + "m_prop1", count);
  const auto names = Names(prefix + "map_names", count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::string variable = node + "_map" + std::to_string(i + 1);
    if (const auto array = m_file.Find(variable)) {
      array->Require({size}, exo_Array::Kind::kInteger);
      maps.push_back({names[i], ids[i]});
      variables.push_back(variable);
    }
  }
}

void exo_Reader::ReadTimes() {
  const std::size_t steps = m_file.Dimension("time_step").value_or(0);
  const auto array = m_file.Find("time_whole");
  if (!array) {
    if (steps)
      m_file.Fail("expected the times of " + std::to_string(steps) +
                  " steps in time_whole, found no such variable");
    return;
  }
  array->Require({steps}, exo_Array::Kind::kReal);
  if (steps > kMostSteps)
    array->Unexpected("of at most " + std::to_string(kMostSteps) + " steps");
  m_mesh.m_times.resize(steps);
  if (steps)
    array->Read({0}, {steps}, m_mesh.m_times.data());
}

void exo_Reader::ReadVariables() {
  ReadVariables(mesh_Place::kGlobal, {1});
  ReadVariables(mesh_Place::kNodes, {m_mesh.m_nodes});
  std::vector<std::size_t> blocks;
  for (const mesh_Block& block : m_mesh.m_blocks)
    blocks.push_back(block.elements);
  ReadVariables(mesh_Place::kBlocks, std::move(blocks));
  for (const auto& [place, kind] : {std::pair{mesh_Place::kNodeSets, mesh_SetKind::kNodes},
                                    {mesh_Place::kElementSets, mesh_SetKind::kElements},
                                    {mesh_Place::kSideSets, mesh_SetKind::kSides}}) {
    std::vector<std::size_t> sizes;
    for (const mesh_Set& set : m_mesh.Sets(kind))
      sizes.push_back(set.size);
    ReadVariables(place, std::move(sizes));
  }
}

void exo_Reader::ReadVariables(mesh_Place place, std::vector<std::size_t> entitySizes) {
  const exo_VariableNames& name = exo_NamesOf(place);
  mesh_Variables& variables = m_mesh.m_variables[static_cast<std::size_t>(place)];
  variables.place = place;
  variables.entitySizes = std::move(entitySizes);
  const std::size_t count = Count(name.count), entities = variables.entitySizes.size();
  if (count * entities > kMostFlags)
    m_file.Fail(std::string("expected a sensible number of variables, found ") + name.count + " = " +
                std::to_string(count) + " on " + std::to_string(entities) + " blocks or sets");
  variables.present.assign(entities, std::vector<bool>(count, true));
  if (count == 0)
    return;
  variables.names = Names(name.names, count);
  const auto table = name.table ? m_file.Find(name.table) : std::nullopt;
  std::vector<long long> flags(count * entities, 1);
  if (table) {
    table->Require({entities, count}, exo_Array::Kind::kInteger);
    flags = table->Integers(kMostFlags);
  }
  for (std::size_t entity = 0; entity < entities; ++entity)
    for (std::size_t variable = 0; variable < count; ++variable) {
      // Without a table the variables that exist tell.
      const bool exists = table || !name.table ||
                          m_file.Find(N(name.values, variable + 1) + N(name.entity, entity + 1)).has_value();
      variables.present[entity][variable] = exists && flags[entity * count + variable] != 0 &&
                                            variables.entitySizes[entity] > 0 && !m_mesh.m_times.empty();
    }
  CheckValues(variables);
}

void exo_Reader::CheckValues(const mesh_Variables& variables) const {
  for (std::size_t entity = 0; entity < variables.present.size(); ++entity)
    for (std::size_t variable = 0; variable < variables.names.size(); ++variable)
      if (variables.present[entity][variable])
        m_mesh.Values(variables.place, variable, entity, 0);
}

void exo_Reader::NoteTheRest() {
  constexpr std::pair<const char*, const char*> unread[] = {
      {"num_ed_blk", "edge blocks"},  {"num_fa_blk", "face blocks"},          {"num_edge_sets", "edge sets"},
      {"num_face_sets", "face sets"}, {"num_att_in_nblk", "node attributes"}, {"num_edge_maps", "edge maps"},
      {"num_face_maps", "face maps"}};
  for (const auto& [dimension, what] : unread)
    if (const std::size_t count = m_file.Dimension(dimension).value_or(0))
      m_mesh.m_notes.push_back(std::to_string(count) + " " + what);
}
