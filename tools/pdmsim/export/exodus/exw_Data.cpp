#include <pdmsim/export/exodus/exw_Writer.h>

#include <pdmsim/export/out/exp_Read.h>
#include <pdmsim/import/exodus/exo_Reader.h>

#include <ctime>

// The second half of exw_Writer: the numbers.

namespace {

/// A part of the time of now, as QA records have it.
std::string now(const char* form) {
  char text[32] = "";
  const std::time_t time = std::time(nullptr);
  std::tm parts{};
  if (gmtime_r(&time, &parts) != nullptr)
    std::strftime(text, sizeof text, form, &parts);
  return text;
}

/// 0-based numbers as the format has them.
void countFromOne(std::vector<int>& numbers) {
  for (int& number : numbers)
    ++number;
}

} // namespace

void exw_Writer::Write() {
  WriteHeader();
  WriteNodes();
  WriteBlocks();
  for (const mesh_SetKind kind : {mesh_SetKind::kNodes, mesh_SetKind::kElements, mesh_SetKind::kSides})
    WriteSets(kind);
  for (std::size_t place = 0; place < mesh_kPlaces; ++place)
    WriteTables(static_cast<mesh_Place>(place));
  for (std::size_t step = 0; step < m_times.size(); ++step) {
    m_file.Write("time_whole", {step}, {1}, &m_times[step]);
    WriteGlobals(step);
    for (std::size_t place = 1; place < mesh_kPlaces; ++place)
      WriteStep(static_cast<mesh_Place>(place), step);
  }
  m_file.Close();
}

void exw_Writer::WriteHeader() {
  m_file.Write("qa_records", {"pdmsim", PDM_VERSION, now("%Y%m%d"), now("%H:%M:%S")}, 33);
  if (m_mesh.Dimension() > 0)
    m_file.Write("coor_names", m_mesh.AxisNames(), m_nameWidth);
}

void exw_Writer::WriteIds(const std::string& variable, const std::vector<long long>& ids) {
  m_file.Write(variable, {0}, {ids.size()}, ids.data());
}

void exw_Writer::WriteNumbers(const std::string& variable, const mesh_NumbersPtr& numbers) {
  exp_EachPiece<long long>(*numbers, m_task.progress,
                           [&](std::size_t first, std::size_t count, const long long* values) {
                             m_file.Write(variable, {first}, {count}, values);
                           });
}

void exw_Writer::WriteNodes() {
  for (std::size_t axis = 0; axis < m_mesh.Dimension() && m_mesh.Nodes() > 0; ++axis)
    exp_EachPiece<double>(*m_mesh.Coordinate(axis), m_task.progress,
                          [&](std::size_t first, std::size_t count, const double* values) {
                            m_file.Write(
                                std::string("coord") + "xyz" [axis], { first }, {count}, values);
                          });
  const auto maps = [&](const std::string& kind, const std::vector<mesh_Map>& list, std::size_t size,
                        mesh_NumbersPtr labels, const auto& numbersOf) {
    if (size == 0)
      return;
    if (labels)
      WriteNumbers(kind + "_num_map", labels);
    std::vector<long long> ids;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < list.size(); ++i) {
      ids.push_back(list[i].id);
      names.push_back(list[i].name);
      WriteNumbers(kind + "_map" + std::to_string(i + 1), numbersOf(i));
    }
    if (list.empty())
      return;
    WriteIds(kind.substr(0, 1) + "m_prop1", ids);
    m_file.Write(kind.substr(0, 1) + "map_names", names, m_nameWidth);
  };
  maps("node", m_mesh.NodeMaps(), m_mesh.Nodes(), m_mesh.NodeNumbers(),
       [&](std::size_t map) { return m_mesh.NodeMap(map); });
  maps("elem", m_mesh.ElementMaps(), m_mesh.Elements(), m_mesh.ElementNumbers(),
       [&](std::size_t map) { return m_mesh.ElementMap(map); });
}

void exw_Writer::WriteBlocks() {
  const std::vector<long long> ids = exw_Ids(m_mesh.Blocks());
  std::vector<int> used;
  std::vector<std::string> names;
  for (const mesh_Block& block : m_mesh.Blocks()) {
    used.push_back(block.elements > 0);
    names.push_back(block.name);
    if (block.shape == mesh_Block::Shape::kPolygons)
      WritePolygons(block);
    else
      exp_EachNodes(
          m_mesh, block, m_task.progress,
          [&](std::size_t first, std::size_t count, std::size_t width, const int* nodes) {
            std::vector<int> numbers(nodes, nodes + count * width);
            countFromOne(numbers);
            m_file.Write(exw_Numbered("connect", block.number), {first, 0}, {count, width}, numbers.data());
          });
    if (block.elements == 0 || block.attributes.empty())
      continue;
    const mesh_NumbersPtr attributes = m_mesh.Attributes(block);
    exp_EachPiece<double>(*attributes, m_task.progress,
                          [&](std::size_t first, std::size_t count, const double* values) {
                            m_file.Write(exw_Numbered("attrib", block.number), {first, 0},
                                         {count, attributes->Width()}, values);
                          });
    m_file.Write(exw_Numbered("attrib_name", block.number), block.attributes, m_nameWidth);
  }
  if (ids.empty())
    return;
  WriteIds("eb_prop1", ids);
  m_file.Write("eb_status", {0}, {used.size()}, used.data());
  m_file.Write("eb_names", names, m_nameWidth);
}

void exw_Writer::WritePolygons(const mesh_Block& block) {
  std::size_t corner = 0;
  exp_EachNodes(m_mesh, block, m_task.progress,
                [&](std::size_t first, std::size_t count, std::size_t width, const int* nodes) {
                  std::vector<int> corners(count), numbers;
                  for (std::size_t i = 0; i < count * width; ++i)
                    if (nodes[i] >= 0) {
                      ++corners[i / width];
                      numbers.push_back(nodes[i] + 1);
                    }
                  m_file.Write(exw_Numbered("ebepecnt", block.number), {first}, {count}, corners.data());
                  m_file.Write(exw_Numbered("connect", block.number), {corner}, {numbers.size()},
                               numbers.data());
                  corner += numbers.size();
                });
}

void exw_Writer::WriteSets(mesh_SetKind kind) {
  const exo_SetNames& name = exo_NamesOf(kind);
  std::vector<int> used;
  std::vector<std::string> names;
  for (const mesh_Set& set : m_mesh.Sets(kind)) {
    used.push_back(set.size > 0);
    names.push_back(set.name);
    if (set.size == 0)
      continue;
    std::vector<int> members = exp_Members(m_mesh, set);
    if (name.sides) {
      std::vector<int> sides = exp_Sides(m_mesh, set, members);
      countFromOne(sides);
      m_file.Write(exw_Numbered(name.sides, set.number), {0}, {set.size}, sides.data());
    }
    countFromOne(members);
    m_file.Write(exw_Numbered(name.entries, set.number), {0}, {set.size}, members.data());
    m_task.progress.Advance(4.0 * static_cast<double>(set.size));
    if (set.factors == 0)
      continue;
    exp_EachPiece<double>(*m_mesh.Factors(set), m_task.progress,
                          [&](std::size_t first, std::size_t count, const double* values) {
                            m_file.Write(exw_Numbered(name.factors, set.number), {first}, {count}, values);
                          });
  }
  if (names.empty())
    return;
  WriteIds(name.ids, exw_Ids(m_mesh.Sets(kind)));
  m_file.Write(name.status, {0}, {used.size()}, used.data());
  m_file.Write(name.names, names, m_nameWidth);
}

void exw_Writer::WriteTables(mesh_Place place) {
  const exo_VariableNames& name = exo_NamesOf(place);
  const auto& columns = m_columns[static_cast<std::size_t>(place)];
  if (columns.empty())
    return;
  std::vector<std::string> names;
  for (const Column& column : columns)
    names.push_back(column.name);
  m_file.Write(name.names, names, m_nameWidth);
  const std::size_t entities = m_mesh.Variables(place).present.size();
  if (!name.table || entities == 0)
    return;
  std::vector<int> table;
  for (std::size_t entity = 0; entity < entities; ++entity)
    for (const Column& column : columns)
      table.push_back(IsPresent(place, entity, column));
  m_file.Write(name.table, {0, 0}, {entities, columns.size()}, table.data());
}

void exw_Writer::WriteGlobals(std::size_t step) {
  const std::size_t count = m_columns[0].size();
  if (count == 0)
    return;
  std::vector<double> values(count);
  exp_ReadRows(*m_mesh.Values(mesh_Place::kGlobal, 0, 0, step), 0, count, values.data());
  m_file.Write("vals_glo_var", {step, 0}, {1, count}, values.data());
}

void exw_Writer::WriteStep(mesh_Place place, std::size_t step) {
  const exo_VariableNames& name = exo_NamesOf(place);
  const auto& columns = m_columns[static_cast<std::size_t>(place)];
  for (std::size_t entity = 0; entity < m_mesh.Variables(place).present.size(); ++entity)
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (!IsPresent(place, entity, columns[i]))
        continue;
      std::string variable = exw_Numbered(name.values, static_cast<long long>(i) + 1);
      if (name.entity)
        variable += name.entity + std::to_string(entity + 1);
      WriteColumn(*m_mesh.Values(place, columns[i].variable, entity, step), columns[i].component, variable,
                  step);
    }
}

void exw_Writer::WriteColumn(const mesh_Numbers& numbers, std::size_t component, const std::string& name,
                             std::size_t step) {
  const std::size_t width = numbers.Width();
  const auto write = [&]<class T>(T) {
    std::vector<T> column;
    exp_EachPiece<T>(numbers, m_task.progress, [&](std::size_t first, std::size_t count, const T* values) {
      if (width > 1) {
        column.resize(count);
        for (std::size_t i = 0; i < count; ++i)
          column[i] = values[i * width + component];
        values = column.data();
      }
      m_file.Write(name, {step, first}, {1, count}, values);
    });
  };
  if (numbers.NumberType() == mesh_Numbers::Type::kFloat)
    write(float());
  else
    write(double());
}
