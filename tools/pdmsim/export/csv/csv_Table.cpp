#include <pdmsim/export/csv/csv_Table.h>

#include <pdmsim/export/out/exp_Read.h>

#include <numeric>

namespace {

using What = csv_Field::What;

/// A text as it stands between commas.
std::string quoted(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos)
    return text;
  std::string out = "\"";
  for (const char c : text)
    out += c == '"' ? std::string("\"\"") : std::string(1, c);
  return out + '"';
}

bool isOfSets(mesh_Place place) {
  return place >= mesh_Place::kNodeSets;
}
bool isOfNodes(mesh_Place place) {
  return place == mesh_Place::kNodes || place == mesh_Place::kNodeSets;
}

} // namespace

csv_Table::csv_Table(const exp_Task& task, const csv_Field& field, const std::string& written)
    : m_task(task), m_mesh(task.mesh), m_field(field), m_out(written, task.wanted.out),
      m_labels(isOfNodes(field.place) ? task.mesh.NodeNumbers() : task.mesh.ElementNumbers()) {}

bool csv_Table::HasSteps() const {
  return m_field.what == What::kVariable && !m_mesh.Times().empty() &&
         !m_mesh.Variables(m_field.place).Constant(m_field.index);
}

void csv_Table::WriteHeader() {
  if (m_field.place != mesh_Place::kGlobal)
    m_out << (isOfSets(m_field.place)                ? "set,"
              : m_field.place == mesh_Place::kBlocks ? "block,"
                                                     : "")
          << (isOfNodes(m_field.place) ? "node" : "element")
          << (m_field.place == mesh_Place::kSideSets ? ",side," : ",");
  if (HasSteps())
    m_out << "step,time,";
  std::vector<std::string> names;
  std::string unit = m_mesh.LengthUnit();
  if (m_field.what == What::kCoordinates) {
    names = m_mesh.AxisNames();
  } else if (m_field.what == What::kMap) {
    unit.clear();
    names = {(isOfNodes(m_field.place) ? m_mesh.NodeMaps() : m_mesh.ElementMaps())[m_field.index].name};
  } else {
    const mesh_Variables& variables = m_mesh.Variables(m_field.place);
    unit = variables.Unit(m_field.index);
    const std::size_t components = variables.Components(m_field.index);
    for (std::size_t i = 0; i < components; ++i)
      names.push_back(exp_ComponentName(variables.names[m_field.index], i, components));
  }
  for (std::size_t i = 0; i < names.size(); ++i)
    m_out << (i == 0 ? "" : ",") << quoted(names[i] + (unit.empty() ? "" : " [" + unit + "]"));
  m_out << '\n';
}

void csv_Table::Write() {
  WriteHeader();
  if (m_field.what != What::kVariable) {
    if (m_field.what == What::kMap)
      WriteMap();
    else
      WriteCoordinates();
    return m_out.Close();
  }
  const std::size_t steps = HasSteps() ? m_mesh.Times().size() : 1;
  const mesh_Variables& variables = m_mesh.Variables(m_field.place);
  for (std::size_t step = 0; step < steps; ++step)
    if (m_field.place == mesh_Place::kGlobal)
      WriteGlobal(step);
    else
      for (std::size_t entity = 0; entity < variables.present.size(); ++entity)
        if (variables.present[entity][m_field.index] && RowsOf(entity) > 0)
          WriteEntity(entity, step);
  m_out.Close();
}

void csv_Table::ReadItems(std::size_t entity) {
  const std::size_t rows = RowsOf(entity);
  std::vector<int> items(rows);
  std::size_t first = 0;
  if (isOfSets(m_field.place)) {
    const auto kind = m_field.place == mesh_Place::kNodeSets      ? mesh_SetKind::kNodes
                      : m_field.place == mesh_Place::kElementSets ? mesh_SetKind::kElements
                                                                  : mesh_SetKind::kSides;
    const mesh_Set& set = m_mesh.Sets(kind)[entity];
    items = exp_Members(m_mesh, set);
    if (kind == mesh_SetKind::kSides)
      m_sides = exp_Sides(m_mesh, set, items);
    m_group = quoted(set.name);
  } else {
    if (m_field.place == mesh_Place::kBlocks) {
      first = m_mesh.Blocks()[entity].firstElement;
      m_group = quoted(m_mesh.Blocks()[entity].name);
    }
    std::iota(items.begin(), items.end(), static_cast<int>(first));
  }
  m_itemLabels.resize(rows);
  if (!m_labels) {
    for (std::size_t i = 0; i < rows; ++i)
      m_itemLabels[i] = items[i] + 1LL;
  } else if (!isOfSets(m_field.place)) {
    m_labels->Read(first, rows, m_itemLabels.data());
  } else {
    std::vector<long long> all(m_labels->Rows());
    m_labels->Read(0, all.size(), all.data());
    for (std::size_t i = 0; i < rows; ++i)
      m_itemLabels[i] = all[static_cast<std::size_t>(items[i])];
  }
}

void csv_Table::BeginRow(std::size_t row, std::size_t step) {
  if (isOfSets(m_field.place) || m_field.place == mesh_Place::kBlocks)
    m_out << m_group << ',';
  m_out << m_itemLabels[row] << ',';
  if (m_field.place == mesh_Place::kSideSets)
    m_out << m_sides[row] + 1 << ',';
  if (HasSteps())
    m_out << m_task.wanted.firstStep + step << ',' << m_mesh.Times()[step] << ',';
}

void csv_Table::WriteEntity(std::size_t entity, std::size_t step) {
  ReadItems(entity);
  const mesh_NumbersPtr values = m_mesh.Values(m_field.place, m_field.index, entity, step);
  const std::size_t width = values->Width();
  const auto write = [&]<class T>(T) {
    exp_EachPiece<T>(*values, m_task.progress, [&](std::size_t first, std::size_t count, const T* numbers) {
      for (std::size_t i = 0; i < count; ++i) {
        BeginRow(first + i, step);
        for (std::size_t k = 0; k < width; ++k)
          m_out << numbers[i * width + k] << (k + 1 < width ? ',' : '\n');
      }
    });
  };
  if (exp_IsInteger(*values))
    write(0LL);
  else if (values->NumberType() == mesh_Numbers::Type::kFloat)
    write(float());
  else
    write(double());
}

void csv_Table::WriteMap() {
  const bool nodes = isOfNodes(m_field.place);
  const mesh_NumbersPtr map = nodes ? m_mesh.NodeMap(m_field.index) : m_mesh.ElementMap(m_field.index);
  std::vector<long long> numbers;
  for (std::size_t entity = 0; entity < m_mesh.Variables(m_field.place).entitySizes.size(); ++entity) {
    numbers.resize(RowsOf(entity));
    if (numbers.empty())
      continue;
    ReadItems(entity);
    map->Read(nodes ? 0 : m_mesh.Blocks()[entity].firstElement, numbers.size(), numbers.data());
    for (std::size_t row = 0; row < numbers.size(); ++row) {
      BeginRow(row, 0);
      m_out << numbers[row] << '\n';
    }
    m_task.progress.Advance(static_cast<double>(8 * numbers.size()));
  }
}

void csv_Table::WriteGlobal(std::size_t step) {
  std::vector<double> values(m_mesh.Variables(mesh_Place::kGlobal).names.size());
  exp_ReadRows(*m_mesh.Values(mesh_Place::kGlobal, 0, 0, step), 0, values.size(), values.data());
  if (HasSteps())
    m_out << m_task.wanted.firstStep + step << ',' << m_mesh.Times()[step] << ',';
  m_out << values[m_field.index] << '\n';
}

void csv_Table::WriteCoordinates() {
  const std::size_t nodes = m_mesh.Nodes(), step = exp_RowsAtATime(3 * sizeof(double));
  if (nodes == 0)
    return;
  ReadItems(0);
  std::vector<mesh_NumbersPtr> axes;
  for (std::size_t axis = 0; axis < m_mesh.Dimension(); ++axis)
    axes.push_back(m_mesh.Coordinate(axis));
  std::vector<std::vector<double>> columns(axes.size(), std::vector<double>(std::min(step, nodes)));
  for (std::size_t first = 0; first < nodes; first += step) {
    const std::size_t count = std::min(step, nodes - first);
    for (std::size_t axis = 0; axis < axes.size(); ++axis)
      axes[axis]->Read(first, count, columns[axis].data());
    for (std::size_t i = 0; i < count; ++i) {
      m_out << m_itemLabels[first + i];
      for (const auto& column : columns)
        m_out << ',' << column[i];
      m_out << '\n';
    }
    m_task.progress.Advance(static_cast<double>(24 * count));
  }
}
