#include <pdmsim/diff/diff_Connectivity.h>

#include <algorithm>

diff_Connectivity::diff_Connectivity(diff_Files& files, std::string path, ORXSimDistributionID a,
                                     ORXSimDistributionID b, const diff_Topology& topology)
    : m_files(files), m_path(std::move(path)), m_id{a, b},
      m_topology(topology), m_drawers{files.Drawers(a), files.Drawers(b)} {
  const diff_Matching* const regions = topology.regions;
  m_byRegion = regions != nullptr && diff_Size(regions->Count(0)) == m_drawers[0].size() &&
               diff_Size(regions->Count(1)) == m_drawers[1].size();
}

bool diff_Connectivity::IsOne() const {
  bool integers = m_topology.nodes != nullptr;
  for (const auto& drawers : m_drawers)
    for (const ORXSimPersistentDrawerDesc& drawer : drawers)
      integers = integers && drawer.Type() == ORXSimItemType::kInt32;
  return integers;
}

void diff_Connectivity::Compare() {
  ++m_files.Report().counts.fields;
  std::vector<diff_Column> columns[2];
  for (const int side : {0, 1})
    for (const ORXSimPersistentDrawerDesc& drawer : m_drawers[side])
      columns[side].push_back({static_cast<int>(columns[side].size()), drawer.CSet(), "", {}});
  const auto plan = diff_PlanRows(m_files, columns[0], columns[1]);
  if (plan->apart)
    m_files.Report().Differ(m_path, "collection", show_Json::object(),
                            {"is of other collections, which do not go together"});
  for (const int side : {0, 1})
    if (plan->only[side] > 0)
      m_files.Report().Differ(m_path, "rows", {{side == 0 ? "onlyInA" : "onlyInB", plan->only[side]}},
                              {diff_Counted(plan->only[side], "element") + ", as " + plan->first[side] +
                               ", with nodes only in " + m_files.File(side).Path()});
  for (const diff_Run& run : plan->runs)
    CompareRun(run);
  Finish();
}

std::string diff_Connectivity::Element(const diff_Run& run, std::size_t row) const {
  const int item = m_files.Members(m_drawers[0][run.a].CSet())[row];
  return "element " +
         (m_topology.elements == nullptr ? std::to_string(item) : m_topology.elements->Name(0, item));
}

/// The types of the elements, and whether they are in blocks that go together.
void diff_Connectivity::CompareBlocks(const diff_Run& run, std::size_t rows) {
  const std::string a(m_drawers[0][run.a].LongName().CStr()), b(m_drawers[1][run.b].LongName().CStr());
  if (a != b)
    m_files.Report().Differ(m_path, "type", {{"a", a}, {"b", b}, {"elements", rows}, {"drawer", run.a}},
                            {diff_Counted(rows, "element") + " of drawer " + std::to_string(run.a) +
                             " of type '" + a + "' against '" + b + "'"});
  if (!m_byRegion || m_topology.regions->Other(0, static_cast<int>(run.a)) == static_cast<int>(run.b))
    return;
  if (m_moved == 0)
    m_firstMoved = Element(run, run.rows.empty() ? 0 : diff_Size(run.rows[0]));
  m_moved += rows;
}

void diff_Connectivity::CompareRun(const diff_Run& run) {
  const std::size_t rows = run.rows.empty() ? diff_Size(m_drawers[0][run.a].Items()) : run.rows.size();
  if (rows == 0)
    return;
  CompareBlocks(run, rows);
  const diff_Reader a(m_id[0], static_cast<int>(run.a)), b(m_id[1], static_cast<int>(run.b));
  const std::size_t widthA = a.Width(), widthB = b.Width();
  const bool alike = widthA == widthB && m_topology.nodes->Identity();
  diff_ForEachPiece<std::int32_t>(
      run, a, b, m_files.Progress(),
      [&](const std::int32_t* x, const std::int32_t* y, std::size_t count, const auto& rowOf) {
        m_files.Report().counts.values += count * widthA;
        if (alike && std::memcmp(x, y, count * widthA * sizeof *x) == 0)
          return;
        for (std::size_t i = 0; i < count; ++i, x += widthA, y += widthB) {
          if (SameNodes(x, widthA, y, widthB) || m_different++ > 0)
            continue;
          m_first = Element(run, rowOf(i));
          m_nodes[0] = Names(0, x, widthA);
          m_nodes[1] = Names(1, y, widthB);
        }
      });
}

/// Of polygons the shorter one may have fewer columns.
bool diff_Connectivity::SameNodes(const std::int32_t* a, std::size_t widthA, const std::int32_t* b,
                                  std::size_t widthB) const {
  for (std::size_t k = 0; k < std::max(widthA, widthB); ++k) {
    const int node = k < widthA ? a[k] : -1, other = k < widthB ? b[k] : -1;
    if (node < 0 || other < 0 ? node != other : m_topology.nodes->Other(0, node) != other)
      return false;
  }
  return true;
}

std::vector<std::string> diff_Connectivity::Names(int side, const std::int32_t* nodes,
                                                  std::size_t count) const {
  std::vector<std::string> names;
  for (std::size_t k = 0; k < count; ++k)
    names.push_back(nodes[k] < 0 ? "-" : m_topology.nodes->Name(side, nodes[k]));
  return names;
}

void diff_Connectivity::Finish() {
  const auto list = [](const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
      text += " " + name;
    return text;
  };
  if (m_different > 0)
    m_files.Report().Differ(
        m_path, "", {{"elements", m_different}, {"first", m_first}, {"a", m_nodes[0]}, {"b", m_nodes[1]}},
        {diff_Counted(m_different, "element") + " with other nodes",
         "first: " + m_first + ":" + list(m_nodes[0]) + " against" + list(m_nodes[1])});
  if (m_moved > 0)
    m_files.Report().Differ(m_path, "block", {{"elements", m_moved}, {"first", m_firstMoved}},
                            {diff_Counted(m_moved, "element") + " in another block, as " + m_firstMoved});
}
