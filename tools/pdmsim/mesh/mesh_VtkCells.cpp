#include <pdmsim/mesh/mesh_VtkCells.h>

#include <pdmsim/mesh/mesh_Error.h>
#include <pdmsim/mesh/mesh_Polygons.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

enum : int { kEmpty = 0, kPolyVertex = 2, kPolyLine = 4, kStrip = 6, kPolygon = 7, kPixel = 8, kVoxel = 11 };

struct Known {
  int vtk;
  const char* name;
  int nodes;
};
constexpr Known kKnown[] = {{1, "SPHERE", 1}, {3, "BAR", 2},       {21, "BAR", 3},    {5, "TRI", 3},
                            {22, "TRI", 6},   {34, "TRI", 7},      {9, "QUAD", 4},    {23, "QUAD", 8},
                            {28, "QUAD", 9},  {10, "TET", 4},      {24, "TET", 10},   {14, "PYRAMID", 5},
                            {13, "WEDGE", 6}, {27, "PYRAMID", 13}, {26, "WEDGE", 15}, {12, "HEX", 8},
                            {25, "HEX", 20},  {29, "HEX", 27}};
constexpr std::size_t kTypes = 256;
// In words, what has no type of ours.
constexpr std::pair<int, const char*> kUnknown[] = {
    {30, "quadrilaterals of 6 nodes"}, {31, "prisms of 12 nodes"}, {32, "prisms of 18 nodes"},
    {33, "hexahedra of 24 nodes"},     {35, "lines of 4 nodes"},   {36, "polygons of second degree"},
    {37, "pyramids of 19 nodes"},      {41, "convex point sets"},  {42, "polyhedra"}};

/// What stands for a type of cells here: [VTK's number], null where nothing does.
std::vector<const mesh_Element*> elementsByVtk() {
  std::vector<const mesh_Element*> elements(kTypes);
  for (const Known& known : kKnown)
    elements[static_cast<std::size_t>(known.vtk)] =
        mesh_FindElement(known.name, static_cast<std::size_t>(known.nodes));
  return elements;
}

class Sorter {
 public:
  Sorter(mesh_Raw& raw, mesh_VtkCells cells) : m_raw(raw), m_cells(std::move(cells)) {}

  std::vector<int> Sort() {
    Check();
    if (AllOfOneType())
      return {};
    std::vector<std::size_t> counts(kTypes);
    ForAll([&](int type, std::size_t, std::span<const int>) { ++counts[static_cast<std::size_t>(type)]; });
    Reserve(counts);
    ForAll([&](int type, std::size_t cell, std::span<const int> nodes) { Add(type, cell, nodes); });
    if (counts[kPolygon] > 0)
      mesh_SetPolygons(m_raw.cells[m_listOf[kPolygon]], m_raw.path, m_polygonEnds, m_polygonNodes);
    return Order();
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const { throw mesh_Error(m_raw.path, what); }

  [[noreturn]] void FailWithType(int type) const {
    const auto* const name = std::find_if(std::begin(kUnknown), std::end(kUnknown),
                                          [&](const auto& one) { return one.first == type; });
    Fail("expected cells of known types, found " +
         std::to_string(std::count(m_cells.types.begin(), m_cells.types.end(), type)) + " of VTK's type " +
         std::to_string(type) + (name == std::end(kUnknown) ? "" : " (" + std::string(name->second) + ")"));
  }

  void Check() const {
    if (m_cells.types.size() != m_cells.ends.size())
      Fail("expected a type for each of " + std::to_string(m_cells.ends.size()) + " cells, found " +
           std::to_string(m_cells.types.size()));
    long long last = 0;
    for (const long long end : m_cells.ends) {
      if (end < last || static_cast<unsigned long long>(end) > m_cells.nodes.size())
        Fail("expected cells that end at " + std::to_string(last) + " to " +
             std::to_string(m_cells.nodes.size()) + " of the connectivity, found " + std::to_string(end));
      last = end;
    }
  }

  // Then the list of nodes is the mesh's, but for the order within each.
  bool AllOfOneType() {
    const std::vector<unsigned char>& types = m_cells.types;
    const std::vector<long long>& ends = m_cells.ends;
    const mesh_Element* const type = types.empty() ? nullptr : m_elements[types[0]];
    if (type == nullptr || std::any_of(types.begin(), types.end(), [&](int t) { return t != types[0]; }))
      return false;
    for (std::size_t i = 0; i < ends.size(); ++i)
      if (ends[i] != static_cast<long long>(i + 1) * type->nodes)
        return false;
    mesh_RawCells& to = m_raw.cells.emplace_back();
    to.type = type;
    to.nodes = std::move(m_cells.nodes);
    to.nodes.resize(types.size() * static_cast<std::size_t>(type->nodes));
    if (!type->to_vtk.empty())
      for (auto row = to.nodes.begin(); row != to.nodes.end(); row += type->nodes) {
        const std::vector<int> vtk(row, row + type->nodes);
        for (std::size_t k = 0; k < vtk.size(); ++k)
          row[type->to_vtk[k]] = vtk[k];
      }
    return true;
  }

  void Reserve(const std::vector<std::size_t>& counts) {
    m_first = m_raw.cells.size();
    for (std::size_t type = 0; type < kTypes; ++type)
      if (counts[type] > 0) {
        m_listOf[type] = m_raw.cells.size();
        mesh_RawCells& list = m_raw.cells.emplace_back();
        list.type = m_elements[type]; // null for polygons until all are known
        if (list.type != nullptr)
          list.nodes.reserve(counts[type] * static_cast<std::size_t>(list.type->nodes));
        m_places.emplace_back().reserve(counts[type]);
      }
  }

  /// Calls use(type, cell, nodes) for all that the cells of the list become.
  template <class Use>
  void ForAll(const Use& use) {
    std::size_t begin = 0;
    for (std::size_t cell = 0; cell < m_cells.types.size(); ++cell) {
      const auto end = static_cast<std::size_t>(m_cells.ends[cell]);
      Split(m_cells.types[cell], {m_cells.nodes.data() + begin, end - begin},
            [&](int type, std::span<const int> nodes) { use(type, cell, nodes); });
      begin = end;
    }
  }

  template <class Use>
  void Split(int type, std::span<const int> n, const Use& use) const {
    switch (type) {
    case kEmpty:
      return;
    case kPolyVertex:
      for (std::size_t i = 0; i < n.size(); ++i)
        use(1, n.subspan(i, 1));
      return;
    case kPolyLine:
      for (std::size_t i = 1; i < n.size(); ++i)
        use(3, n.subspan(i - 1, 2));
      return;
    case kStrip:
      for (std::size_t i = 2; i < n.size(); ++i) {
        const int triangle[] = {n[i - 2], n[i - 1 + i % 2], n[i - i % 2]};
        use(5, std::span<const int>(triangle));
      }
      return;
    case kPixel:
    case kVoxel: {
      const std::size_t count = type == kPixel ? 4 : 8;
      if (n.size() != count)
        break;
      int turned[8];
      for (std::size_t i = 0; i < count; ++i)
        turned[i] = n[i ^ (i / 2 % 2)];
      return use(type == kPixel ? 9 : 12, std::span<const int>(turned, count));
    }
    case kPolygon:
      return use(n.size() == 3 ? 5 : n.size() == 4 ? 9 : kPolygon, n);
    default: {
      const mesh_Element* const element = m_elements[static_cast<std::size_t>(type)];
      if (element == nullptr)
        FailWithType(type);
      if (static_cast<std::size_t>(element->nodes) == n.size())
        return use(type, n);
    }
    }
    Fail("expected cells with the nodes of their types, found VTK's type " + std::to_string(type) + " with " +
         std::to_string(n.size()) + " nodes");
  }

  void Add(int type, std::size_t cell, std::span<const int> n) {
    const std::size_t list = m_listOf[static_cast<std::size_t>(type)];
    mesh_RawCells& to = m_raw.cells[list];
    m_places[list - m_first].push_back(static_cast<int>(cell));
    if (type == kPolygon) {
      m_polygonNodes.insert(m_polygonNodes.end(), n.begin(), n.end());
      m_polygonEnds.push_back(static_cast<long long>(m_polygonNodes.size()));
      return;
    }
    const std::size_t first = to.nodes.size();
    to.nodes.insert(to.nodes.end(), n.begin(), n.end());
    for (std::size_t k = 0; k < to.type->to_vtk.size(); ++k)
      to.nodes[first + static_cast<std::size_t>(to.type->to_vtk[k])] = n[k];
  }

  std::vector<int> Order() const {
    std::vector<int> order;
    for (const std::vector<int>& places : m_places)
      order.insert(order.end(), places.begin(), places.end());
    bool same = order.size() == m_cells.types.size();
    for (std::size_t i = 0; same && i < order.size(); ++i)
      same = order[i] == static_cast<int>(i);
    return same ? std::vector<int>() : order;
  }

  mesh_Raw& m_raw;
  mesh_VtkCells m_cells;
  const std::vector<const mesh_Element*> m_elements = elementsByVtk();
  std::vector<std::size_t> m_listOf = std::vector<std::size_t>(kTypes); // [VTK's type] in raw.cells
  std::vector<std::vector<int>> m_places;                               // [list from the first][its cells]
  std::vector<long long> m_polygonEnds;
  std::vector<int> m_polygonNodes;
  std::size_t m_first = 0;
};

/// A double does not tell the greatest integer of 64 bits from the first that is too great: reading does.
bool canRead(const std::function<std::vector<long long>(std::size_t step)>& read, std::size_t steps) {
  try {
    for (std::size_t step = 0; step < steps; ++step)
      read(step);
    return true;
  } catch (const mesh_Error&) {
    return false;
  }
}

std::size_t cellsOf(const mesh_RawCells& list) {
  return list.nodes.size() / static_cast<std::size_t>(list.type->nodes);
}

} // namespace

std::vector<int> mesh_AddVtkCells(mesh_Raw& raw, mesh_VtkCells cells) {
  return Sorter(raw, std::move(cells)).Sort();
}

template <class T>
std::vector<T> mesh_InOrder(std::vector<T> values, const std::vector<int>& order, std::size_t components) {
  if (order.empty())
    return values;
  std::vector<T> sorted;
  sorted.reserve(order.size() * components);
  for (const int row : order) {
    const auto from = values.begin() + row * static_cast<std::ptrdiff_t>(components);
    sorted.insert(sorted.end(), from, from + static_cast<std::ptrdiff_t>(components));
  }
  return sorted;
}

template std::vector<double> mesh_InOrder(std::vector<double>, const std::vector<int>&, std::size_t);
template std::vector<long long> mesh_InOrder(std::vector<long long>, const std::vector<int>&, std::size_t);

void mesh_KeepIntegers(mesh_Raw& raw, mesh_RawField& field, std::size_t steps,
                       std::function<std::vector<long long>(std::size_t step)> read) {
  constexpr double kExact = 0x1p53, kMost = 0x1p63;
  double greatest = 0;
  bool all = true;
  for (std::size_t step = 0; step < steps; ++step)
    for (const double one : field.read(step)) {
      all = all && !std::isnan(one);
      greatest = std::max(greatest, std::abs(one));
    }
  if (greatest < kExact)
    return;
  if (all && (greatest < kMost || canRead(read, steps)))
    field.readIntegers = std::move(read);
  else
    raw.notes.push_back("the last digits of integers in " + field.name + ", which are kept as reals");
}

bool mesh_TakeLabels(mesh_Raw& raw, bool cells, const std::vector<long long>& labels) {
  std::size_t rows = raw.coordinates.size() / raw.dimension;
  if (cells)
    rows = std::accumulate(raw.cells.begin(), raw.cells.end(), std::size_t{0},
                           [](std::size_t sum, const mesh_RawCells& list) { return sum + cellsOf(list); });
  std::vector<long long> sorted = labels;
  std::sort(sorted.begin(), sorted.end());
  if (labels.size() != rows || std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end())
    return false;
  if (!cells) {
    raw.nodeLabels = labels;
    return true;
  }
  auto next = labels.begin();
  for (mesh_RawCells& list : raw.cells) {
    const auto end = next + static_cast<std::ptrdiff_t>(cellsOf(list));
    list.labels.assign(next, end);
    next = end;
  }
  return true;
}
