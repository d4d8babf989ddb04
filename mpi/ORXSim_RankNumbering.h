#pragma once

#include <mpi/ORXSim_Ranks.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>

#include <mpi.h>

#include <cstdint>
#include <memory>
#include <vector>

/// Elements of one number of nodes, on one rank; the arrays are the caller's.
/// Threads: a value; each thread uses values of its own.
struct ORXSimRankElements {
  const std::int64_t* nodes = nullptr; ///< [count][width] from 0, of any rank; below 0 stands for no node
  std::int64_t count = 0;              ///< elements, 0 or more
  int width = 1;                       ///< nodes an element, 1 or more
};

/// The rows of a sparse matrix that a rank has, and which of their places are not zero (CSR).
/// Threads: a value; each thread uses values of its own.
struct ORXSimRankPattern {
  std::vector<std::int64_t> rows;    ///< the solver DOF of each row, ascending
  std::vector<std::int64_t> begin;   ///< [rows + 1] where each row begins in `columns`, from 0
  std::vector<std::int64_t> columns; ///< solver DOFs, ascending within a row
};

/// One degree of freedom of one node.
/// Threads: a value; each thread uses values of its own.
struct ORXSimRankNodeDof {
  std::int64_t node; ///< from 0 over all ranks
  int dofId;         ///< not the label
};

/// The numbering of a system's nodal degrees of freedom by the ranks of an MPI job, each of which has a range
/// of the nodes. It numbers as fesD_NodalDofDefinition does, in the same words, and comes to the same numbers
/// entry for entry; counts have 64 bits, so that it goes on where a numbering of one process ends.
///
///     ORXSimRankNumbering numbering;
///     numbering.SetNodes(ranks.Comm(), firstNode, nodeCount);
///     numbering.AddMasks(masks);           // of this rank's nodes
///     numbering.AddElementMasks(shells, shellMasks); // of nodes of any rank
///     numbering.Number(0, false);
///     numbering.Pattern(&shells, 1, pattern); // rows of this rank's equations
///
/// All numbers of nodes and DOFs are those of the whole system, from 0. Nodes, and with them DOFs, lie on the
/// ranks in rank order, so each rank has one range of either.
///
/// Calls that answer bool are collective: every rank of the communicator makes them, in the same order, each
/// with what it has, which may be nothing. The answer is the same on every rank. When it is false nothing of
/// the call counts on any rank, and ORXSimRanks::LastError() names the rank whose input was wrong. A rank
/// that leaves such a call out makes the others wait in it for ever. Calls that answer anything else are
/// local, and answer 0 or -1 where there is nothing to answer. Arrays that are handed in stay the caller's
/// and are not kept.
///
/// Memory: that of the serial numbering for the rank's own nodes, and a few numbers for each rank. A call
/// that exchanges what n nodes or DOFs have takes some 40 n bytes for as long as it runs; a rank that would
/// send or get more than 2^31 - 1 values in one call makes it answer false.
/// Threads: one at a time for each communicator; MPI is called in the thread that makes the call.
class ORXSIM_MPI_API ORXSimRankNumbering {
 public:
  /// Without ranks: all calls answer false, 0 or -1 until SetNodes().
  ORXSimRankNumbering() noexcept;
  ORXSimRankNumbering(ORXSimRankNumbering&& other) noexcept;
  ORXSimRankNumbering& operator=(ORXSimRankNumbering&& other) noexcept;
  /// Local.
  ~ORXSimRankNumbering();

  /// Begins anew, with no mask for any node. Together the ranges are all nodes, in rank order.
  /// \param comm  used for collective calls of MPI alone, not duplicated; it outlives the numbering.
  /// \param first this rank's first node; not looked at where it has none.
  /// \param count its nodes, 0 or more.
  bool SetNodes(MPI_Comm comm, std::int64_t first, std::int64_t count);
  /// Activates labels at this rank's nodes. What is added is joined with what the nodes have; a label once
  /// active stays so. This and the next two only before Number().
  /// \param masks [NodeCount()] bit b-1 for label b, 1 to 31; null where there are no nodes.
  bool AddMasks(const int* masks);
  /// Activates labels at any nodes.
  /// \param n     number of entries on this rank.
  /// \param nodes [n] in any order, also several times; below 0 stands for no node.
  /// \param masks [n]
  bool AddMasks(std::int64_t n, const std::int64_t* nodes, const int* masks);
  /// Activates labels at all nodes of elements.
  /// \param elements of this rank.
  /// \param masks    [elements.count] what each element activates.
  bool AddElementMasks(const ORXSimRankElements& elements, const int* masks);
  /// Numbers the DOFs, once.
  /// \param shift      each active label b also activates label b + (shift & 31); the same on every rank.
  ///     Labels beyond 32 fall away, label 32 is refused.
  /// \param addLabel10 before that, label 8 also activates label 10; the same on every rank.
  bool Number(int shift, bool addLabel10);

  /// \return nodes of all ranks.
  std::int64_t NumberOfNodes() const;
  std::int64_t FirstNode() const;
  /// \return nodes of this rank.
  std::int64_t NodeCount() const;
  /// \return [NodeCount()] the masks, after Number() transformed; they stay the object's.
  const int* ActivityMasks() const;

  // What follows answers 0 or -1 before Number().

  /// \return system DOFs of all ranks.
  std::int64_t NumberOfDofs() const;
  std::int64_t FirstDof() const;
  /// \return system DOFs of this rank.
  std::int64_t DofCount() const;
  /// \return the labels that any rank uses, which is the number of DOF ids.
  int MaxNodalDof() const;
  /// \param label  any number.
  /// \return its DOF id, -1 for a label that no node of any rank has.
  int SystemDofId(int label) const;
  /// \param dofId  any number.
  /// \return its label, -1 for a DOF id that there is not.
  int DofLabel(int dofId) const;
  /// \param node  any number.
  /// \param dofId any number.
  /// \return the system DOF; -1 where the node lacks that label or is another rank's.
  std::int64_t SystemOrdinal(std::int64_t node, int dofId) const;
  /// \param node  any number.
  /// \return the node's lowest system DOF; -1 where it has none or is another rank's.
  std::int64_t FirstDofOfNode(std::int64_t node) const;
  /// \param systemDof  any number.
  /// \return its node and its DOF id; -1 and -1 where it is another rank's.
  ORXSimRankNodeDof NodeDofFromSystemDof(std::int64_t systemDof) const;

  /// Sets the solver's order up node by node, in each by ascending label; only after Number(). A mask that
  /// names a label that the node has not is refused. The count of acoustic solver DOFs stays what it was.
  /// \param nodeRank    [NodeCount()] each node's place in the solver among all nodes, from 1, a permutation.
  ///     Null on all ranks that have nodes takes the nodes as they come.
  /// \param solverMasks [NodeCount()] the labels that the solver uses at each node, by node.
  bool SetupSolverDofs(const std::int64_t* nodeRank, const int* solverMasks);
  /// Sets the solver's order up from a list that the ranks hold in pieces, one after the other in rank order.
  /// Only after Number().
  /// \param count      DOFs of this rank's piece.
  /// \param systemDofs [count] of any rank, none twice on all ranks. Null stands for those whose numbers are
  ///     their places.
  bool SetupSolverDofs(std::int64_t count, const std::int64_t* systemDofs);
  /// \return true when there is a solver's order.
  bool HasSolverOrder() const;
  /// \return the DOFs that the solver uses; all of them without an order.
  std::int64_t NumberOfSolverDofs() const;
  /// \return its DOFs with label 8, as the last order from a list had them.
  std::int64_t NumberOfSolverAcousticDofs() const;
  /// \param dofId  any number.
  /// \return its solver DOF id, -1 for a DOF id that the solver does not use; without an order the DOF id.
  int SolverDofIdFromSystemDofId(int dofId) const;
  /// \return [DofCount()] the solver DOF, or equation, of each of this rank's system DOFs; those that the
  ///     solver does not use come behind all that it uses, ascending. They stay the object's until the order
  ///     changes. Null without an order: each DOF is then its own equation.
  const std::int64_t* SolverDofs() const;
  /// The system DOFs at those of the solver's own places that this rank lists: those of its piece of the
  /// list; or of the nodes whose places in the solver are the numbers of this rank's own nodes.
  /// \param first receives the first of these places.
  /// \param dofs  receives the system DOF at each.
  bool SolverOrder(std::int64_t& first, std::vector<std::int64_t>& dofs) const;

  /// Which places of a matrix are not zero whose elements couple all equations of their nodes: the rows of
  /// the equations of this rank's nodes that the solver uses. Together the rows of all ranks are the whole
  /// matrix. Only after Number().
  /// \param elements [n] of this rank: each element is on one rank, whosever its nodes are.
  /// \param n        how many drawers of them.
  /// \param pattern  receives the rows; on failure it stays as it was.
  /// Memory: beside the answer the elements of this rank's nodes and the equations of their nodes.
  bool Pattern(const ORXSimRankElements* elements, int n, ORXSimRankPattern& pattern) const;

  // What follows stores what one process reads, after Number(). The ranks of the file are those of the
  // numbering, in their order. Collections count on rank 0; identifiers are given there, null elsewhere. One
  // call is one commit point, unless an update scope is open.

  /// Stores the masks as the nodal activity that fesD_NodalDofDefinition reads.
  /// \param ranks  those on the file.
  /// \param nodes  rank 0's collection of NumberOfNodes() nodes.
  /// \param stored receives the distribution: one drawer of one int a node.
  bool StoreMasks(const ORXSimRanks& ranks, ORXSimCollectionID nodes, ORXSimDistributionID& stored) const;
  /// Stores the solver's order as the member set that fesD_NodalDofDefinition reads; 2^31 - 1 DOFs at most.
  /// Memory: the list comes to rank 0 in pieces of 8 MiB, which keeps 4 bytes for each of its DOFs.
  /// \param ranks  those on the file.
  /// \param dofs   rank 0's collection of NumberOfDofs() DOFs.
  /// \param stored receives the set.
  bool StoreOrder(const ORXSimRanks& ranks, ORXSimCollectionID dofs, ORXSimCSetID& stored) const;
  /// Stores the solver DOFs by node, in 64 bits, however many there are.
  /// \param ranks  those on the file.
  /// \param nodes  rank 0's collection of NumberOfNodes() nodes.
  /// \param stored receives the distribution: one drawer of MaxNodalDof() int64 a node, the solver DOF of
  ///     each DOF id, -1 where the node has none or the solver does not use it. False where no DOF is active.
  bool StoreEquations(const ORXSimRanks& ranks, ORXSimCollectionID nodes, ORXSimDistributionID& stored) const;

 private:
  struct State;

  bool CanStore(const ORXSimRanks& ranks) const;

  std::unique_ptr<State> m_state; // null: no ranks
};
