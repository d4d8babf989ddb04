#include <pdmsim/export/gmsh/gmsh_Writer.h>

#include <pdmsim/export/out/exp_Read.h>
#include <pdmsim/mesh/mesh_Elements.h>

#include <array>
#include <climits>
#include <limits>

namespace {

long long tagOf(const std::vector<long long>& tags, std::size_t item) {
  return tags.empty() ? static_cast<long long>(item) + 1 : tags[item];
}

/// The least and the greatest of so many tags.
std::pair<long long, long long> range(const std::vector<long long>& tags, std::size_t count) {
  if (tags.empty() || count == 0)
    return {count > 0 ? 1 : 0, static_cast<long long>(count)};
  const auto [least, greatest] = std::minmax_element(tags.begin(), tags.end());
  return {*least, *greatest};
}

std::string quoted(std::string text) {
  for (char& c : text)
    if (c == '"' || c == '\n')
      c = '\'';
  return '"' + text + '"';
}

} // namespace

std::vector<long long> gmsh_Tags(const mesh_NumbersPtr& numbers, cli_Progress& progress) {
  if (!numbers || numbers->Rows() == 0)
    return {};
  std::vector<long long> tags;
  tags.reserve(numbers->Rows());
  exp_EachPiece<long long>(*numbers, progress, [&](std::size_t, std::size_t count, const long long* values) {
    tags.insert(tags.end(), values, values + count);
  });
  std::vector<long long> sorted = tags;
  std::sort(sorted.begin(), sorted.end());
  const bool good = sorted.front() >= 1 && sorted.back() <= INT_MAX &&
                    std::adjacent_find(sorted.begin(), sorted.end()) == sorted.end();
  return good ? tags : std::vector<long long>();
}

std::size_t gmsh_Components(std::size_t components) {
  return components <= 1 ? 1 : components <= 3 ? 3 : components <= 9 ? 9 : 0;
}

gmsh_Writer::gmsh_Writer(const exp_Task& task, const std::string& written)
    : m_task(task), m_mesh(task.mesh), m_ascii(task.wanted.ascii), m_out(written, task.wanted.out),
      m_groups(task.mesh), m_nodeTags(gmsh_Tags(task.mesh.NodeNumbers(), task.progress)),
      m_elementTags(gmsh_Tags(task.mesh.ElementNumbers(), task.progress)) {
  m_groups.FindSides(task);
}

void gmsh_Writer::Int(int number) {
  if (m_ascii)
    m_out << number << ' ';
  else
    m_out.Bytes(&number, sizeof number);
}
void gmsh_Writer::Size(std::size_t number) {
  if (m_ascii)
    m_out << number << ' ';
  else
    m_out.Bytes(&number, sizeof number);
}
void gmsh_Writer::Real(double number) {
  if (m_ascii)
    m_out << number << ' ';
  else
    m_out.Bytes(&number, sizeof number);
}
void gmsh_Writer::EndLine() {
  if (m_ascii)
    m_out << '\n';
}

void gmsh_Writer::Write() {
  m_out << "$MeshFormat\n4.1 " << (m_ascii ? 0 : 1) << " 8\n";
  if (!m_ascii) {
    const int one = 1;
    m_out.Bytes(&one, sizeof one);
    m_out << '\n';
  }
  m_out << "$EndMeshFormat\n";
  WriteGroups();
  WriteEntities();
  WriteNodes();
  WriteElements();
  WriteFields();
  m_out.Close();
}

void gmsh_Writer::WriteGroups() {
  const auto count = std::count_if(m_groups.groups.begin(), m_groups.groups.end(),
                                   [](const gmsh_Group& group) { return group.dimension >= 0; });
  m_out << "$PhysicalNames\n" << static_cast<std::size_t>(count) << '\n';
  for (const gmsh_Group& group : m_groups.groups)
    if (group.dimension >= 0)
      m_out << group.dimension << ' ' << group.physical << ' ' << quoted(group.name) << '\n';
  m_out << "$EndPhysicalNames\n";
}

void gmsh_Writer::WriteEntities() {
  std::array<double, 6> box{};
  for (std::size_t axis = 0; axis < m_mesh.Dimension() && m_mesh.Nodes() > 0; ++axis) {
    box[axis] = std::numeric_limits<double>::infinity();
    box[axis + 3] = -box[axis];
    exp_EachPiece<double>(*m_mesh.Coordinate(axis), m_task.progress,
                          [&](std::size_t, std::size_t count, const double* values) {
                            const auto [least, most] = std::minmax_element(values, values + count);
                            box[axis] = std::min(box[axis], *least);
                            box[axis + 3] = std::max(box[axis + 3], *most);
                          });
  }
  std::array<std::size_t, 4> counts{};
  for (const gmsh_Group& group : m_groups.groups)
    if (group.dimension >= 0)
      ++counts[static_cast<std::size_t>(group.dimension)];
  m_out << "$Entities\n";
  for (const std::size_t count : counts)
    Size(count);
  EndLine();
  for (int dimension = 0; dimension < 4; ++dimension)
    for (const gmsh_Group& group : m_groups.groups) {
      if (group.dimension != dimension)
        continue;
      Int(group.entity);
      for (std::size_t i = 0; i < (dimension == 0 ? 3U : 6U); ++i)
        Real(box[i]);
      Size(1);
      Int(group.physical);
      if (dimension > 0)
        Size(0); // nothing is said of what bounds it
      EndLine();
    }
  m_out << (m_ascii ? "$EndEntities\n" : "\n$EndEntities\n");
}

void gmsh_Writer::WriteNodes() {
  const std::size_t nodes = m_mesh.Nodes(), step = exp_RowsAtATime(3 * sizeof(double));
  const auto [least, greatest] = range(m_nodeTags, nodes);
  // All nodes are in the first entity of the highest dimension.
  gmsh_Group home;
  for (const gmsh_Group& group : m_groups.groups)
    if (group.dimension > home.dimension)
      home = group;
  if (home.dimension < 0)
    home = {static_cast<int>(m_mesh.Dimension()), 1, 0, {}};
  m_out << "$Nodes\n";
  Size(nodes > 0 ? 1 : 0);
  Size(nodes);
  Size(static_cast<std::size_t>(least));
  Size(static_cast<std::size_t>(greatest));
  EndLine();
  if (nodes > 0) {
    Int(home.dimension);
    Int(home.entity);
    Int(0);
    Size(nodes);
    EndLine();
  }
  for (std::size_t i = 0; i < nodes; ++i) {
    Size(static_cast<std::size_t>(tagOf(m_nodeTags, i)));
    EndLine();
  }
  std::vector<mesh_NumbersPtr> axes;
  for (std::size_t axis = 0; axis < m_mesh.Dimension() && nodes > 0; ++axis)
    axes.push_back(m_mesh.Coordinate(axis));
  std::vector<std::vector<double>> columns(3, std::vector<double>(std::min(step, nodes)));
  for (std::size_t first = 0; first < nodes; first += step) {
    const std::size_t count = std::min(step, nodes - first);
    for (std::size_t axis = 0; axis < axes.size(); ++axis)
      axes[axis]->Read(first, count, columns[axis].data());
    for (std::size_t i = 0; i < count; ++i) {
      for (const auto& column : columns)
        Real(column[i]);
      EndLine();
    }
    m_task.progress.Advance(static_cast<double>(24 * count));
  }
  m_out << (m_ascii ? "$EndNodes\n" : "\n$EndNodes\n");
}

void gmsh_Writer::WriteElements() {
  std::size_t parts = m_groups.sides.size(), sides = 0, elements = 0;
  for (std::size_t k = 0; k < m_groups.elements.size(); ++k)
    if (m_groups.elements[k].ours && m_mesh.Blocks()[k].elements > 0) {
      ++parts;
      elements += m_mesh.Blocks()[k].elements;
    }
  for (const gmsh_SideElements& one : m_groups.sides)
    sides += one.nodes.size() / one.width;
  const auto [least, greatest] = range(m_elementTags, m_mesh.Elements());
  m_out << "$Elements\n";
  Size(parts);
  Size(elements + sides);
  Size(static_cast<std::size_t>(least));
  Size(static_cast<std::size_t>(greatest) + sides);
  EndLine();
  for (std::size_t k = 0; k < m_groups.elements.size(); ++k) {
    const mesh_Block& block = m_mesh.Blocks()[k];
    const gmsh_Element& type = m_groups.elements[k];
    if (!type.ours || block.elements == 0)
      continue;
    Int(m_groups.groups[k].dimension);
    Int(m_groups.groups[k].entity);
    Int(type.type);
    Size(block.elements);
    EndLine();
    exp_EachNodes(
        m_mesh, block, m_task.progress,
        [&](std::size_t first, std::size_t count, std::size_t width, const int* nodes) {
          for (std::size_t i = 0; i < count; ++i, nodes += width) {
            Size(static_cast<std::size_t>(tagOf(m_elementTags, block.firstElement + first + i)));
            for (std::size_t n = 0; n < width; ++n) {
              const std::size_t own = type.order.empty() ? n : static_cast<std::size_t>(type.order[n]);
              Size(static_cast<std::size_t>(tagOf(m_nodeTags, static_cast<std::size_t>(nodes[own]))));
            }
            EndLine();
          }
        });
  }
  std::size_t tag = static_cast<std::size_t>(greatest);
  WriteSides(tag);
  m_out << (m_ascii ? "$EndElements\n" : "\n$EndElements\n");
}

void gmsh_Writer::WriteSides(std::size_t& tag) {
  for (const gmsh_SideElements& one : m_groups.sides) {
    Int(m_groups.groups[one.group].dimension);
    Int(m_groups.groups[one.group].entity);
    Int(one.type);
    Size(one.nodes.size() / one.width);
    EndLine();
    for (std::size_t i = 0; i < one.nodes.size(); ++i) {
      if (i % one.width == 0)
        Size(++tag);
      Size(static_cast<std::size_t>(tagOf(m_nodeTags, static_cast<std::size_t>(one.nodes[i]))));
      if ((i + 1) % one.width == 0)
        EndLine();
    }
  }
}

void gmsh_Writer::WriteFields() {
  const std::size_t all = std::max<std::size_t>(1, m_mesh.Times().size());
  const auto each = [&](mesh_Place place, auto write) {
    const mesh_Variables& variables = m_mesh.Variables(place);
    for (std::size_t variable = 0; variable < variables.names.size(); ++variable) {
      bool any = false;
      for (const auto& present : variables.present)
        any = any || present[variable];
      for (std::size_t step = 0; any && step < (variables.Constant(variable) ? 1 : all); ++step)
        write(variable, step);
    }
  };
  each(mesh_Place::kNodes, [&](std::size_t variable, std::size_t step) { WriteNodeField(variable, step); });
  each(mesh_Place::kBlocks,
       [&](std::size_t variable, std::size_t step) { WriteElementField(variable, step); });
}

void gmsh_Writer::BeginField(const std::string& name, std::size_t step, std::size_t components,
                             std::size_t rows) {
  m_out << "1\n"
        << quoted(name) << "\n1\n"
        << (m_mesh.Times().empty() ? 0.0 : m_mesh.Times()[step]) << "\n3\n"
        << m_task.wanted.firstStep + step << '\n'
        << components << '\n'
        << rows << '\n';
}

void gmsh_Writer::WriteRows(const mesh_Numbers& values, std::size_t components, std::size_t firstTag,
                            const std::vector<long long>& tags) {
  const std::size_t width = values.Width();
  exp_EachPiece<double>(values, m_task.progress,
                        [&](std::size_t first, std::size_t count, const double* row) {
                          for (std::size_t i = 0; i < count; ++i, row += width) {
                            Int(static_cast<int>(tagOf(tags, firstTag + first + i)));
                            for (std::size_t c = 0; c < components; ++c)
                              Real(c < width ? row[c] : 0.0);
                            EndLine();
                          }
                        });
}

void gmsh_Writer::WriteNodeField(std::size_t variable, std::size_t step) {
  const mesh_Variables& variables = m_mesh.Variables(mesh_Place::kNodes);
  const std::size_t components = gmsh_Components(variables.Components(variable));
  if (components == 0 || m_mesh.Nodes() == 0)
    return;
  m_out << "$NodeData\n";
  BeginField(variables.names[variable], step, components, m_mesh.Nodes());
  WriteRows(*m_mesh.Values(mesh_Place::kNodes, variable, 0, step), components, 0, m_nodeTags);
  m_out << (m_ascii ? "$EndNodeData\n" : "\n$EndNodeData\n");
}

void gmsh_Writer::WriteElementField(std::size_t variable, std::size_t step) {
  const mesh_Variables& variables = m_mesh.Variables(mesh_Place::kBlocks);
  const std::size_t components = gmsh_Components(variables.Components(variable));
  std::vector<std::size_t> blocks;
  std::size_t rows = 0;
  for (std::size_t k = 0; k < variables.present.size(); ++k)
    if (variables.present[k][variable] && m_groups.elements[k].ours) {
      blocks.push_back(k);
      rows += variables.entitySizes[k];
    }
  if (components == 0 || rows == 0)
    return;
  m_out << "$ElementData\n";
  BeginField(variables.names[variable], step, components, rows);
  for (const std::size_t k : blocks)
    WriteRows(*m_mesh.Values(mesh_Place::kBlocks, variable, k, step), components,
              m_mesh.Blocks()[k].firstElement, m_elementTags);
  m_out << (m_ascii ? "$EndElementData\n" : "\n$EndElementData\n");
}
