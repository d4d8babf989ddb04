#pragma once

#include <mpi/numbering/rnk_Parts.h>

#include <dof/dof_Memory.h>

/// One degree of freedom of one node of any rank.
struct rnk_NodeDof {
  std::int64_t node;
  int dofId;
};

/// The tables of the nodes of one rank, which count nodes and DOFs from 0: as many as memory holds. Blocks of
/// nodes are numbered as a whole system is, each from 0; what a block begins with counts in 64 bits.
/// Threads: one at a time while it changes.
class rnk_Tables {
 public:
  static constexpr int kBlockBits = 20;

  rnk_Tables() = default;
  /// \param masks  [nodes] bit 31 is clear in each.
  /// \param nodes  of this rank.
  /// \param labels of all ranks, as a mask.
  rnk_Tables(const int* masks, std::int64_t nodes, unsigned labels);

  std::int64_t Dofs() const { return m_firsts.back(); }
  /// \return the labels in use.
  int Columns() const { return m_columns; }
  /// \return the DOF of a node's DOF id, -1 where it has none.
  std::int64_t Ordinal(std::int64_t node, int dofId) const {
    const int inBlock = m_ordinals[rnk_At(node * m_columns + dofId)];
    return inBlock < 0 ? -1 : m_firsts[rnk_At(node >> kBlockBits)] + inBlock;
  }
  rnk_NodeDof NodeDof(std::int64_t dof) const;

 private:
  int m_columns = 0;
  std::vector<std::int64_t> m_firsts{0}; // [blocks + 1] the first DOF of each block
  dof_Ints m_ordinals;                   // [nodes x columns] the DOF from its block's first, or -1
  dof_Ints m_codes;                      // [DOFs] 128 x (node of the block + 1) + DOF id
};
