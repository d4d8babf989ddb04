#include "modal_Numbering.h"

#include <boost/graph/adjacency_list.hpp>
#include <boost/graph/cuthill_mckee_ordering.hpp>

#include <algorithm>

namespace {

std::size_t At(int index) {
  return static_cast<std::size_t>(index);
}

/// Calls f(place) for each DOF of a node that has one.
template <class F>
void ForEachPlace(const fesD_NodalDofDefinition& dofs, const std::vector<int>& places, int node, F&& f) {
  for (int id = 0; id < dofs.MaxNodalDof(); ++id)
    if (const int dof = dofs.SystemOrdinal(node, id); dof >= 0 && places[At(dof)] >= 0)
      f(places[At(dof)]);
}

} // namespace

std::vector<int> modal_ActivityMasks(const modal_Mesh& mesh) {
  return modal_SolverMasks(mesh, std::vector<bool>(mesh.used.size()));
}

std::vector<int> modal_SolverMasks(const modal_Mesh& mesh, const std::vector<bool>& fixed) {
  std::vector<int> masks(mesh.used.size());
  for (std::size_t i = 0; i < masks.size(); ++i)
    masks[i] = mesh.used[i] && !fixed[i] ? modal_kDisplacements : 0;
  return masks;
}

modal_Neighbours::modal_Neighbours(const modal_Mesh& mesh) : m_lists(mesh.used.size()) {
  for (const modal_Block& block : mesh.solids)
    for (std::size_t i = 0; i < block.Elements(); ++i)
      for (std::size_t a = 0; a < block.NodesEach(); ++a) {
        std::vector<int>& list = m_lists[At(block.Element(i)[a])];
        for (std::size_t b = 0; b < block.NodesEach(); ++b) {
          const int node = block.Element(i)[b];
          const auto place = std::lower_bound(list.begin(), list.end(), node);
          if (place == list.end() || *place != node)
            list.insert(place, node);
        }
      }
}

std::vector<int> modal_ReverseCuthillMcKee(const modal_Neighbours& neighbours,
                                           const std::vector<int>& start) {
  using namespace boost;
  using Graph = adjacency_list<vecS, vecS, undirectedS, property<vertex_color_t, default_color_type>>;
  const std::size_t nodes = At(neighbours.Nodes()), root = nodes; // one more vertex, next to all of `start`
  Graph graph(nodes + 1);
  for (int a = 0; a < neighbours.Nodes(); ++a)
    for (const int b : neighbours.Of(a))
      if (a < b)
        add_edge(At(a), At(b), graph);
  for (const int node : start)
    add_edge(root, At(node), graph);
  std::vector<std::size_t> order;
  const auto color = get(vertex_color, graph);
  const auto degree = make_degree_map(graph);
  if (!start.empty())
    cuthill_mckee_ordering(graph, root, std::back_inserter(order), color, degree);
  if (order.size() <= nodes) { // without a start, or where it does not lead everywhere
    order.clear();
    cuthill_mckee_ordering(graph, std::back_inserter(order), color, degree);
  }
  std::vector<int> ranks(nodes);
  int rank = 0;
  for (auto vertex = order.rbegin(); vertex != order.rend(); ++vertex)
    if (*vertex != root)
      ranks[*vertex] = ++rank;
  return ranks;
}

std::vector<int> modal_EndNodes(const modal_Mesh& mesh) {
  const Eigen::AlignedBox3d box = mesh.Box();
  Eigen::Index axis = 0;
  const double length = box.sizes().maxCoeff(&axis);
  std::vector<int> nodes;
  for (int i = 0; i < mesh.Nodes(); ++i)
    if (mesh.used[At(i)] && mesh.points(axis, i) - box.min()[axis] <= 1e-6 * length)
      nodes.push_back(i);
  return nodes;
}

modal_Envelope modal_EnvelopeOf(const modal_Neighbours& neighbours, const fesD_NodalDofDefinition& dofs,
                                const std::vector<int>& places) {
  modal_Envelope envelope;
  for (int node = 0; node < neighbours.Nodes(); ++node) {
    int first = dofs.NumberOfDofs();
    for (const int other : neighbours.Of(node))
      ForEachPlace(dofs, places, other, [&](int place) { first = std::min(first, place); });
    ForEachPlace(dofs, places, node, [&](int place) {
      envelope.bandwidth = std::max(envelope.bandwidth, place - first);
      envelope.profile += place - first + 1;
    });
  }
  return envelope;
}

std::vector<int> modal_PlacesInSolverOrder(const fesD_NodalDofDefinition& dofs) {
  std::vector<int> places(At(dofs.NumberOfDofs()));
  dofs.MappingToSolverDofs(places.data());
  for (int& place : places)
    if (place >= dofs.NumberOfSolverDofs())
      place = -1;
  return places;
}

std::vector<int> modal_PlacesInSystemOrder(const fesD_NodalDofDefinition& dofs) {
  std::vector<int> places = modal_PlacesInSolverOrder(dofs);
  int next = 0;
  for (int& place : places)
    if (place >= 0)
      place = next++;
  return places;
}
