#include <pdmsim/report/rep_Skin.h>

#include <pdmsim/mesh/mesh_Elements.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <tuple>

namespace {

using Corners = std::array<int, 4>; // behind the last one: -1

/// A block's elements by their corners.
struct Block {
  int number = 0; // 0-based
  const mesh_Element* type = nullptr;
  std::size_t elements = 0, firstElement = 0;
  std::size_t firstFace = 0;            // of a block of solids: the number of its first face
  std::size_t sides = 0, width = 0;     // width: numbers in a row of `corners`
  std::vector<int> corners;             // [elements][width]
  std::vector<std::span<const int>> by; // [sides] places of the corners of each side
};

/// Nodes without those that came before; behind them -1.
template <class Nodes>
int distinct(const Nodes& nodes, Corners& out) {
  int count = 0;
  out.fill(-1);
  for (const int node : nodes)
    if (node >= 0 && std::find(out.begin(), out.begin() + count, node) == out.begin() + count && count < 4)
      out[static_cast<std::size_t>(count++)] = node;
  return count;
}

int sideOf(const Block& block, std::size_t element, std::size_t side, Corners& out) {
  const int* row = &block.corners[element * block.width];
  int nodes[4] = {-1, -1, -1, -1}, *next = nodes;
  for (const int place : block.by[side])
    *next++ = row[place];
  return distinct(nodes, out);
}

Block readBlock(const mesh_Source& mesh, const mesh_Block& from) {
  Block block;
  block.number = from.number - 1;
  block.type = mesh_FindElement(from.type, from.nodesPerElement);
  block.elements = from.elements;
  block.firstElement = from.firstElement;
  const bool fixed = from.shape == mesh_Block::Shape::kFixed;
  const auto connectivity = mesh.Connectivity(from);
  const std::size_t width = connectivity->Width();
  block.width = fixed ? static_cast<std::size_t>(block.type->corners) : width;
  block.corners.resize(block.width * block.elements);
  constexpr std::size_t kRows = 1 << 14;
  std::vector<int> rows(std::min(kRows, block.elements) * width);
  for (std::size_t first = 0; first < block.elements; first += kRows) {
    const std::size_t count = std::min(kRows, block.elements - first);
    connectivity->Next(count, rows.data());
    for (std::size_t i = 0; i < count; ++i)
      std::copy_n(&rows[i * width], block.width, &block.corners[(first + i) * block.width]);
  }
  if (fixed) {
    block.sides = mesh_SideCount(*block.type);
    for (std::size_t side = 0; side < block.sides; ++side)
      block.by.push_back(mesh_SideCorners(*block.type, side));
  }
  return block;
}

/// Groups of faces, found by what their faces have in common.
class Groups {
 public:
  rep_Faces& Of(int block, int other, int corners) {
    rep_Faces& faces = m_groups[{block, other, corners}];
    faces.block = block;
    faces.other = other;
    faces.corners = corners;
    return faces;
  }
  std::vector<rep_Faces> Take() {
    std::vector<rep_Faces> all;
    for (auto& [key, faces] : m_groups)
      all.push_back(std::move(faces));
    return all;
  }

 private:
  std::map<std::tuple<int, int, int>, rep_Faces> m_groups;
};

void addWhole(const Block& block, Groups& groups) {
  for (std::size_t element = 0; element < block.elements; ++element) {
    const int* row = &block.corners[element * block.width];
    int count = 0;
    while (count < static_cast<int>(block.width) && row[count] >= 0)
      ++count;
    if (count == 0)
      continue;
    rep_Faces& faces = groups.Of(block.number, -1, count);
    faces.nodes.insert(faces.nodes.end(), row, row + count);
    faces.elements.push_back(static_cast<int>(block.firstElement + element));
  }
}

/// A face of a solid, kept with its smallest node: the others in ascending order.
struct Entry {
  int nodes[3];
  std::uint32_t face; // the number over all solids
  bool IsSame(const Entry& other) const { return std::equal(nodes, nodes + 3, other.nodes); }
};

/// Finds the faces that solids share. A face is in the bucket of its smallest node.
class Matching {
 public:
  Matching(const std::vector<Block>& solids, std::size_t nodes) : m_solids(solids), m_begins(nodes + 1) {
    Each([&](const Corners& corners, std::uint32_t) { ++m_begins[Smallest(corners) + 1]; });
    for (std::size_t node = 0; node < nodes; ++node)
      m_begins[node + 1] += m_begins[node];
    m_entries.resize(m_begins.back());
    std::vector<std::uint32_t> next(m_begins.begin(), m_begins.end() - 1);
    Each([&](Corners corners, std::uint32_t face) {
      const std::size_t smallest = Smallest(corners);
      std::sort(corners.begin(), corners.end(), [](int a, int b) { // -1 behind all
        return static_cast<unsigned>(a) < static_cast<unsigned>(b);
      });
      m_entries[next[smallest]++] = {{corners[1], corners[2], corners[3]}, face};
    });
  }

  void AddTo(Groups& groups) {
    for (std::size_t node = 0; node + 1 < m_begins.size(); ++node)
      for (std::uint32_t i = m_begins[node]; i < m_begins[node + 1]; ++i)
        if (m_entries[i].face != kDone)
          Add(i, m_begins[node + 1], groups);
  }

 private:
  static constexpr std::uint32_t kDone = std::numeric_limits<std::uint32_t>::max();

  static std::size_t Smallest(const Corners& corners) {
    int smallest = corners[0];
    for (const int corner : corners)
      smallest = corner >= 0 ? std::min(smallest, corner) : smallest;
    return static_cast<std::size_t>(smallest);
  }

  template <class Do>
  void Each(Do&& act) const {
    Corners corners;
    for (const Block& block : m_solids)
      for (std::size_t element = 0; element < block.elements; ++element)
        for (std::size_t side = 0; side < block.sides; ++side)
          if (sideOf(block, element, side, corners) >= 3)
            act(corners, static_cast<std::uint32_t>(block.firstFace + element * block.sides + side));
  }

  void Add(std::uint32_t first, std::uint32_t end, Groups& groups) {
    std::uint32_t owners = 1, second = 0;
    for (std::uint32_t i = first + 1; i < end; ++i)
      if (m_entries[i].face != kDone && m_entries[i].IsSame(m_entries[first])) {
        second = m_entries[i].face;
        m_entries[i].face = kDone;
        ++owners;
      }
    const Block& block = BlockOf(m_entries[first].face);
    const Block* other = owners == 2 ? &BlockOf(second) : nullptr;
    if (owners > 2 || other == &block)
      return;
    const std::size_t face = m_entries[first].face - block.firstFace;
    Corners corners;
    const int count = sideOf(block, face / block.sides, face % block.sides, corners);
    rep_Faces& faces = groups.Of(block.number, other ? other->number : -1, count);
    faces.nodes.insert(faces.nodes.end(), corners.begin(), corners.begin() + count);
    faces.elements.push_back(static_cast<int>(block.firstElement + face / block.sides));
    if (other)
      faces.others.push_back(
          static_cast<int>(other->firstElement + (second - other->firstFace) / other->sides));
  }

  const Block& BlockOf(std::uint32_t face) const {
    const auto behind =
        std::upper_bound(m_solids.begin(), m_solids.end(), face,
                         [](std::uint32_t wanted, const Block& block) { return wanted < block.firstFace; });
    return behind[-1];
  }

  const std::vector<Block>& m_solids;
  std::vector<std::uint32_t> m_begins; // [nodes + 1]
  std::vector<Entry> m_entries;
};

/// Why a block cannot be drawn, "" when it can.
std::string obstacle(const mesh_Block& block) {
  if (block.shape == mesh_Block::Shape::kPolyhedra)
    return "polyhedra";
  if (block.shape == mesh_Block::Shape::kFixed && !mesh_FindElement(block.type, block.nodesPerElement))
    return "elements of the type " + block.type + " with " + std::to_string(block.nodesPerElement) + " nodes";
  return "";
}

} // namespace

rep_Skin rep_FindSkin(const mesh_Source& mesh) {
  rep_Skin skin;
  Groups groups;
  std::vector<Block> solids;
  std::size_t faces = 0;
  for (const mesh_Block& from : mesh.Blocks()) {
    if (from.elements == 0 || from.nodesPerElement == 0)
      continue;
    if (const std::string what = obstacle(from); !what.empty()) {
      skin.notes.push_back("block " + std::to_string(from.number) + " is not drawn: " + what);
      continue;
    }
    Block block = readBlock(mesh, from);
    if (!block.type || block.type->dimension < 3) {
      addWhole(block, groups);
    } else if (faces + block.elements * block.sides >= std::numeric_limits<std::uint32_t>::max()) {
      skin.notes.push_back("block " + std::to_string(from.number) + " is not drawn: too many faces");
    } else {
      block.firstFace = faces;
      faces += block.elements * block.sides;
      solids.push_back(std::move(block));
    }
  }
  if (!solids.empty())
    Matching(solids, mesh.Nodes()).AddTo(groups);
  skin.faces = groups.Take();
  return skin;
}

std::vector<rep_Faces> rep_FindSides(const mesh_Source& mesh, const mesh_Set& set) {
  std::vector<int> elements(set.size), sides(set.size);
  mesh.ReadSet(set, 0, set.size, elements.data());
  mesh.ReadSides(set, 0, set.size, elements.data(), sides.data());
  Groups groups;
  for (const mesh_Block& from : mesh.Blocks()) {
    if (from.elements == 0 || !obstacle(from).empty() || from.shape != mesh_Block::Shape::kFixed)
      continue;
    const auto inside = [&](int element) {
      return element >= 0 && static_cast<std::size_t>(element) - from.firstElement < from.elements;
    };
    if (std::none_of(elements.begin(), elements.end(), inside))
      continue;
    const Block block = readBlock(mesh, from);
    Corners corners;
    for (std::size_t i = 0; i < set.size; ++i) {
      if (!inside(elements[i]) || sides[i] < 0 || static_cast<std::size_t>(sides[i]) >= block.sides)
        continue;
      const int count = sideOf(block, static_cast<std::size_t>(elements[i]) - from.firstElement,
                               static_cast<std::size_t>(sides[i]), corners);
      auto& nodes = groups.Of(0, -1, count).nodes;
      nodes.insert(nodes.end(), corners.begin(), corners.begin() + count);
    }
  }
  return groups.Take();
}
