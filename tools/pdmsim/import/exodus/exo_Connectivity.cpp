#include <pdmsim/import/exodus/exo_Connectivity.h>

#include <algorithm>

exo_Connectivity::exo_Connectivity(const exo_File& file, const mesh_Block& block)
    : m_file(file), m_block(block) {
  m_nodes.emplace(*file.File().Find("connect" + std::to_string(block.number)), std::vector<std::size_t>{});
  m_width = block.nodesPerElement;
  if (block.shape != mesh_Block::Shape::kPolygons)
    return;
  const std::string name = "ebepecnt" + std::to_string(block.number);
  const auto corners = file.File().Find(name);
  if (!corners)
    file.File().Fail("expected the corner counts of the polygons of block " + std::to_string(block.id) +
                     " in " + name + ", found no such variable");
  corners->Require({block.elements}, exo_Array::Kind::kInteger);
  m_corners.emplace(*corners, std::vector<std::size_t>{});
  std::size_t sum = 0;
  m_width = 0;
  std::vector<int> piece(std::min<std::size_t>(block.elements, 1 << 16));
  for (std::size_t first = 0; first < block.elements; first += piece.size()) {
    const std::size_t count = std::min(piece.size(), block.elements - first);
    m_corners->Read(first, count, piece.data());
    for (std::size_t i = 0; i < count; ++i) {
      if (piece[i] < 0)
        file.File().Fail("expected " + name + " to hold counts, found " + std::to_string(piece[i]));
      sum += static_cast<std::size_t>(piece[i]);
      m_width = std::max(m_width, static_cast<std::size_t>(piece[i]));
    }
  }
  if (sum != block.nodesPerElement)
    file.File().Fail("expected " + name + " to sum up to " + std::to_string(block.nodesPerElement) +
                     ", found " + std::to_string(sum));
}

void exo_Connectivity::Next(std::size_t count, int* out) {
  if (m_corners) {
    NextPolygons(count, out);
  } else {
    m_nodes->Read(m_element, count, out);
    CheckNodes(m_nodes->Array(), out, count * m_width);
  }
  m_element += count;
}

void exo_Connectivity::NextPolygons(std::size_t count, int* out) {
  std::vector<int> corners(count);
  m_corners->Read(m_element, count, corners.data());
  std::fill(out, out + count * m_width, -1);
  std::size_t total = 0;
  for (const int n : corners)
    total += static_cast<std::size_t>(n);
  std::vector<int> nodes(total);
  m_nodes->Read(m_corner, total, nodes.data());
  CheckNodes(m_nodes->Array(), nodes.data(), total);
  auto from = nodes.begin();
  for (std::size_t i = 0; i < count; ++i, from += corners[i - 1])
    std::copy_n(from, corners[i], out + i * m_width);
  m_corner += total;
}

void exo_Connectivity::CheckNodes(const exo_Array& array, int* nodes, std::size_t count) const {
  const auto limit = static_cast<unsigned>(m_file.Nodes());
  bool good = true; // asked only once, so that many nodes are checked at a time
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned node = static_cast<unsigned>(nodes[i]) - 1;
    good &= node < limit;
    nodes[i] = static_cast<int>(node);
  }
  if (good)
    return;
  const int* const wrong =
      std::find_if(nodes, nodes + count, [&](int node) { return static_cast<unsigned>(node) >= limit; });
  m_file.File().Fail("expected " + array.Name() + " (block " + std::to_string(m_block.id) +
                     ") to hold nodes in 1.." + std::to_string(limit) + ", found " +
                     std::to_string(static_cast<int>(static_cast<unsigned>(*wrong) + 1)));
}
