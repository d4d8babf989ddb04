#include <pdmsim/stored/sto_Mesh.h>

#include <pdmsim/stored/sto_Fail.h>
#include <pdmsim/stored/sto_Joined.h>
#include <pdmsim/stored/sto_Numbers.h>

#include <algorithm>
#include <numeric>
#include <strings.h>

namespace {

/// The names of a long name, "x, y, z". Of more names than that the last takes the rest.
std::vector<std::string> split(const cow_String& text, std::size_t count) {
  std::vector<std::string> names;
  std::string rest(text.CStr());
  for (std::size_t at = 0; names.size() < count; rest.erase(0, at == std::string::npos ? at : at + 2)) {
    at = names.size() + 1 == count ? std::string::npos : rest.find(", ");
    names.push_back(rest.substr(0, at));
  }
  return names;
}

bool isCalled(const std::string& type, const char* name) {
  return strcasecmp(type.c_str(), name) == 0;
}

} // namespace

sto_Mesh::sto_Mesh(std::string file, const msfD_Mesh& mesh) : mesh_Source(std::move(file)), m_mesh(mesh) {
  ReadNodes();
  ReadBlocks();
  ReadSets();
  ReadTimes();
  ReadFields();
}

void sto_Mesh::Fail(const std::string& what) const {
  sto_Fail(m_path, what);
}

std::vector<int> sto_Mesh::Members(ORXSimCSetID set) const {
  const ORXSimCSet members(set);
  std::vector<int> items(sto_Size(members.Size()));
  if (set.Minor() == 0)
    std::iota(items.begin(), items.end(), 0);
  else if (!items.empty() && !members.OrderedMembers(items.data(), members.Size()))
    Fail("");
  return items;
}

std::vector<ORXSimPersistentDrawerDesc> sto_Mesh::Drawers(ORXSimDistributionID id) const {
  const ORXSimDistributionRef distribution(id);
  std::vector<ORXSimPersistentDrawerDesc> drawers;
  for (int i = 0; i < distribution.NumDrawers(); ++i) {
    drawers.push_back(distribution.Drawer(i));
    if (drawers.back().CSet().IsNull())
      Fail("");
  }
  return drawers;
}

std::map<std::string, long long> sto_Mesh::Labels(const char* field,
                                                  const std::vector<std::string>& keys) const {
  std::map<std::string, long long> labels;
  const ORXSimDistributionID id = m_mesh.meshFields().get(field);
  if (id.IsNull() || keys.empty() ||
      ORXSimDistributionRef(id).DataSizeItems(0) != static_cast<int>(keys.size()))
    return labels;
  std::vector<long long> ids(keys.size());
  sto_Numbers(m_path, id, 0, 0, keys.size()).Read(0, keys.size(), ids.data());
  for (std::size_t i = 0; i < keys.size(); ++i)
    labels[keys[i]] = ids[i];
  return labels;
}

void sto_Mesh::ReadNodes() {
  if (m_mesh.nodes().IsNull())
    return;
  m_nodes = sto_Size(ORXSimCollectionRef(m_mesh.nodes()).NumItems());
  m_coordinates = m_mesh.nodeFields().get("coordinates");
  m_nodeLabels = m_mesh.nodeFields().get("label");
  if (m_coordinates.IsNull()) {
    m_notes.push_back("no coordinates");
    m_dimension = 3;
  } else {
    const ORXSimPersistentDrawerDesc drawer = ORXSimDistributionRef(m_coordinates).Drawer(0);
    m_dimension = sto_Size(drawer.Components());
    if (m_dimension < 1 || m_dimension > 3 || sto_Size(drawer.Items()) != m_nodes)
      Fail("expected coordinates of 1 to 3 axes for each of " + std::to_string(m_nodes) + " nodes, found " +
           std::to_string(drawer.Items()) + " rows of " + std::to_string(drawer.Components()));
    m_axisNames = split(drawer.LongName(), m_dimension);
    m_lengthUnit = ORXSimDistributionRef(m_coordinates).Unit().CStr();
  }
  m_axisNames.resize(m_dimension);
  for (std::size_t axis = 0; axis < m_dimension; ++axis)
    if (m_axisNames[axis].empty())
      m_axisNames[axis] = std::string(1, "xyz"[axis]);
}

void sto_Mesh::ReadBlocks() {
  const FieldMap& fields = m_mesh.elementFields();
  m_connectivity = fields.get("connectivity");
  m_elementLabels = fields.get("label");
  m_attributes = fields.get("attribute");
  if (m_connectivity.IsNull())
    return;
  for (const ORXSimPersistentDrawerDesc& drawer : Drawers(m_connectivity)) {
    mesh_Block block;
    block.number = static_cast<int>(m_blocks.size()) + 1;
    block.id = block.number;
    block.type = drawer.LongName().CStr();
    block.elements = sto_Size(drawer.Items());
    block.nodesPerElement = block.elements > 0 ? sto_Size(drawer.Components()) : 0;
    if (isCalled(block.type, "nsided"))
      block.shape = mesh_Block::Shape::kPolygons;
    if (isCalled(block.type, "nfaced"))
      block.shape = mesh_Block::Shape::kPolyhedra;
    m_blocks.push_back(std::move(block));
    m_storedBlocks.push_back({drawer.CSet(), {}, -1});
  }
  NameBlocks();
  CountElements();
  OrderElements();
  if (m_attributes.IsNull())
    return;
  const auto attributes = Drawers(m_attributes);
  for (std::size_t i = 0; i < attributes.size(); ++i)
    for (std::size_t k = 0; k < m_blocks.size(); ++k)
      if (m_storedBlocks[k].members == attributes[i].CSet() && m_storedBlocks[k].attributeDrawer < 0) {
        m_storedBlocks[k].attributeDrawer = static_cast<int>(i);
        m_blocks[k].attributes = split(attributes[i].LongName(), sto_Size(attributes[i].Components()));
        break;
      }
}

void sto_Mesh::NameBlocks() {
  m_mesh.regionSets().ForEach([&](const kda_string& key, ORXSimCSetID set) {
    const std::vector<int> regions = set.IsNull() ? std::vector<int>() : Members(set);
    if (regions.size() == 1 && sto_Size(regions[0]) < m_blocks.size() &&
        m_blocks[sto_Size(regions[0])].name.empty())
      m_blocks[sto_Size(regions[0])].name = key.cStr();
  });
  const ORXSimDistributionID labels = m_mesh.regionFields().get("label");
  if (labels.IsNull() || sto_Size(ORXSimDistributionRef(labels).DataSizeItems(0)) != m_blocks.size())
    return;
  std::vector<long long> ids(m_blocks.size());
  sto_Numbers(m_path, labels, 0, 0, ids.size()).Read(0, ids.size(), ids.data());
  for (std::size_t k = 0; k < ids.size(); ++k)
    m_blocks[k].id = ids[k];
}

void sto_Mesh::CountElements() {
  for (std::size_t k = 0; k < m_blocks.size(); ++k) {
    mesh_Block& block = m_blocks[k];
    // Elements without nodes have no row of connectivity, and are in the block's element set only.
    const bool named = !block.name.empty() && m_mesh.elementSets().isMember(block.name.c_str());
    const ORXSimCSetID set = named ? m_mesh.elementSets().get(block.name.c_str()) : ORXSimCSetID();
    if (block.elements == 0 && !set.IsNull()) {
      m_storedBlocks[k].members = set;
      block.elements = sto_Size(ORXSimCSet(m_storedBlocks[k].members).Size());
    }
    block.firstElement = m_elements;
    m_elements += block.elements;
    if (block.shape == mesh_Block::Shape::kPolygons && block.nodesPerElement > 0)
      block.nodesPerElement = Corners(block);
  }
}

std::size_t sto_Mesh::Corners(const mesh_Block& block) const {
  const auto nodes = Connectivity(block);
  const std::size_t atATime = std::max<std::size_t>(1, (std::size_t{1} << 20) / nodes->Width());
  std::vector<int> piece;
  std::size_t corners = 0;
  for (std::size_t first = 0; first < block.elements; first += atATime) {
    const std::size_t count = std::min(atATime, block.elements - first);
    piece.resize(count * nodes->Width());
    nodes->Next(count, piece.data());
    corners += static_cast<std::size_t>(
        std::count_if(piece.begin(), piece.end(), [](int node) { return node >= 0; }));
  }
  return corners;
}

void sto_Mesh::OrderElements() {
  const std::size_t items =
      m_mesh.elements().IsNull() ? 0 : sto_Size(ORXSimCollectionRef(m_mesh.elements()).NumItems());
  std::vector<int> order;
  order.reserve(m_elements);
  for (const StoredBlock& block : m_storedBlocks) {
    const std::vector<int> members = Members(block.members);
    order.insert(order.end(), members.begin(), members.end());
  }
  bool own = order.size() <= items;
  for (std::size_t i = 0; own && i < order.size(); ++i)
    own = order[i] == static_cast<int>(i);
  if (order.size() < items)
    m_notes.push_back(std::to_string(items - std::min(items, order.size())) + " elements without nodes");
  if (own)
    return;
  m_places.assign(items, -1);
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (sto_Size(order[i]) >= items || m_places[sto_Size(order[i])] >= 0)
      Fail("expected each element in one block, found element " + std::to_string(order[i]) + " in two");
    m_places[sto_Size(order[i])] = static_cast<int>(i);
  }
  m_items = std::move(order);
}

void sto_Mesh::ReadSets() {
  AddSets(mesh_SetKind::kNodes, m_mesh.nodeSets(), "nodeSetLabel");
  AddSets(mesh_SetKind::kElements, m_mesh.elementSets(), "elementSetLabel");
  AddSurfaces();
  FindFactors(mesh_SetKind::kNodes, m_mesh.nodeFields());
  FindFactors(mesh_SetKind::kElements, m_mesh.elementFields());
  FindFactors(mesh_SetKind::kSides, m_mesh.surfaceFields());
}

void sto_Mesh::AddSets(mesh_SetKind kind, const SetMap& sets, const char* label) {
  std::vector<std::string> keys;
  sets.ForEach([&](const kda_string& key, ORXSimCSetID) { keys.emplace_back(key.cStr()); });
  const auto labels = Labels(label, keys);
  sets.ForEach([&](const kda_string& key, ORXSimCSetID members) {
    if (members.IsNull())
      return m_notes.push_back("the set " + std::string(key.cStr()) + ", which is null");
    if (kind == mesh_SetKind::kElements)
      for (std::size_t k = 0; k < m_blocks.size(); ++k)
        if (m_storedBlocks[k].members == members && m_blocks[k].name == key.cStr())
          return; // the block itself
    auto& list = m_sets[static_cast<std::size_t>(kind)];
    const auto found = labels.find(key.cStr());
    const std::size_t count = sto_Size(ORXSimCSet(members).Size());
    const int number = static_cast<int>(list.size()) + 1;
    list.push_back({kind, number, found == labels.end() ? number : found->second, key.cStr(), count, 0});
    m_storedSets[static_cast<std::size_t>(kind)].push_back({{}, {{members, -1, -1, count}}});
  });
}

void sto_Mesh::AddSurfaces() {
  std::vector<std::string> keys;
  m_mesh.surfaces().ForEach(
      [&](const kda_string& key, ORXSimDistributionID) { keys.emplace_back(key.cStr()); });
  const auto labels = Labels("surfaceLabel", keys);
  m_mesh.surfaces().ForEach([&](const kda_string& key, ORXSimDistributionID id) {
    if (id.IsNull())
      return m_notes.push_back("the surface " + std::string(key.cStr()) + ", which is null");
    auto& list = m_sets[static_cast<std::size_t>(mesh_SetKind::kSides)];
    const auto found = labels.find(key.cStr());
    const int number = static_cast<int>(list.size()) + 1;
    mesh_Set set{mesh_SetKind::kSides, number, found == labels.end() ? number : found->second,
                 key.cStr(),           0,      0};
    StoredSet stored{id, {}};
    for (const ORXSimPersistentDrawerDesc& drawer : Drawers(id)) {
      stored.parts.push_back(
          {drawer.CSet(), static_cast<int>(stored.parts.size()), -1, sto_Size(drawer.Items())});
      set.size += sto_Size(drawer.Items());
    }
    list.push_back(std::move(set));
    m_storedSets[static_cast<std::size_t>(mesh_SetKind::kSides)].push_back(std::move(stored));
  });
}

void sto_Mesh::FindFactors(mesh_SetKind kind, const FieldMap& fields) {
  const ORXSimDistributionID id = fields.get("distributionFactor");
  if (id.IsNull())
    return;
  const auto drawers = Drawers(id);
  auto& sets = m_sets[static_cast<std::size_t>(kind)];
  for (std::size_t i = 0; i < drawers.size(); ++i)
    for (std::size_t s = 0; s < sets.size(); ++s) {
      if (sets[s].name != drawers[i].LongName().CStr())
        continue;
      auto& parts = m_storedSets[static_cast<std::size_t>(kind)][s].parts;
      const auto part = std::find_if(parts.begin(), parts.end(), [&](const Part& one) {
        return one.factorDrawer < 0 && one.members == drawers[i].CSet();
      });
      if (part == parts.end())
        continue;
      part->factorDrawer = static_cast<int>(i);
      sets[s].factors += sto_Size(drawers[i].Items()) * sto_Size(drawers[i].Components());
    }
}

mesh_NumbersPtr sto_Mesh::Coordinate(std::size_t axis) const {
  if (m_coordinates.IsNull())
    Fail("expected coordinates of the nodes, found none");
  auto numbers = std::make_unique<sto_Numbers>(m_path, m_coordinates, 0, 0, m_nodes);
  numbers->Only(axis);
  return numbers;
}

mesh_NumbersPtr sto_Mesh::NodeNumbers() const {
  return m_nodeLabels.IsNull() ? nullptr : std::make_unique<sto_Numbers>(m_path, m_nodeLabels, 0, 0, m_nodes);
}

mesh_NumbersPtr sto_Mesh::ElementNumbers() const {
  if (m_elementLabels.IsNull())
    return nullptr;
  if (HasOwnOrder())
    return std::make_unique<sto_Numbers>(m_path, m_elementLabels, 0, 0, m_elements);
  return std::make_unique<sto_Numbers>(m_path, m_elementLabels, 0, m_items);
}

mesh_NumbersPtr sto_Mesh::NodeMap(std::size_t map) const {
  return std::make_unique<sto_Numbers>(m_path, m_nodeMapFields[map], 0, 0, m_nodes);
}

mesh_NumbersPtr sto_Mesh::ElementMap(std::size_t map) const {
  if (HasOwnOrder())
    return std::make_unique<sto_Numbers>(m_path, m_elementMapFields[map], 0, 0, m_elements);
  return std::make_unique<sto_Numbers>(m_path, m_elementMapFields[map], 0, m_items);
}

std::unique_ptr<mesh_Connectivity> sto_Mesh::Connectivity(const mesh_Block& block) const {
  class Nodes : public mesh_Connectivity {
   public:
    Nodes(const sto_Mesh& mesh, const mesh_Block& block)
        : m_mesh(mesh), m_numbers(mesh.Path(), mesh.ConnectivityField(), block.number - 1, 0, block.elements),
          m_least(block.shape == mesh_Block::Shape::kPolygons ? -1 : 0) {}
    std::size_t Width() const override { return m_numbers.Width(); }
    void Next(std::size_t count, int* out) override {
      m_numbers.Read(m_element, count, out);
      m_element += count;
      for (std::size_t i = 0; i < count * Width(); ++i)
        if (out[i] < m_least || out[i] >= static_cast<int>(m_mesh.Nodes()))
          m_mesh.Fail("expected nodes in 0.." + std::to_string(m_mesh.Nodes()) + ", found " +
                      std::to_string(out[i]) + " in connectivity");
    }

   private:
    const sto_Mesh& m_mesh;
    sto_Numbers m_numbers;
    int m_least;
    std::size_t m_element = 0;
  };
  return std::make_unique<Nodes>(*this, block);
}

mesh_NumbersPtr sto_Mesh::Attributes(const mesh_Block& block) const {
  return std::make_unique<sto_Numbers>(
      m_path, m_attributes, m_storedBlocks[sto_Size(block.number - 1)].attributeDrawer, 0, block.elements);
}

void sto_Mesh::ReadSet(const mesh_Set& set, std::size_t first, std::size_t count, int* out) const {
  const auto& parts = m_storedSets[static_cast<std::size_t>(set.kind)][sto_Size(set.number - 1)].parts;
  for (const Part& part : parts) {
    if (first >= part.size || count == 0) {
      first -= std::min(first, part.size);
      continue;
    }
    const std::vector<int> members = Members(part.members);
    const std::size_t here = std::min(count, part.size - first);
    std::transform(&members[first], &members[first] + here, out, [&](int item) {
      const bool ofNodes = set.kind == mesh_SetKind::kNodes;
      const int place = ofNodes || m_places.empty() ? item : m_places[sto_Size(item)];
      if (!ofNodes && (place < 0 || sto_Size(place) >= m_elements))
        Fail("expected the set " + set.name + " to have elements of the blocks, found element " +
             std::to_string(item));
      return place;
    });
    out += here;
    count -= here;
    first = 0;
  }
}

void sto_Mesh::ReadSides(const mesh_Set& set, std::size_t first, std::size_t count, const int*,
                         int* out) const {
  const StoredSet& stored = m_storedSets[static_cast<std::size_t>(set.kind)][sto_Size(set.number - 1)];
  std::vector<mesh_NumbersPtr> parts;
  for (const Part& part : stored.parts)
    parts.push_back(std::make_unique<sto_Numbers>(m_path, stored.surface, part.drawer, 0, part.size));
  sto_Joined(std::move(parts)).Read(first, count, out);
}

mesh_NumbersPtr sto_Mesh::Factors(const mesh_Set& set) const {
  const FieldMap& fields = set.kind == mesh_SetKind::kNodes      ? m_mesh.nodeFields()
                           : set.kind == mesh_SetKind::kElements ? m_mesh.elementFields()
                                                                 : m_mesh.surfaceFields();
  const ORXSimDistributionID id = fields.get("distributionFactor");
  std::vector<mesh_NumbersPtr> parts;
  for (const Part& part : m_storedSets[static_cast<std::size_t>(set.kind)][sto_Size(set.number - 1)].parts)
    if (part.factorDrawer >= 0)
      parts.push_back(std::make_unique<sto_Numbers>(m_path, id, part.factorDrawer, 0, part.size));
  return std::make_unique<sto_Flat>(std::make_unique<sto_Joined>(std::move(parts)));
}
