#include <pdmsim/import/imp_Fields.h>

#include <climits>
#include <numeric>

namespace {

constexpr const char* kVariableWords[] = {"global_variable",  "nodal_variable",      "element_variable",
                                          "nodeset_variable", "elementset_variable", "sideset_variable"};

ORXSimItemType IntegerType(bool isLong) {
  return isLong ? ORXSimItemType::kInt64 : ORXSimItemType::kInt32;
}

/// True when some number of an integer series needs 64 bits.
bool NeedsLong(const mesh_Numbers& numbers, std::size_t size) {
  if (numbers.NumberType() == mesh_Numbers::Type::kInt)
    return false;
  std::vector<long long> piece(std::min<std::size_t>(size, 1 << 19));
  for (std::size_t first = 0; first < size; first += piece.size()) {
    const std::size_t count = std::min(piece.size(), size - first);
    numbers.Read(first, count, piece.data());
    for (std::size_t i = 0; i < count; ++i)
      if (piece[i] < INT_MIN || piece[i] > INT_MAX)
        return true;
  }
  return false;
}

/// Names one after the other, as "x, y, z"; "" when all are empty.
std::string Joined(const std::vector<std::string>& names) {
  std::string text, named;
  for (std::size_t i = 0; i < names.size(); ++i) {
    text += (i == 0 ? "" : ", ") + names[i];
    named += names[i];
  }
  return named.empty() ? named : text;
}

} // namespace

imp_Fields::imp_Fields(const mesh_Source& mesh, const imp_Store& store, cli_Progress& progress,
                       imp_Sets& sets, const imp_Collections& collections)
    : m_source(mesh), m_store(store), m_progress(progress), m_sets(sets), m_collections(collections) {
  MakeKeys();
}

imp_Target imp_Fields::Target(ORXSimDistributionID distribution, int drawer) {
  return {m_room, m_progress, m_store.Open(distribution, drawer)};
}

void imp_Fields::MakeKeys() {
  const auto maps = [](std::vector<imp_Wanted>& wanted, const std::vector<mesh_Map>& from, const char* word) {
    for (const mesh_Map& map : from)
      wanted.push_back({map.name, map.id, word});
  };
  const auto variables = [this](std::vector<imp_Wanted>& wanted, mesh_Place place) {
    long long number = 0;
    for (const std::string& name : m_source.Variables(place).names)
      wanted.push_back({name, ++number, kVariableWords[static_cast<std::size_t>(place)]});
  };
  // Takes the keys of one map and deals them out again in the order in which they were wanted.
  const auto take = [this](std::initializer_list<const char*> reserved, const std::vector<imp_Wanted>& wanted,
                           std::initializer_list<std::pair<std::vector<std::string>*, std::size_t>> targets) {
    imp_Names names(m_renamed);
    for (const char* key : reserved)
      names.Reserve(key);
    const auto keys = imp_TakeAll(names, wanted);
    auto from = keys.begin();
    for (const auto& [target, size] : targets) {
      target->assign(from, from + static_cast<std::ptrdiff_t>(size));
      from += static_cast<std::ptrdiff_t>(size);
    }
  };
  const auto keysOf = [this](mesh_Place place) {
    return std::pair{&m_keys.variables[static_cast<std::size_t>(place)],
                     m_source.Variables(place).names.size()};
  };

  std::vector<imp_Wanted> node, element, frame, surface;
  maps(node, m_source.NodeMaps(), "node_map");
  variables(node, mesh_Place::kNodes);
  variables(node, mesh_Place::kNodeSets);
  take({"coordinates", "label", "distributionFactor"}, node,
       {{&m_keys.nodeMaps, m_source.NodeMaps().size()},
        keysOf(mesh_Place::kNodes),
        keysOf(mesh_Place::kNodeSets)});
  maps(element, m_source.ElementMaps(), "element_map");
  variables(element, mesh_Place::kBlocks);
  variables(element, mesh_Place::kElementSets);
  take({"connectivity", "label", "attribute", "distributionFactor"}, element,
       {{&m_keys.elementMaps, m_source.ElementMaps().size()},
        keysOf(mesh_Place::kBlocks),
        keysOf(mesh_Place::kElementSets)});
  variables(frame, mesh_Place::kGlobal);
  take({"time"}, frame, {keysOf(mesh_Place::kGlobal)});
  variables(surface, mesh_Place::kSideSets);
  take({"distributionFactor"}, surface, {keysOf(mesh_Place::kSideSets)});
}

void imp_Fields::WriteMesh() {
  WriteCoordinates();
  m_node["label"] = WriteNumbers("label", m_collections.nodes, m_source.Nodes(), m_source.NodeNumbers());
  m_element["label"] =
      WriteNumbers("label", m_collections.elements, m_source.Elements(), m_source.ElementNumbers());
  WriteConnectivity();
  WriteAttributes();
  for (std::size_t i = 0; i < m_keys.nodeMaps.size(); ++i)
    m_node[m_keys.nodeMaps[i]] =
        WriteNumbers(m_keys.nodeMaps[i], m_collections.nodes, m_source.Nodes(), m_source.NodeMap(i));
  for (std::size_t i = 0; i < m_keys.elementMaps.size(); ++i)
    m_element[m_keys.elementMaps[i]] = WriteNumbers(m_keys.elementMaps[i], m_collections.elements,
                                                    m_source.Elements(), m_source.ElementMap(i));
  WriteSurfaces();
  WriteAllSetLabels();
}

void imp_Fields::WriteCoordinates() {
  const std::size_t dimension = m_source.Dimension();
  const ORXSimDistributionID id = m_node["coordinates"] =
      m_store.Distribution("coordinates",
                           {imp_Drawer(m_store.Full(m_collections.nodes), ORXSimItemType::kDouble, dimension,
                                       Joined(m_source.AxisNames()))},
                           m_source.LengthUnit());
  std::vector<mesh_NumbersPtr> axes;
  for (std::size_t axis = 0; axis < dimension && m_source.Nodes() > 0; ++axis)
    axes.push_back(m_source.Coordinate(axis));
  std::vector<double> values;
  imp_CopyRows<double>(Target(id, 0), 0, m_source.Nodes(), dimension,
                       [&](std::size_t first, std::size_t count, double* out) {
                         values.resize(count);
                         for (std::size_t axis = 0; axis < dimension; ++axis) {
                           axes[axis]->Read(first, count, values.data());
                           for (std::size_t i = 0; i < count; ++i)
                             out[i * dimension + axis] = values[i];
                         }
                       });
}

ORXSimDistributionID imp_Fields::WriteNumbers(const std::string& name, ORXSimCollectionID collection,
                                              std::size_t size, const mesh_NumbersPtr& numbers) {
  const bool isLong = numbers != nullptr && NeedsLong(*numbers, size);
  const auto id = m_store.Distribution(name, {imp_Drawer(m_store.Full(collection), IntegerType(isLong))});
  const imp_Target target = Target(id, 0);
  if (isLong)
    imp_CopyRows<long long>(target, 0, size, 1, [&](std::size_t first, std::size_t count, long long* out) {
      numbers->Read(first, count, out);
    });
  else
    imp_CopyRows<int>(target, 0, size, 1, [&](std::size_t first, std::size_t count, int* out) {
      if (numbers != nullptr)
        numbers->Read(first, count, out);
      else
        std::iota(out, out + count, static_cast<int>(first) + 1);
    });
  return id;
}

ORXSimDistributionID imp_Fields::WriteIds(const std::string& name, ORXSimCollectionID collection,
                                          const std::vector<long long>& ids) {
  const bool isLong =
      std::any_of(ids.begin(), ids.end(), [](long long i) { return i < INT_MIN || i > INT_MAX; });
  const auto id = m_store.Distribution(name, {imp_Drawer(m_store.Full(collection), IntegerType(isLong))});
  if (isLong) {
    m_store.Write(id, 0, 0, ids, ids.size());
  } else {
    std::vector<int> narrow;
    for (const long long one : ids)
      narrow.push_back(static_cast<int>(one));
    m_store.Write(id, 0, 0, narrow, narrow.size());
  }
  return id;
}

void imp_Fields::WriteSetLabels(const char* field, const char* collection,
                                const std::map<std::string, long long>& labels) {
  if (labels.empty())
    return;
  std::vector<long long> ids; // in the order of the keys, as the map of the sets has them
  for (const auto& [key, id] : labels)
    ids.push_back(id);
  m_mesh[field] = WriteIds(field, m_store.Collection(collection, ids.size()), ids);
}

void imp_Fields::WriteAllSetLabels() {
  const auto labels = [this](mesh_SetKind kind) {
    std::map<std::string, long long> ids;
    for (std::size_t i = 0; i < m_source.Sets(kind).size(); ++i)
      ids[m_sets.Sets(kind)[i].key] = m_source.Sets(kind)[i].id;
    return ids;
  };
  auto elementSets = labels(mesh_SetKind::kElements);
  std::vector<long long> blocks;
  for (std::size_t i = 0; i < m_source.Blocks().size(); ++i) {
    blocks.push_back(m_source.Blocks()[i].id);
    elementSets[m_sets.Blocks()[i].key] = blocks.back();
  }
  m_region["label"] = WriteIds("label", m_collections.regions, blocks);
  WriteSetLabels("nodeSetLabel", "nodeSets", labels(mesh_SetKind::kNodes));
  WriteSetLabels("elementSetLabel", "elementSets", elementSets);
  WriteSetLabels("surfaceLabel", "surfaces", labels(mesh_SetKind::kSides));
}

void imp_Fields::WriteConnectivity() {
  std::vector<ORXSimDrawerDescription> drawers; // drawer k is block k, with or without elements
  std::vector<std::unique_ptr<mesh_Connectivity>> nodes;
  for (const mesh_Block& block : m_source.Blocks()) {
    auto& connectivity = nodes.emplace_back();
    if (block.elements && block.nodesPerElement && block.shape != mesh_Block::Shape::kPolyhedra)
      connectivity = m_source.Connectivity(block);
    const auto number = static_cast<std::size_t>(block.number - 1);
    const bool any = connectivity && connectivity->Width() > 0;
    const ORXSimCSetID members = any ? m_sets.Blocks()[number].columns[0].members
                                     : m_sets.Elements(std::vector<bool>(m_source.Blocks().size()));
    drawers.push_back(
        imp_Drawer(members, ORXSimItemType::kInt32, any ? connectivity->Width() : 1, block.type));
    if (!any)
      connectivity.reset();
  }
  const ORXSimDistributionID id = m_element["connectivity"] = m_store.Distribution("connectivity", drawers);
  for (std::size_t i = 0; i < nodes.size(); ++i)
    if (auto& connectivity = nodes[i])
      imp_CopyRows<int>(Target(id, static_cast<int>(i)), 0, m_source.Blocks()[i].elements,
                        connectivity->Width(),
                        [&](std::size_t, std::size_t count, int* out) { connectivity->Next(count, out); });
}

void imp_Fields::WriteAttributes() {
  std::vector<const mesh_Block*> blocks;
  std::vector<ORXSimDrawerDescription> drawers;
  for (const mesh_Block& block : m_source.Blocks())
    if (!block.attributes.empty()) {
      const imp_SetOut& out = m_sets.Blocks()[static_cast<std::size_t>(block.number - 1)];
      blocks.push_back(&block);
      drawers.push_back(imp_Drawer(out.columns[0].members, ORXSimItemType::kDouble, block.attributes.size(),
                                   Joined(block.attributes)));
    }
  if (blocks.empty())
    return;
  const ORXSimDistributionID id = m_element["attribute"] = m_store.Distribution("attribute", drawers);
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const mesh_NumbersPtr values = m_source.Attributes(*blocks[i]);
    imp_CopyRows<double>(
        Target(id, static_cast<int>(i)), 0, blocks[i]->elements, values->Width(),
        [&](std::size_t first, std::size_t count, double* out) { values->Read(first, count, out); });
  }
}

void imp_Fields::WriteSurfaces() {
  const auto& sets = m_source.Sets(mesh_SetKind::kSides);
  for (std::size_t i = 0; i < sets.size(); ++i) {
    const imp_SetOut& out = m_sets.Sets(mesh_SetKind::kSides)[i];
    std::vector<ORXSimDrawerDescription> drawers;
    for (const imp_Column& column : out.columns)
      drawers.push_back(imp_Drawer(column.members, ORXSimItemType::kInt32));
    const ORXSimDistributionID id = m_surfaces[out.key] = m_store.Distribution(out.key, drawers);
    std::vector<int> elements;
    for (std::size_t k = 0; k < out.columns.size(); ++k)
      imp_CopyPiece<int>(Target(id, static_cast<int>(k)), 0, out.columns[k].pieces[0], 1,
                         [&](std::size_t first, std::size_t count, int* sides) {
                           elements.resize(count);
                           m_source.ReadSet(sets[i], first, count, elements.data());
                           m_source.ReadSides(sets[i], first, count, elements.data(), sides);
                         });
  }
}
