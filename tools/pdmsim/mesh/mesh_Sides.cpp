#include <pdmsim/mesh/mesh_Sides.h>

#include <pdmsim/mesh/mesh_Polygons.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

namespace {

constexpr std::size_t kMostCorners = 4; // of a side

using Corners = std::array<int, kMostCorners>; // ascending, behind them -1

Corners sorted(std::span<const int> nodes) {
  Corners corners;
  corners.fill(-1);
  for (std::size_t n = 0; n < std::min(nodes.size(), kMostCorners); ++n) {
    std::size_t at = n;
    for (; at > 0 && corners[at - 1] > nodes[n]; --at)
      corners[at] = corners[at - 1];
    corners[at] = nodes[n];
  }
  return corners;
}

/// True when the nodes follow each other in a circle as those of `other` do, which has the same nodes.
bool sameTurn(const int* nodes, std::span<const int> other) {
  const std::size_t n = other.size(), at = static_cast<std::size_t>(
                                          std::find(other.begin(), other.end(), nodes[0]) - other.begin());
  if (n < 3)
    return at == 0;
  for (std::size_t i = 1; i < n; ++i)
    if (nodes[i] != other[(at + i) % n])
      return false;
  return true;
}

/// The cells of one dimension, found by their corners.
class Lookup {
 public:
  Lookup(const mesh_Raw& raw, int dimension)
      : m_isCorner(raw.coordinates.size() / std::max<std::size_t>(1, raw.dimension)) {
    for (const mesh_RawCells& cells : raw.cells)
      if (cells.type->dimension == dimension)
        Add(cells);
    m_found.resize(m_corners.size());
    m_turned.resize(m_corners.size());
    m_next.assign(m_corners.size(), -1);
    m_table.assign(std::bit_ceil(2 * m_corners.size() + 1), -1);
    for (std::size_t i = 0; i < m_corners.size(); ++i) {
      int& slot = SlotOf(m_corners[i]);
      m_next[i] = slot; // cells with the same corners are a chain
      slot = static_cast<int>(i);
    }
  }

  bool IsCorner(int node) const { return m_isCorner[static_cast<std::size_t>(node)] != 0; }

  /// Tells the cells with those corners, if there are some, what they are a side of.
  void Tell(std::span<const int> corners, mesh_SideOf side) {
    const Corners key = sorted(corners);
    for (int i = SlotOf(key); i >= 0; i = m_next[static_cast<std::size_t>(i)]) {
      const auto cell = static_cast<std::size_t>(i);
      const bool turned = !sameTurn(m_nodes[cell], corners);
      if (m_found[cell].cell >= 0 && (turned || !m_turned[cell]))
        continue;
      m_found[cell] = side;
      m_turned[cell] = turned;
    }
  }

  std::vector<mesh_SideOf> Found() { return std::move(m_found); }

 private:
  void Add(const mesh_RawCells& cells) {
    const auto width = static_cast<std::size_t>(cells.type->nodes);
    // Polygons are sides of nothing: no key is theirs.
    const auto corners =
        mesh_ArePolygons(*cells.type) ? std::size_t{0} : static_cast<std::size_t>(cells.type->corners);
    for (std::size_t at = 0; at + width <= cells.nodes.size(); at += width) {
      const Corners key = sorted({&cells.nodes[at], corners});
      for (std::size_t i = 0; i < corners; ++i)
        m_isCorner[static_cast<std::size_t>(key[i])] = 1;
      m_corners.push_back(key);
      m_nodes.push_back(&cells.nodes[at]);
    }
  }

  int& SlotOf(const Corners& key) {
    std::uint64_t hash = 0;
    for (const int node : key)
      hash = (hash ^ static_cast<std::uint32_t>(node)) * 0x9E3779B97F4A7C15u;
    const std::size_t mask = m_table.size() - 1;
    for (std::size_t at = (hash >> 32) & mask;; at = (at + 1) & mask)
      if (m_table[at] < 0 || m_corners[static_cast<std::size_t>(m_table[at])] == key)
        return m_table[at];
  }

  std::vector<char> m_isCorner; // [node]: of any of the cells
  std::vector<Corners> m_corners;
  std::vector<const int*> m_nodes;
  std::vector<mesh_SideOf> m_found;
  std::vector<bool> m_turned;
  std::vector<int> m_next, m_table;
};

} // namespace

std::vector<mesh_SideOf> mesh_FindSides(const mesh_Raw& raw, int dimension) {
  Lookup lookup(raw, dimension);
  int cell = 0;
  for (const mesh_RawCells& cells : raw.cells) {
    const auto width = static_cast<std::size_t>(cells.type->nodes), count = cells.nodes.size() / width;
    if (cells.type->dimension != dimension + 1) {
      cell += static_cast<int>(count);
      continue;
    }
    std::vector<std::span<const int>> sides;
    for (std::size_t side = 0; side < mesh_SideCount(*cells.type); ++side)
      sides.push_back(mesh_SideCorners(*cells.type, side));
    for (std::size_t i = 0; i < count; ++i, ++cell) {
      const int* const nodes = &cells.nodes[i * width];
      for (std::size_t side = 0; side < sides.size(); ++side) {
        Corners corners;
        std::size_t known = 0;
        for (const int corner : sides[side]) {
          corners[known] = nodes[corner];
          if (!lookup.IsCorner(corners[known]))
            break;
          ++known;
        }
        if (known == sides[side].size())
          lookup.Tell({corners.data(), known}, {cell, static_cast<int>(side)});
      }
    }
  }
  return lookup.Found();
}
