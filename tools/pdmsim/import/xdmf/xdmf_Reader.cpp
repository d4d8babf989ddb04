#include <pdmsim/import/xdmf/xdmf_Reader.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>

namespace {

// More steps than anybody writes; a stated number of times ends here.
constexpr std::uint64_t kMostSteps = 10000000;

} // namespace

xdmf_Reader::xdmf_Reader(const std::string& path) : m_document(std::make_shared<const xdmf_Document>(path)) {
  m_raw.path = path;
  m_raw.keepSides = true;
}

mesh_Raw xdmf_Reader::Read() {
  for (const byt_XmlNode& domain : m_document->Root().children)
    if (domain.name == "Domain")
      FindGrids(domain);
  for (const Grid& grid : m_grids)
    if (m_topology == nullptr && Part(*grid.node, "Topology") && Part(*grid.node, "Geometry")) {
      m_topology = Part(*grid.node, "Topology");
      m_geometry = Part(*grid.node, "Geometry");
    }
  if (m_topology == nullptr)
    m_document->Fail("expected a Grid with Topology and Geometry, found none");
  ReadGeometry();
  ReadTopology();
  for (const Grid& grid : m_grids)
    if (IsOfMesh(grid)) {
      for (const byt_XmlNode& child : grid.node->children) {
        if (child.name == "Attribute")
          ReadAttribute(child, grid.time);
        else if (child.name == "Set")
          ReadSet(child);
      }
    }
  std::set<double> times;
  for (const Grid& grid : m_grids)
    if (grid.time != kNoTime)
      times.insert(grid.time);
  m_raw.times.assign(times.begin(), times.end());
  FinishFields(m_nodeFields, m_raw.nodeFields, {});
  FinishFields(m_cellFields, m_raw.cellFields, m_order);
  m_raw.otherFiles = m_document->HdfFiles();
  return std::move(m_raw);
}

void xdmf_Reader::Note(const std::string& what) {
  if (std::find(m_raw.notes.begin(), m_raw.notes.end(), what) == m_raw.notes.end())
    m_raw.notes.push_back(what);
}

void xdmf_Reader::FindGrids(const byt_XmlNode& parent) {
  for (const byt_XmlNode& child : parent.children) {
    if (child.name != "Grid")
      continue;
    const byt_XmlNode& grid = m_document->Resolved(child);
    const std::string& kind = grid["GridType"];
    const auto below = std::count_if(grid.children.begin(), grid.children.end(),
                                     [](const byt_XmlNode& one) { return one.name == "Grid"; });
    if (kind.empty() || kind == "Uniform")
      m_grids.push_back({&grid, TimeOf(grid)});
    else if (kind == "Collection" && grid["CollectionType"] == "Temporal")
      FindSteps(grid);
    else if (below == 1) // a collection of one is that one
      FindGrids(grid);
    else
      m_document->Fail("expected Uniform grids and collections in time, found a Grid of the type " +
                       byt_Quoted(kind + " " + grid["CollectionType"]));
  }
}

void xdmf_Reader::FindSteps(const byt_XmlNode& collection) {
  const std::vector<double> times = CollectionTimes(collection);
  std::size_t step = 0;
  for (const byt_XmlNode& child : collection.children) {
    if (child.name != "Grid")
      continue;
    const std::size_t first = m_grids.size();
    const byt_XmlNode& grid = m_document->Resolved(child);
    if (grid["GridType"] == "Uniform" || grid["GridType"].empty())
      m_grids.push_back({&grid, TimeOf(grid)});
    else
      m_document->Fail("expected Uniform grids in a collection in time, found one of the type " +
                       byt_Quoted(grid["GridType"]));
    double& time = m_grids[first].time;
    if (time == kNoTime)
      time = step < times.size() ? times[step] : static_cast<double>(step);
    ++step;
  }
}

std::vector<double> xdmf_Reader::CollectionTimes(const byt_XmlNode& collection) const {
  const byt_XmlNode* const time = collection.Child("Time");
  const byt_XmlNode* const item = time == nullptr ? nullptr : time->Child("DataItem");
  if (item == nullptr)
    return {};
  std::vector<double> times = m_document->Item(*item).Read<double>(m_document->File());
  if ((*time)["TimeType"] != "HyperSlab")
    return times;
  if (times.size() != 3 || !(times[2] >= 0 && times[2] <= static_cast<double>(kMostSteps)))
    m_document->Fail("expected start, stride and count of times, found something else");
  std::vector<double> all;
  const auto steps = std::min<std::size_t>(static_cast<std::size_t>(times[2]), collection.children.size());
  for (std::size_t i = 0; i < steps; ++i)
    all.push_back(times[0] + static_cast<double>(i) * times[1]);
  return all;
}

double xdmf_Reader::Real(const std::string& text) const {
  double value = 0;
  const std::size_t first = std::min(text.find_first_not_of(" \t\r\n+"), text.size());
  const std::size_t last = text.find_last_not_of(" \t\r\n") + 1;
  const auto [end, error] = std::from_chars(text.data() + first, text.data() + std::max(first, last), value);
  if (error != std::errc() || end != text.data() + last || !std::isfinite(value))
    m_document->Fail("expected a time, found " + byt_Quoted(text));
  return value;
}

std::string xdmf_Reader::Text(double time) {
  char text[32];
  const auto [end, error] = std::to_chars(text, text + sizeof text, time);
  return time == kNoTime || error != std::errc() ? "" : " at time " + std::string(text, end);
}

double xdmf_Reader::TimeOf(const byt_XmlNode& grid) const {
  const byt_XmlNode* const time = grid.Child("Time");
  return time == nullptr || (*time)["Value"].empty() ? kNoTime : Real((*time)["Value"]);
}

std::uint64_t xdmf_Reader::Number(const byt_XmlNode& node, const char* attribute,
                                  std::uint64_t otherwise) const {
  const std::string& text = node[attribute];
  std::uint64_t number = otherwise;
  const std::size_t first = std::min(text.find_first_not_of(' '), text.size());
  const auto [end, error] = std::from_chars(text.data() + first, text.data() + text.size(), number);
  if (first < text.size() && (error != std::errc() || number > m_document->File().Size() * 4096))
    m_document->Fail("expected a number in the attribute " + std::string(attribute) + " of " + node.name +
                     ", found " + byt_Quoted(text));
  static_cast<void>(end);
  return number;
}

/// Topology or Geometry of a grid, which may be those of another.
const byt_XmlNode* xdmf_Reader::Part(const byt_XmlNode& grid, const char* name) const {
  if (const byt_XmlNode* const own = grid.Child(name))
    return &m_document->Resolved(*own);
  const byt_XmlNode* const include = grid.Child("include");
  if (include == nullptr)
    return nullptr;
  std::string_view path = (*include)["xpointer"];
  if (path.starts_with("xpointer(") && path.ends_with(')'))
    path = path.substr(9, path.size() - 10);
  const byt_XmlNode* const other = m_document->Find(path);
  if (other == nullptr || other == &grid)
    m_document->Fail("expected the grid that " + byt_Quoted(path) + " includes, found none");
  const byt_XmlNode* const part = other->Child(name);
  return part == nullptr ? nullptr : &m_document->Resolved(*part);
}

std::vector<xdmf_Item> xdmf_Reader::Items(const byt_XmlNode& node) const {
  std::vector<xdmf_Item> items;
  for (const byt_XmlNode& child : node.children)
    if (child.name == "DataItem")
      items.push_back(m_document->Item(child));
  return items;
}

bool xdmf_Reader::AreSame(const byt_XmlNode& one, const byt_XmlNode& other) const {
  if (&one == &other)
    return true;
  const std::vector<xdmf_Item> items = Items(one), others = Items(other);
  return items.size() == others.size() &&
         std::equal(items.begin(), items.end(), others.begin(), [&](const xdmf_Item& a, const xdmf_Item& b) {
           return a.IsSame(b) || (a.Count() == b.Count() &&
                                  a.Read<double>(m_document->File()) == b.Read<double>(m_document->File()));
         });
}

/// True when a grid's values are of the mesh that was read.
bool xdmf_Reader::IsOfMesh(const Grid& grid) {
  const byt_XmlNode* const topology = Part(*grid.node, "Topology");
  const byt_XmlNode* const geometry = Part(*grid.node, "Geometry");
  const std::string name = (*grid.node)["Name"];
  if (topology != nullptr && !AreSame(*topology, *m_topology)) {
    if (grid.time != kNoTime)
      m_document->Fail("expected the cells of the first step in all of them, found others" + Text(grid.time));
    Note("the grid " + name + ", which has other cells");
    return false;
  }
  if (geometry != nullptr && !AreSame(*geometry, *m_geometry)) {
    if (geometry->children.size() != m_geometry->children.size() || Items(*geometry).empty() ||
        Items(*geometry)[0].Count() != Items(*m_geometry)[0].Count())
      m_document->Fail("expected the points of the first step in all of them, found another number of them");
    Note("the points of steps after the first, where they are elsewhere");
  }
  return true;
}

void xdmf_Reader::ReadGeometry() {
  const std::string& stated =
      (*m_geometry)["GeometryType"].empty() ? (*m_geometry)["Type"] : (*m_geometry)["GeometryType"];
  const std::string kind = stated.empty() ? "XYZ" : stated;
  const std::vector<xdmf_Item> items = Items(*m_geometry);
  const bool split = kind == "X_Y_Z" || kind == "X_Y";
  if (!split && kind != "XYZ" && kind != "XY")
    m_document->Fail("expected a Geometry of the type XYZ or XY, found " + byt_Quoted(kind));
  const std::size_t axes = kind.find('Z') == kind.npos ? 2 : 3;
  if (items.size() != (split ? axes : 1))
    m_document->Fail("expected the DataItems of a Geometry, found " + std::to_string(items.size()));
  m_raw.dimension = axes;
  if (!split) {
    m_raw.coordinates = items[0].Read<double>(m_document->File());
    if (m_raw.coordinates.size() % axes != 0)
      m_document->Fail("expected points of " + std::to_string(axes) + " coordinates, found " +
                       std::to_string(m_raw.coordinates.size()) + " numbers");
  } else {
    m_raw.coordinates.resize(items[0].Count() * axes);
    for (std::size_t axis = 0; axis < axes; ++axis) {
      const std::vector<double> column = items[axis].Read<double>(m_document->File());
      if (column.size() != items[0].Count())
        m_document->Fail("expected as many coordinates of each axis, found " + std::to_string(column.size()));
      for (std::size_t node = 0; node < column.size(); ++node)
        m_raw.coordinates[node * axes + axis] = column[node];
    }
  }
  m_nodes = m_raw.coordinates.size() / axes;
}
