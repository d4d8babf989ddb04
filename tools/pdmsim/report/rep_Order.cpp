#include <pdmsim/report/rep_Order.h>

#include <algorithm>
#include <cstdint>

namespace {

/// Walks from node to node, and takes all faces around each.
class Walk {
 public:
  Walk(std::size_t nodes, const rep_Faces& faces)
      : m_faces(faces), m_corners(static_cast<std::size_t>(faces.corners)), m_begins(nodes + 1),
        m_around(faces.nodes.size()), m_taken(faces.Count()) {
    for (const int node : faces.nodes)
      ++m_begins[static_cast<std::size_t>(node) + 1];
    for (std::size_t node = 0; node < nodes; ++node)
      m_begins[node + 1] += m_begins[node];
    m_left.resize(nodes);
    for (std::size_t i = 0; i < faces.nodes.size(); ++i) {
      const auto node = static_cast<std::size_t>(faces.nodes[i]);
      m_around[m_begins[node] + m_left[node]++] = static_cast<std::uint32_t>(i / m_corners);
    }
  }

  std::vector<std::uint32_t> Order() {
    m_order.reserve(m_faces.Count());
    for (std::size_t next = 0; next < m_faces.Count(); ++next) {
      if (m_taken[next])
        continue;
      m_stack.push_back(m_faces.nodes[next * m_corners]);
      while (!m_stack.empty()) {
        const int node = m_stack.back();
        m_stack.pop_back();
        if (m_left[static_cast<std::size_t>(node)] > 0)
          TakeAround(static_cast<std::size_t>(node));
      }
    }
    return std::move(m_order);
  }

 private:
  void TakeAround(std::size_t node) {
    for (std::uint32_t i = m_begins[node]; i < m_begins[node + 1]; ++i) {
      const std::uint32_t face = m_around[i];
      if (m_taken[face])
        continue;
      m_taken[face] = true;
      m_order.push_back(face);
      for (std::size_t k = 0; k < m_corners; ++k) {
        const int corner = m_faces.nodes[face * m_corners + k];
        --m_left[static_cast<std::size_t>(corner)];
        m_stack.push_back(corner);
      }
    }
  }

  const rep_Faces& m_faces;
  std::size_t m_corners;
  std::vector<std::uint32_t> m_begins; // [nodes + 1] of a node's faces in m_around
  std::vector<std::uint32_t> m_around, m_left, m_order;
  std::vector<bool> m_taken;
  std::vector<int> m_stack; // nodes with faces around them that are left, perhaps
};

/// Rows of `width` numbers in another order.
void reorder(std::vector<int>& rows, std::size_t width, const std::vector<std::uint32_t>& order) {
  if (rows.empty())
    return;
  std::vector<int> out;
  out.reserve(rows.size());
  for (const std::size_t from : order)
    out.insert(out.end(), rows.begin() + static_cast<std::ptrdiff_t>(from * width),
               rows.begin() + static_cast<std::ptrdiff_t>((from + 1) * width));
  rows = std::move(out);
}

} // namespace

void rep_OrderByNeighbours(std::size_t nodes, std::vector<rep_Faces>& groups) {
  for (rep_Faces& faces : groups) {
    if (faces.nodes.size() < nodes / 64) // little to win, and each walk takes time for all nodes
      continue;
    const std::vector<std::uint32_t> order = Walk(nodes, faces).Order();
    reorder(faces.nodes, static_cast<std::size_t>(faces.corners), order);
    reorder(faces.elements, 1, order);
    reorder(faces.others, 1, order);
  }
}
