#pragma once

#include <mpi/numbering/rnk_System.h>

/// Elements of one width, as a rank gives them.
/// Threads: a value; each thread uses values of its own.
struct rnk_Elements {
  const std::int64_t* nodes; // [count][width]; below 0: no node
  std::int64_t count;
  int width;
};

/// The elements of this rank's nodes, whichever ranks gave them, and the nodes of these elements: first the
/// rank's own, by their numbers from its first, then those of others, ascending.
/// Threads: one at a time while it is filled.
class rnk_Graph {
 public:
  /// Collective.
  /// \return false on all ranks where elements of one name nodes that are not there.
  bool Gather(const rnk_System& system, const std::vector<rnk_Elements>& elements);

  /// \return the numbers of the nodes of other ranks, ascending.
  const std::vector<std::int64_t>& Ghosts() const { return m_ghosts; }
  /// \param node  of this rank, from 0.
  /// \param out   receives the node and all that it shares an element with, each once, in any order.
  void Neighbours(std::int64_t node, std::vector<std::int64_t>& out);

 private:
  void NumberNodes(const rnk_System& system);
  void FindElements(std::int64_t nodes);

  std::vector<std::int64_t> m_nodes; // of all elements: the number of nodes, then these, element by element
  std::vector<std::int64_t> m_ghosts;
  std::vector<std::int64_t> m_begin;  // [own nodes + 1] in m_places
  std::vector<std::int64_t> m_places; // where in m_nodes the elements of each own node begin
  std::vector<std::int64_t> m_seen;   // [all nodes] the last whose neighbour it was found to be
};
