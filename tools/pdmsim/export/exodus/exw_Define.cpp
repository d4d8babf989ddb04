#include <pdmsim/export/exodus/exw_Writer.h>

#include <pdmsim/export/out/exp_Read.h>
#include <pdmsim/import/exodus/exo_Reader.h>

#include <climits>
#include <filesystem>
#include <set>

// The first half of exw_Writer: what the file will hold.

namespace {

constexpr std::size_t kMostClassicBytes = UINT32_MAX - 4; // of a variable, or of one step of it

bool isLong(long long id) {
  return id < INT_MIN || id > INT_MAX;
}
bool isLong(const mesh_NumbersPtr& numbers) {
  return numbers != nullptr && numbers->NumberType() == mesh_Numbers::Type::kLong;
}

/// True when some id needs 64 bits.
bool hasLongIds(const mesh_Source& mesh) {
  bool any = false;
  for (const mesh_Block& block : mesh.Blocks())
    any = any || isLong(block.id);
  for (const mesh_SetKind kind : {mesh_SetKind::kNodes, mesh_SetKind::kElements, mesh_SetKind::kSides})
    for (const mesh_Set& set : mesh.Sets(kind))
      any = any || isLong(set.id);
  return any;
}

/// True when some number of a node or element needs 64 bits.
bool hasLongMaps(const mesh_Source& mesh) {
  bool any = isLong(mesh.NodeNumbers()) || isLong(mesh.ElementNumbers());
  for (std::size_t i = 0; i < mesh.NodeMaps().size(); ++i)
    any = any || isLong(mesh.NodeMap(i));
  for (std::size_t i = 0; i < mesh.ElementMaps().size(); ++i)
    any = any || isLong(mesh.ElementMap(i));
  return any;
}

/// True when a variable is longer than the classic format allows.
bool hasLongVariables(const mesh_Source& mesh) {
  std::size_t most = std::max(mesh.Nodes(), mesh.Elements()) * 8;
  for (const mesh_Block& block : mesh.Blocks())
    most = std::max(
        {most, block.elements * block.nodesPerElement * 4, block.elements * block.attributes.size() * 8});
  for (const mesh_Set& set : mesh.Sets(mesh_SetKind::kSides))
    most = std::max(most, set.factors * 8);
  return most > kMostClassicBytes;
}

} // namespace

std::vector<double> exw_Times(const mesh_Source& mesh) {
  if (mesh.Times().empty())
    for (std::size_t place = 0; place < mesh_kPlaces; ++place)
      for (const auto& present : mesh.Variables(static_cast<mesh_Place>(place)).present)
        if (std::find(present.begin(), present.end(), true) != present.end())
          return {0.0};
  return mesh.Times();
}

exw_Writer::exw_Writer(const exp_Task& task, const std::string& path)
    : m_task(task), m_mesh(task.mesh), m_times(exw_Times(task.mesh)), m_longIds(hasLongIds(task.mesh)),
      m_longMaps(hasLongMaps(task.mesh)),
      m_file(path, task.wanted.out, m_longIds || m_longMaps || hasLongVariables(task.mesh)) {
  for (std::size_t place = 0; place < mesh_kPlaces; ++place)
    FindColumns(static_cast<mesh_Place>(place));
  DefineSizes();
  DefineBlocks();
  for (const mesh_SetKind kind : {mesh_SetKind::kNodes, mesh_SetKind::kElements, mesh_SetKind::kSides})
    DefineSets(kind);
  DefineMaps("node", m_mesh.NodeMaps(), "num_nodes");
  DefineMaps("elem", m_mesh.ElementMaps(), "num_elem");
  for (std::size_t place = 0; place < mesh_kPlaces; ++place)
    DefineVariables(static_cast<mesh_Place>(place));
  m_file.Begin();
}

void exw_Writer::FindColumns(mesh_Place place) {
  const mesh_Variables& variables = m_mesh.Variables(place);
  std::set<std::string> taken(variables.names.begin(), variables.names.end());
  for (std::size_t i = 0; i < variables.names.size(); ++i) {
    const std::size_t components = variables.Components(i);
    for (std::size_t component = 0; component < components; ++component) {
      std::string name = exp_ComponentName(variables.names[i], component, components);
      while (components > 1 && !taken.insert(name).second)
        name += "_";
      m_columns[static_cast<std::size_t>(place)].push_back({i, component, std::move(name)});
    }
  }
}

bool exw_Writer::IsPresent(mesh_Place place, std::size_t entity, const Column& column) const {
  const mesh_Variables& variables = m_mesh.Variables(place);
  return variables.present[entity][column.variable] && variables.entitySizes[entity] > 0 && !m_times.empty();
}

exw_Writer::Type exw_Writer::TypeOf(mesh_Place place, std::size_t variable) const {
  const mesh_Variables& variables = m_mesh.Variables(place);
  const std::size_t steps = variables.Constant(variable) ? 1 : m_times.size();
  for (std::size_t entity = 0; entity < variables.present.size(); ++entity)
    for (std::size_t step = 0; step < steps && variables.present[entity][variable]; ++step)
      if (m_mesh.Values(place, variable, entity, step)->NumberType() != mesh_Numbers::Type::kFloat)
        return Type::kDouble;
  return Type::kFloat;
}

void exw_Writer::DefineSizes() {
  const auto widen = [&](const std::string& name) { m_nameWidth = std::max(m_nameWidth, name.size() + 1); };
  for (const mesh_Block& block : m_mesh.Blocks()) {
    widen(block.name);
    for (const std::string& name : block.attributes)
      widen(name);
  }
  for (const mesh_SetKind kind : {mesh_SetKind::kNodes, mesh_SetKind::kElements, mesh_SetKind::kSides})
    for (const mesh_Set& set : m_mesh.Sets(kind))
      widen(set.name);
  for (const auto* maps : {&m_mesh.NodeMaps(), &m_mesh.ElementMaps()})
    for (const mesh_Map& map : *maps)
      widen(map.name);
  for (const std::string& name : m_mesh.AxisNames())
    widen(name);
  for (const auto& columns : m_columns)
    for (const Column& column : columns)
      widen(column.name);

  m_file.Attribute("", "title", std::filesystem::path(m_mesh.Path()).filename().string().substr(0, 80));
  m_file.Attribute("api_version", 8.11F);
  m_file.Attribute("version", 8.11F);
  m_file.Attribute("floating_point_word_size", 8);
  m_file.Attribute("file_size", 1);
  m_file.Attribute("maximum_name_length", static_cast<int>(m_nameWidth) - 1);
  m_file.Attribute("int64_status", (m_longMaps ? 0x2000 : 0) | (m_longIds ? 0x4000 : 0));
  m_file.Dimension("len_string", 33);
  m_file.Dimension("len_name", m_nameWidth);
  m_file.Dimension("four", 4);
  m_file.Dimension("num_qa_rec", 1);
  m_file.Variable("qa_records", Type::kText, {"num_qa_rec", "four", "len_string"});
  m_file.Unlimited("time_step");
  m_file.Variable("time_whole", Type::kDouble, {"time_step"});

  const std::size_t dimension = m_mesh.Dimension() > 0 ? m_mesh.Dimension() : 3;
  m_file.Dimension("num_dim", dimension);
  m_file.Dimension("num_nodes", m_mesh.Nodes());
  m_file.Dimension("num_elem", m_mesh.Elements());
  DefineNames("coor_names", "num_dim", m_mesh.Dimension());
  for (std::size_t axis = 0; axis < m_mesh.Dimension() && m_mesh.Nodes() > 0; ++axis)
    m_file.Variable(std::string("coord") + "xyz" [axis], Type::kDouble, { "num_nodes" });
  const Type map = m_longMaps ? Type::kLong : Type::kInt;
  if (m_mesh.Nodes() > 0 && m_mesh.NodeNumbers())
    m_file.Variable("node_num_map", map, {"num_nodes"});
  if (m_mesh.Elements() > 0 && m_mesh.ElementNumbers())
    m_file.Variable("elem_num_map", map, {"num_elem"});
}

void exw_Writer::DefineNames(const std::string& variable, const std::string& dimension, std::size_t count) {
  if (count > 0)
    m_file.Variable(variable, Type::kText, {dimension, "len_name"});
}

void exw_Writer::DefineBlocks() {
  if (m_mesh.Blocks().empty())
    return;
  m_file.Dimension("num_el_blk", m_mesh.Blocks().size());
  m_file.Variable("eb_status", Type::kInt, {"num_el_blk"});
  m_file.Variable("eb_prop1", m_longIds ? Type::kLong : Type::kInt, {"num_el_blk"});
  m_file.Attribute("eb_prop1", "name", "ID");
  DefineNames("eb_names", "num_el_blk", m_mesh.Blocks().size());
  for (const mesh_Block& block : m_mesh.Blocks()) {
    if (block.elements == 0)
      continue;
    const std::string elements = exw_Numbered("num_el_in_blk", block.number),
                      nodes = exw_Numbered("num_nod_per_el", block.number),
                      connect = exw_Numbered("connect", block.number);
    m_file.Dimension(elements, block.elements);
    m_file.Dimension(nodes, block.nodesPerElement);
    if (block.shape == mesh_Block::Shape::kPolygons && block.nodesPerElement > 0) {
      m_file.Variable(connect, Type::kInt, {nodes});
      m_file.Variable(exw_Numbered("ebepecnt", block.number), Type::kInt, {elements});
      m_file.Attribute(exw_Numbered("ebepecnt", block.number), "entity_type1", "NODE");
      m_file.Attribute(exw_Numbered("ebepecnt", block.number), "entity_type2", "ELEM");
    } else if (block.nodesPerElement > 0) {
      m_file.Variable(connect, Type::kInt, {elements, nodes});
    }
    if (block.nodesPerElement > 0)
      m_file.Attribute(connect, "elem_type", block.type);
    if (block.attributes.empty())
      continue;
    const std::string attributes = exw_Numbered("num_att_in_blk", block.number);
    m_file.Dimension(attributes, block.attributes.size());
    m_file.Variable(exw_Numbered("attrib", block.number), Type::kDouble, {elements, attributes});
    DefineNames(exw_Numbered("attrib_name", block.number), attributes, block.attributes.size());
  }
}

void exw_Writer::DefineSets(mesh_SetKind kind) {
  const exo_SetNames& name = exo_NamesOf(kind);
  const auto& sets = m_mesh.Sets(kind);
  if (sets.empty())
    return;
  m_file.Dimension(name.count, sets.size());
  m_file.Variable(name.status, Type::kInt, {name.count});
  m_file.Variable(name.ids, m_longIds ? Type::kLong : Type::kInt, {name.count});
  m_file.Attribute(name.ids, "name", "ID");
  DefineNames(name.names, name.count, sets.size());
  for (const mesh_Set& set : sets) {
    if (set.size == 0)
      continue;
    const std::string entries = exw_Numbered(name.entryCount, set.number),
                      factors = exw_Numbered(name.factorCount, set.number);
    m_file.Dimension(entries, set.size);
    m_file.Variable(exw_Numbered(name.entries, set.number), Type::kInt, {entries});
    if (name.sides)
      m_file.Variable(exw_Numbered(name.sides, set.number), Type::kInt, {entries});
    if (set.factors == 0)
      continue;
    m_file.Dimension(factors, set.factors);
    m_file.Variable(exw_Numbered(name.factors, set.number), Type::kDouble, {factors});
  }
}

void exw_Writer::DefineMaps(const std::string& kind, const std::vector<mesh_Map>& maps,
                            const std::string& size) {
  if (maps.empty() || (kind == "node" ? m_mesh.Nodes() : m_mesh.Elements()) == 0)
    return;
  const std::string prefix = kind.substr(0, 1), count = "num_" + kind + "_maps";
  m_file.Dimension(count, maps.size());
  m_file.Variable(prefix + "m_prop1", m_longIds ? Type::kLong : Type::kInt, {count});
  m_file.Attribute(prefix + "m_prop1", "name", "ID");
  DefineNames(prefix + "map_names", count, maps.size());
  for (std::size_t i = 1; i <= maps.size(); ++i)
    m_file.Variable(kind + "_map" + std::to_string(i), m_longMaps ? Type::kLong : Type::kInt, {size});
}

void exw_Writer::DefineVariables(mesh_Place place) {
  const exo_VariableNames& name = exo_NamesOf(place);
  const auto& columns = m_columns[static_cast<std::size_t>(place)];
  if (columns.empty())
    return;
  m_file.Dimension(name.count, columns.size());
  DefineNames(name.names, name.count, columns.size());
  if (place == mesh_Place::kGlobal)
    return m_file.Variable(name.values, Type::kDouble, {"time_step", name.count});
  const auto& present = m_mesh.Variables(place).present;
  if (name.table && !present.empty())
    m_file.Variable(name.table, Type::kInt, {name.entities, name.count});
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const Type type = TypeOf(place, columns[i].variable);
    for (std::size_t entity = 0; entity < present.size(); ++entity) {
      if (!IsPresent(place, entity, columns[i]))
        continue;
      const std::string values = exw_Numbered(name.values, static_cast<long long>(i) + 1);
      if (name.entity)
        m_file.Variable(values + name.entity + std::to_string(entity + 1), type,
                        {"time_step", name.rows + std::to_string(entity + 1)});
      else
        m_file.Variable(values, type, {"time_step", "num_nodes"});
    }
  }
}
