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

std::vector<int> modal_ReverseCuthillMcKee(const modal_Neighbours& neighbours) {
  using namespace boost;
  using Graph = adjacency_list<vecS, vecS, undirectedS, property<vertex_color_t, default_color_type>>;
  Graph graph(At(neighbours.Nodes()));
  for (int a = 0; a < neighbours.Nodes(); ++a)
    for (const int b : neighbours.Of(a))
      if (a < b)
        add_edge(At(a), At(b), graph);
  std::vector<std::size_t> order(num_vertices(graph));
  cuthill_mckee_ordering(graph, order.rbegin(), get(vertex_color, graph), make_degree_map(graph));
  std::vector<int> ranks(order.size());
  for (std::size_t place = 0; place < order.size(); ++place)
    ranks[order[place]] = static_cast<int>(place) + 1;
  return ranks;
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
