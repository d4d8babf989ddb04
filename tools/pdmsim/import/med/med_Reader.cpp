#include <pdmsim/import/med/med_Reader.h>

#include <pdmsim/mesh/mesh_Polygons.h>

#include <algorithm>
#include <climits>

namespace {

// Solids are seen from the other side there: their first face turns the other way round.
constexpr int kTet4[] = {0, 2, 1, 3};
constexpr int kTet10[] = {0, 2, 1, 3, 6, 5, 4, 7, 9, 8};
constexpr int kPyramid5[] = {0, 3, 2, 1, 4};
constexpr int kPyramid13[] = {0, 3, 2, 1, 4, 8, 7, 6, 5, 9, 12, 11, 10};
constexpr int kWedge6[] = {0, 2, 1, 3, 5, 4};
constexpr int kWedge15[] = {0, 2, 1, 3, 5, 4, 8, 7, 6, 14, 13, 12, 9, 11, 10};
constexpr int kHex8[] = {0, 3, 2, 1, 4, 7, 6, 5};
constexpr int kHex20[] = {0, 3, 2, 1, 4, 7, 6, 5, 11, 10, 9, 8, 19, 18, 17, 16, 12, 15, 14, 13};
constexpr int kHex27[] = {0,  3,  2,  1,  4,  7,  6,  5,  11, 10, 9,  8,  19, 18,
                          17, 16, 12, 15, 14, 13, 21, 23, 26, 24, 25, 22, 20};

constexpr med_Type kTypes[] = {{"PO1", "SPHERE", 1, {}},
                               {"SE2", "BAR", 2, {}},
                               {"SE3", "BAR", 3, {}},
                               {"TR3", "TRI", 3, {}},
                               {"TR6", "TRI", 6, {}},
                               {"TR7", "TRI", 7, {}},
                               {"QU4", "QUAD", 4, {}},
                               {"QU8", "QUAD", 8, {}},
                               {"QU9", "QUAD", 9, {}},
                               {"TE4", "TET", 4, kTet4},
                               {"T10", "TET", 10, kTet10},
                               {"PY5", "PYRAMID", 5, kPyramid5},
                               {"P13", "PYRAMID", 13, kPyramid13},
                               {"PE6", "WEDGE", 6, kWedge6},
                               {"P15", "WEDGE", 15, kWedge15},
                               {"HE8", "HEX", 8, kHex8},
                               {"H20", "HEX", 20, kHex20},
                               {"H27", "HEX", 27, kHex27}};

// What has no type of ours.
constexpr struct {
  std::string_view name;
  const char* words;
  std::size_t nodes; // 0: any number
} kUnknown[] = {{"P18", "prisms of 18 nodes", 18},
                {"O12", "prisms with six sides", 12},
                {"SE4", "lines of 4 nodes", 4},
                {"POE", "polyhedra", 0},
                {"PO2", "polygons of second degree", 0}};

const med_Type* typeOf(const std::string& name) {
  const auto* const found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                         [&](const med_Type& one) { return name == one.name; });
  return found == std::end(kTypes) ? nullptr : found;
}

} // namespace

std::span<const med_Type> med_Types() {
  return kTypes;
}

med_Reader::med_Reader(const std::string& path) : m_file(std::make_shared<const med_File>(path)) {
  m_raw.path = path;
}

mesh_Raw med_Reader::Read() {
  FindMesh();
  ReadNodes();
  ReadCells();
  FindTimes();
  for (const std::string& field : m_file->LinksIfAny("CHA"))
    ReadField(field);
  FinishFields();
  return std::move(m_raw);
}

void med_Reader::Note(const std::string& what) {
  m_raw.notes.push_back(what);
}

// The first mesh, at its first step.
void med_Reader::FindMesh() {
  const std::vector<std::string> meshes = m_file->Links("ENS_MAA");
  if (meshes.empty())
    m_file->Fail("expected a mesh in ENS_MAA, found none");
  m_name = meshes[0];
  const std::string mesh = "ENS_MAA/" + m_name;
  for (std::size_t i = 1; i < meshes.size(); ++i)
    Note("the mesh " + meshes[i]);
  if (const long long type = m_file->Integer(mesh, "TYP", 0); type != 0)
    m_file->Fail("expected an unstructured mesh (TYP 0), found TYP " + std::to_string(type));
  for (const std::string& link : m_file->Links(mesh))
    if (m_file->IsGroup(mesh + "/" + link + "/NOE")) {
      if (m_step.empty())
        m_step = mesh + "/" + link;
      else
        Note("the mesh at its step " + link);
    }
  if (m_step.empty())
    m_file->Fail("expected nodes in a step of " + mesh + ", found none");
  const long long axes = m_file->Integer(mesh, "ESP", m_file->Integer(mesh, "DIM", 0));
  if (axes < 1 || axes > 3)
    m_file->Fail("expected ESP of " + mesh + " to be 1, 2 or 3, found " + std::to_string(axes));
  m_raw.dimension = static_cast<std::size_t>(axes);
  const std::string units = m_file->Text(mesh, "UNI").substr(0, 16); // 16 letters an axis
  m_raw.lengthUnit = units.substr(0, units.find_last_not_of(' ') + 1);
}

// Numbers of one axis come after those of another.
void med_Reader::ReadNodes() {
  const std::string nodes = m_step + "/NOE";
  const std::size_t all = m_file->Count(nodes + "/COO"), axes = m_raw.dimension;
  if (all % axes != 0)
    m_file->Fail("expected coordinates of " + std::to_string(axes) + " axes, found " + std::to_string(all));
  const std::vector<double> columns = m_file->Doubles(nodes + "/COO", all);
  m_nodes = all / axes;
  m_raw.coordinates.resize(all);
  for (std::size_t axis = 0; axis < axes; ++axis)
    for (std::size_t node = 0; node < m_nodes; ++node)
      m_raw.coordinates[node * axes + axis] = columns[axis * m_nodes + node];
  if (m_file->IsDataset(nodes + "/NUM"))
    m_raw.nodeLabels = m_file->Longs(nodes + "/NUM", m_nodes);
  if (m_file->IsDataset(nodes + "/FAM"))
    GroupNodes(m_file->Longs(nodes + "/FAM", m_nodes), ReadFamilies("NOEUD"));
}

med_Reader::Families med_Reader::ReadFamilies(const char* kind) const {
  Families families;
  const std::string place = "FAS/" + m_name + "/" + kind;
  for (const std::string& link : m_file->LinksIfAny(place)) {
    const std::string family = place + "/" + link;
    std::vector<std::string>& groups = families[m_file->Integer(family, "NUM")];
    if (m_file->IsDataset(family + "/GRO/NOM"))
      groups = m_file->Texts(family + "/GRO/NOM");
  }
  return families;
}

int med_Reader::Group(int dimension, const std::string& name) {
  const auto [found, isNew] = m_groupOf.try_emplace({dimension, name}, static_cast<int>(m_raw.groups.size()));
  if (isNew)
    m_raw.groups.push_back({dimension, name, 0, {}});
  return found->second;
}

void med_Reader::GroupNodes(const std::vector<long long>& numbers, const Families& families) {
  for (const auto& [number, groups] : families) // an empty group keeps its name
    for (const std::string& group : groups)
      Group(-1, group);
  for (std::size_t node = 0; node < numbers.size(); ++node) {
    if (numbers[node] == 0)
      continue;
    const auto family = families.find(numbers[node]);
    if (family == families.end())
      m_file->Fail("expected families of nodes that FAS has, found " + std::to_string(numbers[node]));
    for (const std::string& group : family->second)
      m_raw.groups[static_cast<std::size_t>(Group(-1, group))].nodes.push_back(static_cast<int>(node));
  }
}

void med_Reader::ReadCells() {
  m_cellFamilies = ReadFamilies("ELEME");
  const std::string cells = m_step + "/MAI";
  for (const std::string& link : m_file->LinksIfAny(cells))
    if (const med_Type* const type = typeOf(link))
      ReadType(*type, cells + "/" + link);
    else if (link == "POG")
      ReadPolygons(cells + "/" + link);
    else
      FailWithType(link, cells + "/" + link);
  for (const auto& [number, groups] : m_cellFamilies)
    for (const std::string& group : groups)
      if (std::none_of(m_raw.groups.begin(), m_raw.groups.end(),
                       [&](const mesh_RawGroup& one) { return one.dimension >= 0 && one.name == group; }))
        Group(3, group); // an empty group keeps its name
}

void med_Reader::FailWithType(const std::string& type, const std::string& place) const {
  const auto* const known = std::find_if(std::begin(kUnknown), std::end(kUnknown),
                                         [&](const auto& one) { return one.name == type; });
  std::string found = type;
  if (known != std::end(kUnknown)) {
    if (known->nodes > 0 && m_file->IsDataset(place + "/NOD"))
      found = std::to_string(m_file->Count(place + "/NOD") / known->nodes) + " of " + type;
    found += " (" + std::string(known->words) + ")";
  }
  m_file->Fail("expected cells of known types, found " + found);
}

// The first nodes of all cells come first.
void med_Reader::ReadType(const med_Type& type, const std::string& place) {
  const std::size_t all = m_file->Count(place + "/NOD"), width = static_cast<std::size_t>(type.nodes),
                    count = all / width;
  if (all % width != 0)
    m_file->Fail("expected " + std::string(type.name) + " of " + std::to_string(width) + " nodes, found " +
                 std::to_string(all) + " numbers");
  const std::vector<int> columns = m_file->Ints(place + "/NOD", all);
  mesh_RawCells& cells = m_raw.cells.emplace_back();
  cells.type = mesh_FindElement(type.type, width);
  cells.nodes.resize(all);
  for (std::size_t k = 0; k < width; ++k) {
    const std::size_t ours = type.toOurs.empty() ? k : static_cast<std::size_t>(type.toOurs[k]);
    for (std::size_t cell = 0; cell < count; ++cell) {
      const int node = columns[k * count + cell];
      cells.nodes[cell * width + ours] = node < 1 ? -1 : node - 1;
    }
  }
  FinishCells(type.name, place, count);
}

// Where each polygon begins, from 1, and where the last ends; then the nodes of all.
void med_Reader::ReadPolygons(const std::string& place) {
  std::vector<long long> ends = m_file->Longs(place + "/INN", m_file->Count(place + "/INN"));
  std::vector<int> nodes = m_file->Ints(place + "/NOD", m_file->Count(place + "/NOD"));
  const auto end = static_cast<long long>(nodes.size()) + 1;
  if (ends.empty() || ends.front() != 1 || !std::is_sorted(ends.begin(), ends.end()) || ends.back() != end)
    m_file->Fail("expected INN of polygons to ascend from 1 to " + std::to_string(end) +
                 ", found something else");
  ends.erase(ends.begin());
  for (long long& one : ends)
    --one;
  for (int& node : nodes) {
    if (node < 1 || static_cast<std::size_t>(node) > m_nodes)
      m_file->Fail("expected nodes 1 to " + std::to_string(m_nodes) + " in NOD of polygons, found " +
                   std::to_string(node));
    --node;
  }
  mesh_SetPolygons(m_raw.cells.emplace_back(), m_raw.path, ends, nodes);
  FinishCells("POG", place, ends.size());
}

/// Labels and families of the cells that were read last.
void med_Reader::FinishCells(const std::string& type, const std::string& place, std::size_t count) {
  mesh_RawCells& cells = m_raw.cells.back();
  if (m_file->IsDataset(place + "/NUM"))
    cells.labels = m_file->Longs(place + "/NUM", count);
  if (m_file->IsDataset(place + "/FAM"))
    cells.families = GroupCells(m_file->Longs(place + "/FAM", count), cells.type->dimension);
  m_cells[type] = {m_allCells, count};
  m_allCells += count;
}

std::vector<int> med_Reader::GroupCells(const std::vector<long long>& numbers, int dimension) {
  std::vector<int> families;
  families.reserve(numbers.size());
  long long last = 0;
  int lastFamily = -1;
  for (const long long number : numbers) {
    if (number != last) {
      last = number;
      const auto [found, isNew] =
          m_familyOf.try_emplace({dimension, number}, static_cast<int>(m_raw.families.size()));
      if (number != 0 && isNew) {
        const auto family = m_cellFamilies.find(number);
        if (family == m_cellFamilies.end())
          m_file->Fail("expected families of cells that FAS has, found " + std::to_string(number));
        std::vector<int> groups;
        for (const std::string& group : family->second)
          groups.push_back(Group(dimension, group));
        m_raw.families.push_back(std::move(groups));
      } else if (number == 0) {
        found->second = -1;
      }
      lastFamily = found->second;
    }
    families.push_back(lastFamily);
  }
  return families;
}
