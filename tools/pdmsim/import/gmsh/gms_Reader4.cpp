#include <pdmsim/import/gmsh/gms_Builder.h>

#include <algorithm>
#include <climits>
#include <cstdint>

// Version 4.1: nodes and elements by geometric entity; entities say which physical groups they are in.

int gms_Reader4::Int(const char* what) {
  return m_binary ? m_in.Number<std::int32_t>(what) : m_in.Int(what, INT_MIN, INT_MAX);
}

std::size_t gms_Reader4::Size(const char* what) {
  if (m_binary)
    return m_wide == 8 ? m_in.Number<std::uint64_t>(what) : m_in.Number<std::uint32_t>(what);
  const long long number = m_in.Int(what);
  if (number < 0)
    m_in.Fail(what, number);
  return static_cast<std::size_t>(number);
}

double gms_Reader4::Real(const char* what) {
  return m_binary ? m_in.Number<double>(what) : m_in.Real(what);
}

/// The fewest bytes that so many numbers take.
std::size_t gms_Reader4::Bytes(std::size_t sizes, std::size_t reals, std::size_t ints) const {
  return m_binary ? static_cast<std::size_t>(m_wide) * sizes + 8 * reals + 4 * ints
                  : 2 * (sizes + reals + ints);
}

std::vector<long long> gms_Reader4::Ints(const char* what) {
  const std::size_t count = Size(what);
  m_in.Require(count, Bytes(0, 0, 1), what);
  std::vector<long long> ints(count);
  for (long long& one : ints)
    one = Int(what);
  return ints;
}

void gms_Reader4::ReadEntities(bool partitioned) {
  if (partitioned) {
    m_mesh.partitions = static_cast<int>(std::min<std::size_t>(Size("a number of partitions"), INT_MAX));
    const std::size_t ghosts = Size("a number of ghost entities");
    m_in.Require(ghosts, Bytes(0, 0, 2), "ghost entities");
    for (std::size_t i = 0; i < 2 * ghosts; ++i)
      Int("a ghost entity");
  }
  std::size_t counts[4];
  for (std::size_t& count : counts) {
    count = Size("a number of entities");
    m_in.Require(count, Bytes(1, 3, 1), "entities");
  }
  for (int dimension = 0; dimension < 4; ++dimension)
    for (std::size_t i = 0; i < counts[dimension]; ++i)
      ReadEntity(dimension, partitioned);
}

void gms_Reader4::ReadEntity(int dimension, bool partitioned) {
  Entity entity;
  const int tag = Int("the number of an entity");
  if (partitioned) {
    entity.parentDimension = Int("the dimension of an entity");
    entity.parent = Int("the number of an entity");
    Ints("partitions");
  }
  for (int i = 0; i < (dimension ? 6 : 3); ++i) // its box, or the point
    Real("a coordinate");
  entity.physicals = Ints("physical groups");
  if (entity.parentDimension > dimension) // between parts: the groups are those of what was cut
    entity.physicals.clear();
  if (dimension)
    Ints("bounding entities");
  m_entities[{dimension, tag}] = std::move(entity);
}

int gms_Reader4::FamilyOf(int dimension, int tag) {
  auto entity = m_entities.find({dimension, tag});
  if (entity != m_entities.end() && entity->second.physicals.empty() &&
      entity->second.parentDimension == dimension)
    entity = m_entities.find({dimension, entity->second.parent});
  return entity == m_entities.end() ? -1 : m_mesh.Family(dimension, entity->second.physicals);
}

void gms_Reader4::ReadNodes() {
  const std::size_t blocks = Size("a number of blocks"), total = Size("a number of nodes");
  Size("the least number of a node");
  Size("the greatest number of a node");
  m_in.Require(total, Bytes(1, 3, 0), "nodes");
  auto& labels = m_mesh.nodeLabels;
  auto& xyz = m_mesh.raw.coordinates;
  labels.reserve(total);
  xyz.reserve(3 * total);
  bool parametric = false;
  for (std::size_t block = 0; block < blocks; ++block) {
    const int dimension = Int("the dimension of an entity");
    Int("the number of an entity");
    const int parameters = Int("0 or 1 for parameters") ? std::clamp(dimension, 0, 3) : 0;
    const std::size_t count = Size("a number of nodes"), old = labels.size();
    m_in.Require(count, Bytes(1, 3 + static_cast<std::size_t>(parameters), 0), "nodes");
    if (count > total - old)
      m_in.Fail(std::to_string(total) + " nodes, as the first line says", std::to_string(old + count));
    parametric = parametric || parameters > 0;
    labels.resize(old + count);
    for (std::size_t i = old; i < labels.size(); ++i)
      labels[i] = static_cast<long long>(Size("the number of a node"));
    xyz.resize(3 * (old + count));
    if (m_binary && parameters == 0)
      m_in.Numbers(xyz.data() + 3 * old, 3 * count, "coordinates");
    else
      for (std::size_t i = old; i < labels.size(); ++i) {
        for (std::size_t axis = 0; axis < 3; ++axis)
          xyz[3 * i + axis] = Real("a coordinate");
        for (int k = 0; k < parameters; ++k)
          Real("a parameter");
      }
  }
  if (labels.size() != total)
    m_in.Fail(std::to_string(total) + " nodes, as the first line says", std::to_string(labels.size()));
  if (parametric)
    m_mesh.Note("the parameters of nodes on their geometric entities");
  m_mesh.NodesAreRead();
}

template <class Number>
void gms_Reader4::ReadCells(const gms_Type& type, std::size_t count, mesh_RawCells& cells) {
  constexpr std::size_t kAtATime = 4096;
  const auto width = static_cast<std::size_t>(type.element->nodes);
  std::vector<Number> rows(std::min(count, kAtATime) * (width + 1));
  for (std::size_t done = 0; done < count;) {
    const std::size_t here = std::min(kAtATime, count - done);
    m_in.Numbers(rows.data(), here * (width + 1), "elements");
    std::size_t at = cells.nodes.size();
    cells.nodes.resize(at + here * width);
    for (const Number* row = rows.data(); row < rows.data() + here * (width + 1); row += width + 1) {
      cells.labels.push_back(static_cast<long long>(row[0]));
      for (std::size_t i = 0; i < width; ++i)
        cells.nodes[at++] = m_mesh.Node(static_cast<long long>(
            row[1 + (type.order.empty() ? i : static_cast<std::size_t>(type.order[i]))]));
    }
    done += here;
  }
}

void gms_Reader4::ReadElements() {
  m_mesh.RequireNodes();
  const std::size_t blocks = Size("a number of blocks"), total = Size("a number of elements");
  Size("the least number of an element");
  Size("the greatest number of an element");
  m_in.Require(total, Bytes(2, 0, 0), "elements");
  std::size_t known = 0;
  for (std::size_t block = 0; block < blocks; ++block) {
    const int dimension = Int("the dimension of an entity"), tag = Int("the number of an entity");
    const int number = Int("a type of element");
    const std::size_t count = Size("a number of elements");
    const gms_Type& type = m_mesh.Type(number, count);
    if (type.element->dimension != dimension)
      m_in.Fail("elements of dimension " + std::to_string(dimension), type.element->name);
    const auto width = static_cast<std::size_t>(type.element->nodes);
    m_in.Require(count, Bytes(1 + width, 0, 0), "elements");
    if (count > total - known)
      m_in.Fail(std::to_string(total) + " elements, as the first line says", std::to_string(known + count));
    known += count;
    mesh_RawCells& cells = m_mesh.Cells(type, count, total);
    if (m_binary && m_wide == 8)
      ReadCells<std::uint64_t>(type, count, cells);
    else if (m_binary)
      ReadCells<std::uint32_t>(type, count, cells);
    else
      for (std::size_t i = 0; i < count; ++i) {
        cells.labels.push_back(m_in.Int("the number of an element"));
        const std::size_t at = cells.nodes.size();
        cells.nodes.resize(at + width);
        long long nodes[32];
        for (std::size_t k = 0; k < width; ++k)
          nodes[k] = m_in.Int("the number of a node");
        for (std::size_t k = 0; k < width; ++k)
          cells.nodes[at + k] =
              m_mesh.Node(nodes[type.order.empty() ? k : static_cast<std::size_t>(type.order[k])]);
      }
    cells.families.resize(cells.labels.size(), FamilyOf(dimension, tag));
  }
  if (known != total)
    m_in.Fail(std::to_string(total) + " elements, as the first line says", std::to_string(known));
}
