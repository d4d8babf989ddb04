#include <pdmsim/import/gmsh/gms_Builder.h>

#include <algorithm>
#include <cstdint>

// Version 2.2: a list of nodes and one of elements, each with its tags.

namespace {

std::size_t readCount(mesh_Input& in, bool binary, std::size_t bytes, const char* what) {
  const long long count = in.Int("the number of things that follow");
  if (count < 0)
    in.Fail(std::string("a number of ") + what, count);
  std::string rest;
  if (binary)
    in.NextLine(rest);
  in.Require(static_cast<std::size_t>(count), bytes, what);
  return static_cast<std::size_t>(count);
}

/// The elements, one after the other.
class Elements {
 public:
  Elements(gms_Builder& mesh, std::size_t total) : m_mesh(mesh), m_total(total) {}

  /// \param tags  physical group, geometric entity, number of parts...
  /// \param nodes their labels, in Gmsh's order.
  template <class Label>
  void Add(const gms_Type& type, long long label, const std::vector<int>& tags, const Label* nodes) {
    if (&type != m_type) {
      m_type = &type;
      m_cells = &m_mesh.Cells(type, 0, m_total);
    }
    const int physical = tags.empty() ? 0 : tags[0], entity = tags.size() < 2 ? 0 : tags[1];
    const auto width = static_cast<std::size_t>(type.element->nodes), at = m_cells->nodes.size();
    m_cells->nodes.resize(at + width);
    for (std::size_t i = 0; i < width; ++i)
      m_cells->nodes[at + i] =
          m_mesh.Node(nodes[type.order.empty() ? i : static_cast<std::size_t>(type.order[i])]);
    if (tags.size() > 2)
      for (std::size_t i = 3; i < tags.size() && i < 3 + static_cast<std::size_t>(std::max(0, tags[2])); ++i)
        m_mesh.partitions = std::max(m_mesh.partitions, tags[i] < 0 ? 0 : tags[i]);
    if (IsAgain(label, physical, entity, at, width))
      return;
    m_physicals.assign(1, physical);
    m_entity = entity;
    m_cells->labels.push_back(label);
    m_cells->families.push_back(FamilyOf(physical));
  }

 private:
  /// An element in several groups is written once for each of them, one after the other.
  bool IsAgain(long long label, int physical, int entity, std::size_t at, std::size_t width) {
    const auto last = m_cells->nodes.begin() + static_cast<std::ptrdiff_t>(at);
    const auto step = static_cast<std::ptrdiff_t>(width);
    if (m_cells != m_lastCells || at < width || m_physicals.empty() || physical == 0 || entity != m_entity ||
        std::find(m_physicals.begin(), m_physicals.end(), physical) != m_physicals.end() ||
        m_physicals[0] == 0 || !std::equal(last, last + step, last - step)) {
      m_lastCells = m_cells;
      return false;
    }
    m_physicals.push_back(physical);
    m_cells->nodes.resize(at);
    m_cells->families.back() = m_mesh.Family(m_type->element->dimension, m_physicals);
    if (label != m_cells->labels.back()) {
      m_mesh.aliases.emplace_back(label, static_cast<int>(m_cells->labels.size()) - 1);
      m_mesh.aliasTypes.push_back(m_type);
    }
    return true;
  }

  int FamilyOf(int physical) {
    if (physical != m_lastPhysical || m_type->element->dimension != m_lastDimension) {
      m_lastPhysical = physical;
      m_lastDimension = m_type->element->dimension;
      m_lastFamily = m_mesh.Family(m_lastDimension, {physical});
    }
    return m_lastFamily;
  }

  gms_Builder& m_mesh;
  std::size_t m_total;
  const gms_Type* m_type = nullptr;
  mesh_RawCells *m_cells = nullptr, *m_lastCells = nullptr;
  std::vector<long long> m_physicals; // of the last element
  int m_entity = 0, m_lastPhysical = 0, m_lastDimension = -1, m_lastFamily = -1;
};

/// The type of element i, behind its label. One without a type of ours is counted in the rest of them.
const gms_Type& typeOf(mesh_Input& in, const gms_Builder& mesh, std::size_t i, std::size_t count) {
  const long long number = in.Int("a type of element");
  if (gms_FindType(number))
    return mesh.Type(number);
  const mesh_Input::Place here = in.Here();
  std::size_t found = 1;
  std::string line;
  for (in.NextLine(line); ++i < count && in.NextLine(line);) {
    const std::size_t second = line.find(' ');
    found += second != line.npos && std::strtoll(line.c_str() + second, nullptr, 10) == number;
  }
  in.Go(here);
  return mesh.Type(number, found);
}

void readText(gms_Builder& mesh, std::size_t count) {
  mesh_Input& in = mesh.in;
  Elements elements(mesh, count);
  std::vector<int> tags;
  std::vector<long long> nodes;
  for (std::size_t i = 0; i < count; ++i) {
    const long long label = in.Int("the number of an element");
    const gms_Type& type = typeOf(in, mesh, i, count);
    const int tagCount = in.Int("a number of tags", 0, 1 << 20);
    in.Require(static_cast<std::size_t>(tagCount), 2, "tags");
    tags.resize(static_cast<std::size_t>(tagCount));
    for (int& tag : tags)
      tag = in.Int("a tag", INT32_MIN + 1LL, INT32_MAX);
    nodes.resize(static_cast<std::size_t>(type.element->nodes));
    for (long long& node : nodes)
      node = in.Int("the number of a node");
    elements.Add(type, label, tags, nodes.data());
  }
}

void readBytes(gms_Builder& mesh, std::size_t count) {
  mesh_Input& in = mesh.in;
  Elements elements(mesh, count);
  std::vector<int> tags, row;
  for (std::size_t done = 0; done < count;) {
    int header[3]; // type, number of elements, number of tags
    in.Numbers(header, 3, "the head of some elements");
    const gms_Type& type = mesh.Type(header[0], header[1] > 0 ? static_cast<std::size_t>(header[1]) : 0);
    if (header[1] < 1 || static_cast<std::size_t>(header[1]) > count - done)
      in.Fail("1 to " + std::to_string(count - done) + " elements", header[1]);
    if (header[2] < 0 || static_cast<std::size_t>(header[2]) > in.Left() / 4)
      in.Fail("a number of tags", header[2]);
    const auto tagCount = static_cast<std::size_t>(header[2]);
    row.resize(1 + tagCount + static_cast<std::size_t>(type.element->nodes));
    in.Require(static_cast<std::size_t>(header[1]), 4 * row.size(), "elements");
    for (int i = 0; i < header[1]; ++i) {
      in.Numbers(row.data(), row.size(), "an element");
      tags.assign(row.begin() + 1, row.begin() + 1 + static_cast<std::ptrdiff_t>(tagCount));
      elements.Add(type, row[0], tags, row.data() + 1 + tagCount);
    }
    done += static_cast<std::size_t>(header[1]);
  }
}

} // namespace

void gms_ReadNodes2(gms_Builder& mesh, bool binary) {
  mesh_Input& in = mesh.in;
  const std::size_t count = readCount(in, binary, binary ? 28 : 8, "nodes");
  mesh.nodeLabels.reserve(count);
  mesh.raw.coordinates.resize(3 * count);
  for (std::size_t i = 0; i < count; ++i) {
    mesh.nodeLabels.push_back(binary ? in.Number<std::int32_t>("a node") : in.Int("the number of a node"));
    if (binary)
      in.Numbers(&mesh.raw.coordinates[3 * i], 3, "a node");
    else
      for (std::size_t axis = 0; axis < 3; ++axis)
        mesh.raw.coordinates[3 * i + axis] = in.Real("a coordinate");
  }
  mesh.NodesAreRead();
}

void gms_ReadElements2(gms_Builder& mesh, bool binary) {
  mesh.RequireNodes();
  const std::size_t count = readCount(mesh.in, binary, binary ? 8 : 6, "elements");
  mesh.raw.cells.reserve(64); // so that none moves
  binary ? readBytes(mesh, count) : readText(mesh, count);
}
