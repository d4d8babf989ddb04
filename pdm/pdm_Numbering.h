#pragma once

#include <PDM_Core.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace pdm {

/// The places of a sparse matrix that are not zero, by rows (CSR).
/// Threads: a value; each thread uses values of its own.
struct Pattern {
  std::vector<std::int64_t> begin; ///< [rows + 1] where each row begins in `columns`
  std::vector<int> columns;        ///< ascending within a row
};

/// The equations of a system: its active degrees of freedom, numbered from 0.
///
/// Equations are numbered node by node and by ascending label within a node. A solver's order takes some or
/// all of them in an order of its own; without one every equation stands at its own place. The numbering
/// keeps nothing of the file and outlives it.
/// Threads: any number may read one; none changes it.
class Numbering {
 public:
  Numbering() = default;
  /// Throws std::invalid_argument when a mask has label 32, or there are more nodes than a numbering can
  /// have.
  /// \param masks  [nodes] bit b-1 is set where the degree of freedom with label b is active, 1 to 31.
  explicit Numbering(std::span<const int> masks) : m_nodes(static_cast<int>(masks.size())) {
    if (masks.size() > static_cast<std::size_t>(fesD_NodalDofDefinition::kMaxNodes))
      throw std::invalid_argument("more nodes than a numbering can have");
    const auto negative = std::find_if(masks.begin(), masks.end(), [](int mask) { return mask < 0; });
    if (negative != masks.end())
      throw std::invalid_argument("label 32 is active at node " + std::to_string(negative - masks.begin()));
    auto* const own =
        static_cast<int*>(mem_OperatorNewThrowBuiltin(std::max<std::size_t>(1, masks.size_bytes())));
    std::copy(masks.begin(), masks.end(), own);
    m_dofs = std::make_shared<fesD_NodalDofDefinition>(own, m_nodes, 0, false);
    for (int label = 0, id = 0; id < m_dofs->MaxNodalDof(); ++id)
      m_labels.push_back(label = m_dofs->DofLabel(id));
  }
  /// As above, with a solver's order. Throws std::invalid_argument when it is none.
  /// \param masks  [nodes]
  /// \param order  [n] the equation at each of the solver's places, none twice.
  Numbering(std::span<const int> masks, std::span<const int> order) : Numbering(masks) {
    if (!m_dofs->TrySetupSolverDofs(static_cast<int>(order.size()), order.data()))
      throw std::invalid_argument("the solver's order is no order of equations 0 to " +
                                  std::to_string(equation_count() - 1) + ", each once");
    m_order.assign(order.begin(), order.end());
    m_ordered = true;
  }

  int node_count() const noexcept { return m_nodes; }
  int equation_count() const noexcept { return m_dofs == nullptr ? 0 : m_dofs->NumberOfDofs(); }
  /// \return the labels that are active anywhere, ascending.
  const std::vector<int>& labels() const noexcept { return m_labels; }
  bool has_order() const noexcept { return m_ordered; }

  /// \param node   0-based.
  /// \param label  from 1.
  /// \return the equation, -1 where there is none.
  int equation(int node, int label) const noexcept {
    const auto found = std::lower_bound(m_labels.begin(), m_labels.end(), label);
    if (node < 0 || node >= m_nodes || found == m_labels.end() || *found != label)
      return -1;
    return m_dofs->SystemOrdinal(node, static_cast<int>(found - m_labels.begin()));
  }
  /// \return [nodes][labels()] the equations, -1 where there is none.
  std::vector<int> equations() const {
    std::vector<int> all;
    all.reserve(static_cast<std::size_t>(m_nodes) * m_labels.size());
    for (int node = 0; node < m_nodes; ++node)
      for (int id = 0; id < static_cast<int>(m_labels.size()); ++id)
        all.push_back(m_dofs->SystemOrdinal(node, id));
    return all;
  }
  /// \return [equations] the node of each.
  std::vector<int> equation_nodes() const {
    std::vector<int> all;
    for (int i = 0; i < equation_count(); ++i)
      all.push_back(m_dofs->NodeDofFromSystemDof(i).node);
    return all;
  }
  /// \return [equations] the label of each.
  std::vector<int> equation_labels() const {
    std::vector<int> all;
    for (int i = 0; i < equation_count(); ++i)
      all.push_back(m_labels[static_cast<std::size_t>(m_dofs->NodeDofFromSystemDof(i).dofId)]);
    return all;
  }
  /// \return [solver's places] the equation at each; all in their own order where the solver has none.
  std::vector<int> order() const {
    std::vector<int> all = m_order;
    for (int i = 0; !m_ordered && i < equation_count(); ++i)
      all.push_back(i);
    return all;
  }
  /// \return [equations] the solver's place of each, -1 for those that it does not use.
  std::vector<int> places() const {
    std::vector<int> all(static_cast<std::size_t>(equation_count()), -1);
    int place = 0;
    for (const int equation : order())
      all[static_cast<std::size_t>(equation)] = place++;
    return all;
  }
  /// Which places of a matrix are not zero whose elements couple all equations of their nodes. Rows and
  /// columns are the solver's places. Throws std::invalid_argument for nodes that are not there.
  /// \param elements  of each drawer of a connectivity [elements][nodes]; nodes below 0 are left out.
  /// \param widths    [elements.size()] nodes an element of each drawer.
  /// Cost: O(entries x log(entries a row)); beside the answer one place for each node of each element.
  Pattern pattern(const std::vector<std::vector<int>>& elements, const std::vector<int>& widths) const;

 private:
  std::vector<int> used_places(int node, const std::vector<int>& places) const;

  int m_nodes = 0;
  std::shared_ptr<fesD_NodalDofDefinition> m_dofs; // not changed any more
  std::vector<int> m_labels, m_order;
  bool m_ordered = false;
};

namespace detail {

/// Which nodes share an element.
class Neighbours {
 public:
  Neighbours(const std::vector<std::vector<int>>& elements, const std::vector<int>& widths, int nodes)
      : m_elements(elements), m_widths(widths), m_begin(static_cast<std::size_t>(nodes) + 1) {
    for (std::size_t drawer = 0; drawer < elements.size(); ++drawer)
      if (drawer >= widths.size() || elements[drawer].size() % width(drawer) != 0)
        throw std::invalid_argument("the connectivity has no whole elements");
    ForEach([&](int node, const Place&) {
      if (node >= nodes)
        throw std::invalid_argument("the connectivity has node " + std::to_string(node) +
                                    ", the numbering has " + std::to_string(nodes) + " nodes");
      ++m_begin[static_cast<std::size_t>(node) + 1];
    });
    for (std::size_t i = 1; i < m_begin.size(); ++i)
      m_begin[i] += m_begin[i - 1];
    m_places.resize(m_begin.back());
    std::vector<std::size_t> next(m_begin);
    ForEach([&](int node, const Place& place) { m_places[next[static_cast<std::size_t>(node)]++] = place; });
  }
  /// \param out  receives the node and all that it shares an element with, ascending.
  void Of(int node, std::vector<int>& out) const {
    out.assign(1, node);
    const auto at = static_cast<std::size_t>(node);
    for (std::size_t i = m_begin[at]; i < m_begin[at + 1]; ++i) {
      const int* const first = &m_elements[m_places[i].drawer][m_places[i].first];
      std::copy_if(first, first + width(m_places[i].drawer), std::back_inserter(out),
                   [](int other) { return other >= 0; });
    }
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
  }

 private:
  struct Place {
    std::uint32_t drawer;
    std::size_t first; // of the element's nodes in the drawer
  };
  std::size_t width(std::size_t drawer) const {
    return static_cast<std::size_t>(std::max(1, m_widths[drawer]));
  }
  template <class Visit>
  void ForEach(Visit&& visit) const {
    for (std::size_t drawer = 0; drawer < m_elements.size(); ++drawer)
      for (std::size_t i = 0; i < m_elements[drawer].size(); ++i)
        if (m_elements[drawer][i] >= 0)
          visit(m_elements[drawer][i], Place{static_cast<std::uint32_t>(drawer), i - i % width(drawer)});
  }

  const std::vector<std::vector<int>>& m_elements;
  const std::vector<int>& m_widths;
  std::vector<std::size_t> m_begin; // [nodes + 1] in m_places
  std::vector<Place> m_places;      // the elements of each node
};

} // namespace detail

inline std::vector<int> Numbering::used_places(int node, const std::vector<int>& places) const {
  std::vector<int> used;
  for (int id = 0; id < static_cast<int>(m_labels.size()); ++id)
    if (const int equation = m_dofs->SystemOrdinal(node, id); equation >= 0)
      if (const int place = places[static_cast<std::size_t>(equation)]; place >= 0)
        used.push_back(place);
  return used;
}

inline Pattern Numbering::pattern(const std::vector<std::vector<int>>& elements,
                                  const std::vector<int>& widths) const {
  const std::vector<int> at = places();
  const detail::Neighbours graph(elements, widths, m_nodes);
  std::vector<int> neighbours, columns;
  const auto each_row = [&](auto&& visit) {
    for (int node = 0; node < m_nodes; ++node) {
      const std::vector<int> rows = used_places(node, at);
      if (rows.empty())
        continue;
      graph.Of(node, neighbours);
      columns.clear();
      for (const int neighbour : neighbours)
        for (const int place : used_places(neighbour, at))
          columns.push_back(place);
      std::sort(columns.begin(), columns.end());
      for (const int row : rows)
        visit(static_cast<std::size_t>(row));
    }
  };
  Pattern pattern;
  pattern.begin.resize(order().size() + 1);
  each_row([&](std::size_t row) { pattern.begin[row + 1] = static_cast<std::int64_t>(columns.size()); });
  for (std::size_t i = 1; i < pattern.begin.size(); ++i)
    pattern.begin[i] += pattern.begin[i - 1];
  pattern.columns.resize(static_cast<std::size_t>(pattern.begin.back()));
  each_row([&](std::size_t row) {
    std::copy(columns.begin(), columns.end(), pattern.columns.begin() + pattern.begin[row]);
  });
  return pattern;
}

} // namespace pdm
