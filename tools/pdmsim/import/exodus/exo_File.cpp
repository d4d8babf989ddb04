#include <pdmsim/import/exodus/exo_File.h>

#include <pdmsim/import/exodus/exo_Reader.h>

#include <algorithm>
#include <climits>
#include <strings.h>

namespace {

/// The number of sides of an element type, as far as the type's name settles it.
std::size_t SidesOf(const exo_Block& block) {
  constexpr std::pair<const char*, std::size_t> solids[] = {{"hex", 6}, {"tet", 4}, {"wed", 5}, {"pyr", 5}};
  for (const auto& [prefix, sides] : solids)
    if (strncasecmp(block.type.c_str(), prefix, 3) == 0)
      return sides;
  if (block.shape != exo_Block::Shape::kFixed)
    return INT_MAX;
  return std::max<std::size_t>(6, block.nodesPerElement + 2); // edges and both faces
}

std::string Number(std::size_t value) {
  return std::to_string(value);
}

} // namespace

exo_File::exo_File(const std::string& path) : m_file(path) {
  exo_Reader(*this).ReadAll();
}

exo_Series exo_File::Coordinate(std::size_t axis) const {
  const std::string name = std::string("coord") + "xyz"[axis];
  if (const auto array = m_file.Find(name)) {
    array->Require({m_nodes}, exo_Array::Kind::kReal);
    return {*array, {}};
  }
  const auto table = m_file.Find("coord");
  if (!table)
    m_file.Fail("expected the coordinates of the nodes in " + name + " or coord, found neither");
  table->Require({m_dimension, m_nodes}, exo_Array::Kind::kReal);
  return {*table, {axis}};
}

static std::optional<exo_Series> Numbers(const exo_NetCDF& file, const char* name, std::size_t size) {
  const auto array = size ? file.Find(name) : std::nullopt;
  if (!array)
    return std::nullopt;
  array->Require({size}, exo_Array::Kind::kInteger);
  return exo_Series(*array, {});
}

std::optional<exo_Series> exo_File::NodeNumbers() const {
  return Numbers(m_file, "node_num_map", m_nodes);
}
std::optional<exo_Series> exo_File::ElementNumbers() const {
  return Numbers(m_file, "elem_num_map", m_elements);
}

exo_Series exo_File::Map(const exo_Map& map) const {
  return {*m_file.Find(map.variable), {}};
}

exo_Series exo_File::Attributes(const exo_Block& block) const {
  return {*m_file.Find("attrib" + std::to_string(block.number)), {}};
}

void exo_File::ReadSet(const exo_Set& set, std::size_t first, std::size_t count, int* out) const {
  const std::string name = exo_NamesOf(set.kind).entries + std::to_string(set.number);
  const bool nodes = set.kind == exo_SetKind::kNodes;
  const auto limit = static_cast<int>(nodes ? m_nodes : m_elements);
  exo_Series(*m_file.Find(name), {}).Read(first, count, out);
  for (std::size_t i = 0; i < count; ++i) {
    if (out[i] < 1 || out[i] > limit)
      m_file.Fail("expected " + name + " to hold " + (nodes ? "nodes" : "elements") + " in 1.." +
                  std::to_string(limit) + ", found " + std::to_string(out[i]) + " at entry " +
                  Number(first + i + 1));
    --out[i];
  }
}

void exo_File::ReadSides(const exo_Set& set, std::size_t first, std::size_t count, const int* elements,
                         int* out) const {
  const std::string name = exo_NamesOf(set.kind).sides + std::to_string(set.number);
  exo_Series(*m_file.Find(name), {}).Read(first, count, out);
  auto block = m_blocks.begin();
  for (std::size_t i = 0; i < count; ++i) {
    const auto element = static_cast<std::size_t>(elements[i]);
    if (element < block->firstElement || element >= block->firstElement + block->elements)
      block = std::upper_bound(m_blocks.begin(), m_blocks.end(), element,
                               [](std::size_t e, const exo_Block& b) { return e < b.firstElement; }) -
              1;
    if (out[i] < 1 || static_cast<std::size_t>(out[i]) > SidesOf(*block))
      m_file.Fail("expected " + name + " to hold sides in 1.." + Number(SidesOf(*block)) +
                  " of elements of type " + block->type + ", found " + std::to_string(out[i]) + " at entry " +
                  Number(first + i + 1));
    --out[i];
  }
}

exo_Series exo_File::Factors(const exo_Set& set) const {
  return {*m_file.Find(exo_NamesOf(set.kind).factors + std::to_string(set.number)), {}};
}

exo_Series exo_File::Values(exo_Place place, std::size_t variable, std::size_t entity,
                            std::size_t step) const {
  const exo_VariableNames& names = exo_NamesOf(place);
  const exo_Variables& variables = Variables(place);
  const std::size_t size = variables.entitySizes[entity], count = variables.names.size();
  std::string name = names.values;
  if (place != exo_Place::kGlobal && (names.entity || !m_file.Find(name)))
    name += Number(variable + 1);
  if (names.entity)
    name += names.entity + Number(entity + 1);
  const auto array = m_file.Find(name);
  if (!array)
    m_file.Fail("expected the values of the variable " + variables.names[variable] + " in " + name +
                ", found no such variable");
  if (place == exo_Place::kGlobal) { // all variables of a step in one row
    array->Require({m_times.size(), count}, exo_Array::Kind::kReal);
    return {*array, {step}};
  }
  if (name == names.values) { // the old form: steps, variables, nodes
    array->Require({m_times.size(), count, size}, exo_Array::Kind::kReal);
    return {*array, {step, variable}};
  }
  array->Require({m_times.size(), size}, exo_Array::Kind::kReal);
  return {*array, {step}};
}

exo_Connectivity::exo_Connectivity(const exo_File& file, const exo_Block& block)
    : m_file(file), m_block(block) {
  m_nodes.emplace(*file.File().Find("connect" + std::to_string(block.number)), std::vector<std::size_t>{});
  m_width = block.nodesPerElement;
  if (block.shape != exo_Block::Shape::kPolygons)
    return;
  const std::string name = "ebepecnt" + std::to_string(block.number);
  const auto corners = file.File().Find(name);
  if (!corners)
    file.File().Fail("expected the corner counts of the polygons of block " + std::to_string(block.id) +
                     " in " + name + ", found no such variable");
  corners->Require({block.elements}, exo_Array::Kind::kInteger);
  m_corners.emplace(*corners, std::vector<std::size_t>{});
  std::size_t sum = 0;
  m_width = 0;
  std::vector<int> piece(std::min<std::size_t>(block.elements, 1 << 16));
  for (std::size_t first = 0; first < block.elements; first += piece.size()) {
    const std::size_t count = std::min(piece.size(), block.elements - first);
    m_corners->Read(first, count, piece.data());
    for (std::size_t i = 0; i < count; ++i) {
      if (piece[i] < 0)
        file.File().Fail("expected " + name + " to hold counts, found " + std::to_string(piece[i]));
      sum += static_cast<std::size_t>(piece[i]);
      m_width = std::max(m_width, static_cast<std::size_t>(piece[i]));
    }
  }
  if (sum != block.nodesPerElement)
    file.File().Fail("expected " + name + " to sum up to " + Number(block.nodesPerElement) + ", found " +
                     Number(sum));
}

void exo_Connectivity::Next(std::size_t count, int* out) {
  if (m_corners) {
    NextPolygons(count, out);
  } else {
    m_nodes->Read(m_element, count, out);
    CheckNodes(m_nodes->Array(), out, count * m_width);
  }
  m_element += count;
}

void exo_Connectivity::NextPolygons(std::size_t count, int* out) {
  std::vector<int> corners(count);
  m_corners->Read(m_element, count, corners.data());
  std::fill(out, out + count * m_width, -1);
  std::size_t total = 0;
  for (const int n : corners)
    total += static_cast<std::size_t>(n);
  std::vector<int> nodes(total);
  m_nodes->Read(m_corner, total, nodes.data());
  CheckNodes(m_nodes->Array(), nodes.data(), total);
  auto from = nodes.begin();
  for (std::size_t i = 0; i < count; ++i, from += corners[i - 1])
    std::copy_n(from, corners[i], out + i * m_width);
  m_corner += total;
}

void exo_Connectivity::CheckNodes(const exo_Array& array, int* nodes, std::size_t count) const {
  const auto limit = static_cast<unsigned>(m_file.Nodes());
  bool good = true; // asked only once, so that many nodes are checked at a time
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned node = static_cast<unsigned>(nodes[i]) - 1;
    good &= node < limit;
    nodes[i] = static_cast<int>(node);
  }
  if (good)
    return;
  const int* const wrong =
      std::find_if(nodes, nodes + count, [&](int node) { return static_cast<unsigned>(node) >= limit; });
  m_file.File().Fail("expected " + array.Name() + " (block " + std::to_string(m_block.id) +
                     ") to hold nodes in 1.." + std::to_string(limit) + ", found " +
                     std::to_string(static_cast<int>(static_cast<unsigned>(*wrong) + 1)));
}
