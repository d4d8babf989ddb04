#include <pdmsim/import/exodus/exo_File.h>

#include <pdmsim/import/exodus/exo_Connectivity.h>
#include <pdmsim/import/exodus/exo_Reader.h>

#include <algorithm>
#include <climits>
#include <strings.h>

namespace {

/// The number of sides of an element type, as far as the type's name settles it.
std::size_t SidesOf(const mesh_Block& block) {
  constexpr std::pair<const char*, std::size_t> solids[] = {{"hex", 6}, {"tet", 4}, {"wed", 5}, {"pyr", 5}};
  for (const auto& [prefix, sides] : solids)
    if (strncasecmp(block.type.c_str(), prefix, 3) == 0)
      return sides;
  if (block.shape != mesh_Block::Shape::kFixed)
    return INT_MAX;
  return std::max<std::size_t>(6, block.nodesPerElement + 2); // edges and both faces
}

mesh_NumbersPtr numbers(exo_Array array, std::vector<std::size_t> lead = {}) {
  return std::make_unique<exo_Series>(std::move(array), std::move(lead));
}

/// Integers, one for each of `size` items; null when the file has none.
mesh_NumbersPtr integers(const exo_NetCDF& file, const std::string& name, std::size_t size) {
  const auto array = size ? file.Find(name) : std::nullopt;
  if (!array)
    return nullptr;
  array->Require({size}, exo_Array::Kind::kInteger);
  return numbers(*array);
}

} // namespace

exo_File::exo_File(const std::string& path) : mesh_Source(path), m_file(path) {
  exo_Reader(*this).ReadAll();
}

mesh_NumbersPtr exo_File::Coordinate(std::size_t axis) const {
  const std::string name = std::string("coord") + "xyz"[axis];
  if (const auto array = m_file.Find(name)) {
    array->Require({m_nodes}, exo_Array::Kind::kReal);
    return numbers(*array);
  }
  const auto table = m_file.Find("coord");
  if (!table)
    m_file.Fail("expected the coordinates of the nodes in " + name + " or coord, found neither");
  table->Require({m_dimension, m_nodes}, exo_Array::Kind::kReal);
  return numbers(*table, {axis});
}

mesh_NumbersPtr exo_File::NodeNumbers() const {
  return integers(m_file, "node_num_map", m_nodes);
}
mesh_NumbersPtr exo_File::ElementNumbers() const {
  return integers(m_file, "elem_num_map", m_elements);
}
mesh_NumbersPtr exo_File::NodeMap(std::size_t map) const {
  return numbers(*m_file.Find(m_nodeMapVariables[map]));
}
mesh_NumbersPtr exo_File::ElementMap(std::size_t map) const {
  return numbers(*m_file.Find(m_elementMapVariables[map]));
}

mesh_NumbersPtr exo_File::Attributes(const mesh_Block& block) const {
  return numbers(*m_file.Find("attrib" + std::to_string(block.number)));
}

std::unique_ptr<mesh_Connectivity> exo_File::Connectivity(const mesh_Block& block) const {
  return std::make_unique<exo_Connectivity>(*this, block);
}

void exo_File::ReadSet(const mesh_Set& set, std::size_t first, std::size_t count, int* out) const {
  const std::string name = exo_NamesOf(set.kind).entries + std::to_string(set.number);
  const bool nodes = set.kind == mesh_SetKind::kNodes;
  const auto limit = static_cast<int>(nodes ? m_nodes : m_elements);
  exo_Series(*m_file.Find(name), {}).Read(first, count, out);
  for (std::size_t i = 0; i < count; ++i) {
    if (out[i] < 1 || out[i] > limit)
      m_file.Fail("expected " + name + " to hold " + (nodes ? "nodes" : "elements") + " in 1.." +
                  std::to_string(limit) + ", found " + std::to_string(out[i]) + " at entry " +
                  std::to_string(first + i + 1));
    --out[i];
  }
}

void exo_File::ReadSides(const mesh_Set& set, std::size_t first, std::size_t count, const int* elements,
                         int* out) const {
  const std::string name = exo_NamesOf(set.kind).sides + std::to_string(set.number);
  exo_Series(*m_file.Find(name), {}).Read(first, count, out);
  auto block = m_blocks.begin();
  for (std::size_t i = 0; i < count; ++i) {
    const auto element = static_cast<std::size_t>(elements[i]);
    if (element < block->firstElement || element >= block->firstElement + block->elements)
      block = std::upper_bound(m_blocks.begin(), m_blocks.end(), element,
                               [](std::size_t e, const mesh_Block& b) { return e < b.firstElement; }) -
              1;
    if (out[i] < 1 || static_cast<std::size_t>(out[i]) > SidesOf(*block))
      m_file.Fail("expected " + name + " to hold sides in 1.." + std::to_string(SidesOf(*block)) +
                  " of elements of type " + block->type + ", found " + std::to_string(out[i]) + " at entry " +
                  std::to_string(first + i + 1));
    --out[i];
  }
}

mesh_NumbersPtr exo_File::Factors(const mesh_Set& set) const {
  return numbers(*m_file.Find(exo_NamesOf(set.kind).factors + std::to_string(set.number)));
}

mesh_NumbersPtr exo_File::Values(mesh_Place place, std::size_t variable, std::size_t entity,
                                 std::size_t step) const {
  const exo_VariableNames& names = exo_NamesOf(place);
  const mesh_Variables& variables = Variables(place);
  const std::size_t size = variables.entitySizes[entity], count = variables.names.size();
  std::string name = names.values;
  if (place != mesh_Place::kGlobal && (names.entity || !m_file.Find(name)))
    name += std::to_string(variable + 1);
  if (names.entity)
    name += names.entity + std::to_string(entity + 1);
  const auto array = m_file.Find(name);
  if (!array)
    m_file.Fail("expected the values of the variable " + variables.names[variable] + " in " + name +
                ", found no such variable");
  if (place == mesh_Place::kGlobal) { // all variables of a step in one row
    array->Require({m_times.size(), count}, exo_Array::Kind::kReal);
    return numbers(*array, {step});
  }
  if (name == names.values) { // the old form: steps, variables, nodes
    array->Require({m_times.size(), count, size}, exo_Array::Kind::kReal);
    return numbers(*array, {step, variable});
  }
  array->Require({m_times.size(), size}, exo_Array::Kind::kReal);
  return numbers(*array, {step});
}
