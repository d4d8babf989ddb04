#include <pdmsim/mesh/mesh_Assembly.h>

#include <pdmsim/mesh/mesh_Error.h>
#include <pdmsim/mesh/mesh_Polygons.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <map>

// What the cells become: elements in blocks, or sides. mesh_AssemblySets.cpp makes the sets and the rest.

mesh_Assembly::mesh_Assembly(mesh_Raw raw)
    : m_mesh(std::make_unique<mesh_Assembled>(std::move(raw))), m_raw(m_mesh->m_raw),
      m_starts(m_mesh->m_starts), m_isSurface(m_raw.groups.size()), m_isBlock(m_raw.groups.size()) {}

std::unique_ptr<mesh_Source> mesh_Assembly::Make() {
  CheckSizes();
  Flatten();
  ChooseTypes();
  m_mesh->m_dimension = m_raw.dimension;
  m_mesh->m_lengthUnit = m_raw.lengthUnit;
  for (std::size_t axis = 0; axis < m_raw.dimension; ++axis)
    m_mesh->m_axisNames.emplace_back(1, "xyz"[axis]);
  m_mesh->m_times = m_raw.times;
  m_mesh->m_notes = m_raw.notes;
  if (m_raw.pointsAreNodes && m_highest > 0)
    MakePointsNodes();
  for (int dimension = m_highest - 1; dimension >= 0; --dimension)
    LeaveOutSides(dimension);
  m_mesh->m_cells.resize(static_cast<std::size_t>(std::count(m_leftOut.begin(), m_leftOut.end(), false)));
  for (int dimension = m_highest; dimension >= 0; --dimension)
    MakeBlocks(dimension);
  NumberBlocks();
  MakeElementSets();
  MakeSideSets();
  MakeNodeSets();
  MakeLabels();
  MakeVariables();
  return std::move(m_mesh);
}

void mesh_Assembly::Fail(const std::string& what) const {
  throw mesh_Error(m_raw.path, what);
}

template <class Use>
void mesh_Assembly::ForCells(int dimension, const Use& use) const {
  for (std::size_t list = 0; list < m_raw.cells.size(); ++list)
    if (dimension < 0 || m_raw.cells[list].type->dimension == dimension)
      for (std::size_t cell = m_starts[list]; cell < m_starts[list + 1]; ++cell)
        use(cell, m_raw.cells[list], cell - m_starts[list]);
}

void mesh_Assembly::CheckSizes() {
  if (m_raw.dimension < 1 || m_raw.dimension > 3)
    Fail("expected coordinates of 1 to 3 axes, found " + std::to_string(m_raw.dimension));
  m_mesh->m_nodes = m_raw.coordinates.size() / m_raw.dimension;
  if (m_mesh->m_nodes > INT_MAX)
    Fail("expected at most 2147483647 nodes, found " + std::to_string(m_mesh->m_nodes));
  if (!m_raw.nodeLabels.empty() && m_raw.nodeLabels.size() != m_mesh->m_nodes)
    Fail("expected a label for each of " + std::to_string(m_mesh->m_nodes) + " nodes, found " +
         std::to_string(m_raw.nodeLabels.size()));
  for (std::vector<int>& groups : m_raw.families) {
    std::sort(groups.begin(), groups.end());
    groups.erase(std::unique(groups.begin(), groups.end()), groups.end());
  }
  m_starts.assign(1, 0);
  for (const mesh_RawCells& cells : m_raw.cells) {
    const std::size_t count = cells.nodes.size() / static_cast<std::size_t>(cells.type->nodes);
    if ((!cells.labels.empty() && cells.labels.size() != count) ||
        (!cells.families.empty() && cells.families.size() != count))
      Fail("expected a label and a family for each of " + std::to_string(count) + " elements, found " +
           std::to_string(cells.labels.size()) + " and " + std::to_string(cells.families.size()));
    m_starts.push_back(m_starts.back() + count);
    m_highest = std::max(m_highest, count ? cells.type->dimension : 0);
    CheckNodes(cells);
  }
  if (m_starts.back() > INT_MAX)
    Fail("expected at most 2147483647 elements, found " + std::to_string(m_starts.back()));
  m_leftOut.resize(m_starts.back());
}

void mesh_Assembly::CheckNodes(const mesh_RawCells& cells) const {
  const auto nodes = static_cast<unsigned>(m_mesh->m_nodes);
  const unsigned none = mesh_ArePolygons(*cells.type) ? 1 : 0; // -1 is 0 then, and a node one more
  unsigned greatest = 0;
  for (const int node : cells.nodes)
    greatest = std::max(greatest, static_cast<unsigned>(node) + none);
  greatest -= greatest > 0 ? none : 0;
  if (!cells.nodes.empty() && greatest >= nodes)
    Fail("expected " + std::string(cells.type->name) + " elements of nodes in 1.." + std::to_string(nodes) +
         ", found " + std::to_string(static_cast<long long>(static_cast<int>(greatest)) + 1));
}

void mesh_Assembly::Flatten() {
  auto& xyz = m_raw.coordinates;
  if (m_raw.dimension != 3 || m_highest == 3 || xyz.empty())
    return;
  for (std::size_t i = 2; i < xyz.size(); i += 3)
    if (xyz[i] != 0)
      return;
  for (std::size_t node = 0; node < m_mesh->m_nodes; ++node) {
    xyz[2 * node] = xyz[3 * node];
    xyz[2 * node + 1] = xyz[3 * node + 1];
  }
  xyz.resize(2 * m_mesh->m_nodes);
  m_raw.dimension = 2;
}

void mesh_Assembly::ChooseTypes() {
  for (mesh_RawCells& cells : m_raw.cells)
    if (m_raw.dimension == 3 && cells.type->dimension == 2 && !mesh_ArePolygons(*cells.type))
      cells.type = mesh_FindElement("SHELL", static_cast<std::size_t>(cells.type->nodes));
}

bool mesh_Assembly::IsIn(int family, int dimension, bool surfaces) const {
  if (family < 0)
    return false;
  const auto& groups = m_raw.families[static_cast<std::size_t>(family)];
  return std::any_of(groups.begin(), groups.end(), [&](int group) {
    const auto g = static_cast<std::size_t>(group);
    const int of = m_raw.groups[g].dimension;
    return (of == dimension || of == mesh_kAnyDimension) && m_isSurface[g] == surfaces;
  });
}

int mesh_Assembly::FirstGroup(int family, int dimension) const {
  for (const int group : m_raw.families[static_cast<std::size_t>(family)]) {
    const auto g = static_cast<std::size_t>(group);
    if (m_raw.groups[g].dimension == dimension && !m_isSurface[g])
      return group;
  }
  return -1;
}

void mesh_Assembly::Note(const std::string& text, std::size_t count) {
  if (count)
    m_mesh->m_notes.push_back(text + " (" + std::to_string(count) + ")");
}

void mesh_Assembly::MakePointsNodes() {
  std::size_t labels = 0;
  ForCells(0, [&](std::size_t cell, const mesh_RawCells& list, std::size_t i) {
    if (list.families.empty() || list.families[i] < 0)
      return;
    for (const int group : m_raw.families[static_cast<std::size_t>(list.families[i])])
      if (mesh_RawGroup& of = m_raw.groups[static_cast<std::size_t>(group)]; of.dimension == 0) {
        of.nodes.push_back(list.nodes[i]);
        m_leftOut[cell] = true;
      }
    labels += m_leftOut[cell] && !list.labels.empty();
  });
  for (mesh_RawGroup& group : m_raw.groups)
    if (group.dimension == 0)
      group.dimension = -1;
  Note("labels of points that became nodes of sets", labels);
}

void mesh_Assembly::LeaveOutSides(int dimension) {
  const std::vector<mesh_SideOf> found = mesh_FindSides(m_raw, dimension);
  if (dimension == m_highest - 1)
    FindSurfaces(dimension, found);
  std::size_t place = 0, nameless = 0, labels = 0;
  ForCells(dimension, [&](std::size_t cell, const mesh_RawCells& list, std::size_t i) {
    const int family = list.families.empty() ? -1 : list.families[i];
    const bool isSide = found[place++].cell >= 0, named = IsIn(family, dimension, true);
    if (m_leftOut[cell] || IsIn(family, dimension, false) || (!named && (!isSide || m_raw.keepSides)))
      return;
    m_leftOut[cell] = true;
    nameless += !named;
    labels += named && !list.labels.empty();
  });
  constexpr const char* words[] = {"points", "lines", "faces"};
  Note(std::string(words[dimension]) + " without group that are sides of other elements", nameless);
  Note(std::string("labels of ") + words[dimension] + " that became sides in surfaces", labels);
}

void mesh_Assembly::FindSurfaces(int dimension, const std::vector<mesh_SideOf>& found) {
  std::vector<std::size_t> cells(m_raw.groups.size()), sides(m_raw.groups.size());
  const auto count = [&](const auto& use) {
    std::size_t place = 0;
    ForCells(dimension, [&](std::size_t, const mesh_RawCells& list, std::size_t i) {
      const mesh_SideOf& side = found[place++];
      if (!list.families.empty() && list.families[i] >= 0)
        for (const int group : m_raw.families[static_cast<std::size_t>(list.families[i])])
          if (m_raw.groups[static_cast<std::size_t>(group)].dimension == dimension)
            use(static_cast<std::size_t>(group), side);
    });
  };
  count([&](std::size_t group, const mesh_SideOf& side) {
    ++cells[group];
    sides[group] += side.cell >= 0;
  });
  std::vector<std::size_t> places(m_raw.groups.size());
  for (std::size_t group = 0; group < cells.size(); ++group)
    if (cells[group] && cells[group] == sides[group]) {
      m_isSurface[group] = true;
      places[group] = m_surfaces.size();
      m_surfaces.push_back({static_cast<int>(group), {}});
      m_surfaces.back().sides.reserve(cells[group]);
    }
  count([&](std::size_t group, const mesh_SideOf& side) {
    if (m_isSurface[group])
      m_surfaces[places[group]].sides.push_back(side);
  });
}

void mesh_Assembly::MakeBlocks(int dimension) {
  // Cells are dealt out by group and type: counted first, then placed.
  std::vector<const mesh_Element*> types;
  const auto typeOf = [&](const mesh_RawCells& list) {
    const auto known = std::find(types.begin(), types.end(), list.type);
    if (known == types.end())
      types.push_back(list.type);
    return static_cast<std::size_t>(std::find(types.begin(), types.end(), list.type) - types.begin());
  };
  for (const mesh_RawCells& list : m_raw.cells)
    if (list.type->dimension == dimension && !list.nodes.empty())
      typeOf(list);
  const std::size_t groups = m_raw.groups.size();
  std::vector<int> first(m_raw.families.size());
  for (std::size_t family = 0; family < first.size(); ++family)
    first[family] = FirstGroup(static_cast<int>(family), dimension);
  std::vector<std::size_t> inGroup(groups), next((groups + 1) * types.size());
  const auto forKept = [&](const auto& use) {
    for (std::size_t l = 0; l < m_raw.cells.size(); ++l) {
      const mesh_RawCells& list = m_raw.cells[l];
      if (list.type->dimension != dimension || list.nodes.empty())
        continue;
      const std::size_t type = typeOf(list);
      for (std::size_t cell = m_starts[l]; cell < m_starts[l + 1]; ++cell) {
        const int family = list.families.empty() ? -1 : list.families[cell - m_starts[l]];
        const int group = family < 0 ? -1 : first[static_cast<std::size_t>(family)];
        if (!m_leftOut[cell])
          use(cell, family, (group < 0 ? groups : static_cast<std::size_t>(group)) * types.size() + type);
      }
    }
  };
  std::vector<std::size_t> ofFamily(m_raw.families.size());
  forKept([&](std::size_t, int family, std::size_t key) {
    ++next[key];
    if (family >= 0)
      ++ofFamily[static_cast<std::size_t>(family)];
  });
  for (std::size_t family = 0; family < ofFamily.size(); ++family)
    for (const int group : m_raw.families[family])
      inGroup[static_cast<std::size_t>(group)] += ofFamily[family];
  for (std::size_t key = 0; key < next.size(); ++key)
    if (const std::size_t count = next[key]) {
      next[key] = m_mesh->m_elements;
      const std::size_t group = key / types.size();
      AddBlock(group < groups ? static_cast<int>(group) : -1, *types[key % types.size()], count,
               group < groups && inGroup[group] == count);
    }
  forKept(
      [&](std::size_t cell, int, std::size_t key) { m_mesh->m_cells[next[key]++] = static_cast<int>(cell); });
  for (mesh_Block& block : m_mesh->m_blocks)
    if (block.shape == mesh_Block::Shape::kPolygons && block.nodesPerElement == 0)
      block.nodesPerElement = Corners(block);
}

std::size_t mesh_Assembly::Corners(const mesh_Block& block) const {
  const auto nodes = m_mesh->Connectivity(block);
  std::vector<int> row(nodes->Width());
  std::size_t corners = 0;
  for (std::size_t element = 0; element < block.elements; ++element) {
    nodes->Next(1, row.data());
    corners += static_cast<std::size_t>(std::find(row.begin(), row.end(), -1) - row.begin());
  }
  return corners;
}

void mesh_Assembly::AddBlock(int group, const mesh_Element& type, std::size_t elements, bool whole) {
  mesh_Block block;
  block.number = static_cast<int>(m_mesh->m_blocks.size()) + 1;
  block.type = type.name;
  block.elements = elements;
  if (mesh_ArePolygons(type)) // their corners are counted when all of them are known
    block.shape = mesh_Block::Shape::kPolygons;
  else
    block.nodesPerElement = static_cast<std::size_t>(type.nodes);
  block.firstElement = m_mesh->m_elements;
  if (group >= 0) {
    const mesh_RawGroup& of = m_raw.groups[static_cast<std::size_t>(group)];
    m_isBlock[static_cast<std::size_t>(group)] = whole;
    const auto& known = m_mesh->m_blocks;
    const bool taken =
        std::any_of(known.begin(), known.end(), [&](const mesh_Block& one) { return one.id == of.id; });
    block.id = whole && !taken ? of.id : 0; // groups of other dimensions may have the same number
    block.name = whole || of.name.empty() ? of.name : of.name + "_" + type.name;
  }
  m_mesh->m_elements += elements;
  m_mesh->m_blocks.push_back(std::move(block));
}

void mesh_Assembly::NumberBlocks() {
  for (const mesh_RawGroup& group : m_raw.groups)
    m_lastId = std::max(m_lastId, std::min(group.id, LLONG_MAX / 2));
  for (mesh_Block& block : m_mesh->m_blocks)
    if (block.id == 0)
      block.id = ++m_lastId;
}
