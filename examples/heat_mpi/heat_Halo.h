#pragma once

#include "heat_Team.h"

#include <Eigen/Core>

#include <map>

/// The nodes that a rank shares with others. Each node is owned by the lowest rank that has it.
class heat_Halo {
 public:
  /// Every rank; throws heat_Failure on all of them when a node of the mesh is nobody's.
  /// \param nodes     0-based nodes of the mesh that this rank has, ascending.
  /// \param allNodes  of the mesh.
  heat_Halo(const heat_Team& team, const std::vector<int>& nodes, int allNodes);

  /// Adds up what the ranks have at a node that they share, so that all of them have the sum, the same to
  /// the last bit. Every rank.
  /// \param values  [nodes].
  void Sum(Eigen::VectorXd& values) const;
  /// \return the product of two vectors over all nodes of the mesh. Every rank.
  double Dot(const Eigen::VectorXd& one, const Eigen::VectorXd& other) const;
  /// \return places of the nodes that this rank owns, ascending.
  const std::vector<int>& Owned() const { return m_owned; }

 private:
  const heat_Team* m_team;
  std::map<int, std::vector<int>> m_shared; // by rank, our own as well: places of shared nodes, ascending
  std::vector<int> m_owned;
};
