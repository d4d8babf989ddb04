#pragma once

#include <UTI_CoreUtils/mem_Allocation.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <kda/kda_Export.h>

#include <cstddef>
#include <memory>

class ORXSimDistributionRef;
struct dof_System;

/// One degree of freedom of one node.
struct fesD_NodeDof {
  int node;  // from 0
  int dofId; // not the label
};

struct fesD_MemFree {
  void operator()(int* block) const { mem_Free(block); }
};
/// An owned array of ints from the core allocator.
using fesD_IntArray = std::unique_ptr<int[], fesD_MemFree>;

/// The numbering of a system's nodal degrees of freedom, and the order in which a solver takes them.
///
/// A node's activity mask has bit b-1 set when the DOF with **label** b is active there. Labels are 1 to 31;
/// 8 is the acoustic one. The labels that occur anywhere are numbered without gaps, ascending: the **DOF
/// ids**. Each active (node, label) pair is a **system DOF**. System DOFs are numbered from 0, node by node
/// and by ascending label within a node. A **solver order** is a permutation of the system DOFs: first those
/// that the solver uses, in its order, then the others ascending. The place in it is the **solver DOF**.
///
/// The system numbering never changes after construction. Before the first SetupSolverDofs() the queries on
/// the solver order fail an assertion. Each SetupSolverDofs() replaces the order before it. Indices handed to
/// the plain queries are trusted. A programming error fails an assertion (_wassert) and stops the process.
/// What a solver asks for wrongly is reported on the error stream and stops the process.
///
/// An object is moved, never copied. One that was moved from can only be destroyed or assigned to.
///
/// Threads: one at a time for each object, since NodalDofIds() answers in a buffer of the object.
class PDM_CORE_API fesD_NodalDofDefinition {
 public:
  /// The most nodes that a numbering can have; more fail an assertion.
  static constexpr int kMaxNodes = 16'777'215;

  /// Numbers what the masks in a file say. Masks that cannot be read, or are no ints, give a numbering
  /// without nodes; a line and ORXSimManager::LastError() say why.
  /// \param masks a distribution with one drawer of one int a node. Another number of drawers fails an
  ///     assertion; the null distribution has none.
  /// \param shift each active label b also activates label b + (shift & 31). Labels beyond 32 fall away;
  ///     label 32 fails an assertion.
  /// \param addLabel10 before that, label 8 also activates label 10.
  /// Cost: one pass to read, two over the masks; holds (nodes x MaxNodalDof() + DOFs + nodes) ints.
  fesD_NodalDofDefinition(ORXSimDistributionID masks, int shift, bool addLabel10);
  /// Numbers what an array of masks says.
  /// \param masks      [numNodes] from the core allocator, taken over and transformed in place. May be null
  ///                   when numNodes is below 1.
  /// \param numNodes   number of nodes. Below 1 it gives a numbering without nodes.
  /// \param shift      as above.
  /// \param addLabel10 as above.
  fesD_NodalDofDefinition(int* masks, int numNodes, int shift, bool addLabel10);

  int NumberOfNodes() const { return m_numNodes; }
  /// \return the number of system DOFs.
  int NumberOfDofs() const { return m_numDofs; }
  /// \return the number of labels in use, which is the number of DOF ids.
  int MaxNodalDof() const { return m_maxNodalDof; }
  /// \param label 0 to the highest label in use.
  /// \return its DOF id, -1 for a label that no node has.
  int SystemDofId(int label) const { return m_dofIdByLabel[At(label)]; }
  int DofLabel(int dofId) const { return m_labelByDofId[At(dofId)]; }
  /// \param node  0 to NumberOfNodes() - 1.
  /// \param dofId 0 to MaxNodalDof() - 1.
  /// \return the system DOF, -1 where the node lacks that label.
  int SystemOrdinal(int node, int dofId) const {
    return m_systemOrdinals[At(node) * At(m_maxNodalDof) + At(dofId)];
  }
  /// \return [NumberOfNodes()] the transformed masks; they stay the object's.
  const int* ActivityMasks() const { return m_activityMasks.get(); }
  /// \param node  any number.
  /// \param count receives the number of DOF ids that are active at the node, 0 for a node that is not there.
  /// \return [count] these, ascending, in a buffer of the object that the next call overwrites. Null for a
  ///         node that is not there.
  const int* NodalDofIds(int node, int& count) const;
  /// \param systemDof 0 to NumberOfDofs() - 1.
  /// \return its node and its DOF id.
  fesD_NodeDof NodeDofFromSystemDof(int systemDof) const {
    const int code = m_systemDofCodes[At(systemDof)];
    return {(code >> 7) - 1, code & 63};
  }
  /// Turns flat indices node x MaxNodalDof() + DOF id into system DOFs, in place; inactive ones become -1.
  /// \param flat [n] flat indices; on return system DOFs.
  /// \param n    number of entries.
  void MaxDofToSystemOrdinals(int* flat, int n) const;
  /// The system DOFs of the selected nodes, ascending.
  /// \param selected [NumberOfNodes()] which nodes are selected.
  /// \param count    receives how many DOFs there are.
  /// \return [NumberOfDofs()] an array of which the first count entries are filled. The caller releases it
  ///         with mem_Free.
  int* SystemDofsFromNodes(const bool* selected, int& count) const;

  /// Sets the order up node by node, in each by ascending label.
  ///
  /// A mask that names a label that the mesh lacks at the node is reported and aborts the process. The count
  /// of acoustic solver DOFs stays what it was.
  /// \param nodeRank [NumberOfNodes()] each node's place in the solver, from 1, a permutation (asserted).
  ///     Null takes the nodes as they come.
  /// \param solverMasks [NumberOfNodes()] the labels that the solver uses at each node, by node and not by
  ///     rank.
  /// Cost: O(nodes + DOFs); one table of nodes ints comes and goes when there are ranks.
  void SetupSolverDofs(const int* nodeRank, const int* solverMasks);
  /// Sets the order up from a list. Entries that are no system DOFs, entries given twice and an impossible
  /// count are reported and abort the process.
  /// \param count      number of the solver's DOFs.
  /// \param systemDofs [count] these, in the solver's order. Null stands for 0, 1, ..., count - 1.
  /// Cost: O(nodes + DOFs); one bit a system DOF comes and goes.
  void SetupSolverDofs(int count, const int* systemDofs);
  /// As SetupSolverDofs() with a list, for one that need not be in order, such as a file's.
  /// \param count      number of the solver's DOFs.
  /// \param systemDofs [count] these, in the solver's order. Null stands for 0, 1, ..., count - 1.
  /// \return false where SetupSolverDofs() would abort. The object then has no solver order.
  bool TrySetupSolverDofs(int count, const int* systemDofs);
  /// Sets the order up from the members of a set, as WritePermutation() wrote it. A set that cannot be read
  /// gives an order without solver DOFs; a line and ORXSimManager::LastError() say why.
  /// \param order a set of the system's DOFs.
  void SetupSolverDofs(ORXSimCSetID order);

  // All that follow REQUIRE a solver order; they fail an assertion without one.

  int NumberOfSolverDofs() const { return WithOrder().m_numSolverDofs; }
  /// \return the number of solver DOFs with label 8, as the last order from a list or a set had them.
  int NumberOfSolverAcousticDofs() const { return WithOrder().m_numSolverAcousticDofs; }
  /// The labels that the solver uses are numbered without gaps, ascending: the solver DOF ids.
  /// \param dofId 0 to MaxNodalDof() - 1.
  /// \return its solver DOF id, -1 for a DOF id that the solver does not use.
  int SolverDofIdFromSystemDofId(int dofId) const { return WithOrder().m_systemIdToSolverId[At(dofId)]; }
  /// \param solverDofId 0 to MaxNodalDof() - 1.
  /// \return its DOF id, -1 past the last solver DOF id.
  int SystemDofIdFromSolverDofId(int solverDofId) const {
    return WithOrder().m_solverIdToSystemId[At(solverDofId)];
  }
  /// \param solverDof 0 to NumberOfDofs() - 1: the order goes on past the solver's own DOFs.
  /// \return the system DOF at that place.
  int SystemDofFromSolverDof(int solverDof) const { return WithOrder().m_solverToSystemId[At(solverDof)]; }
  /// \param solverDof 0 to NumberOfDofs() - 1.
  /// \return its node and its DOF id.
  fesD_NodeDof NodeDofFromSolverDof(int solverDof) const {
    return NodeDofFromSystemDof(SystemDofFromSolverDof(solverDof));
  }
  /// The inverse of the order.
  /// \param out [NumberOfDofs()] receives each system DOF's place.
  void MappingToSolverDofs(int* out) const;
  /// Turns system DOFs into solver DOFs, in place.
  /// \param dofs [n] system DOFs; on return solver DOFs.
  /// \param n    number of entries.
  /// Cost: O(NumberOfDofs() + n), with a table of NumberOfDofs() ints.
  void MapToSolverDofs(int* dofs, int n) const;
  /// The solver DOFs of the selected nodes, ascending.
  /// \param selected [NumberOfNodes()] which nodes are selected.
  /// \param count    receives how many DOFs there are.
  /// \return as SystemDofsFromNodes().
  /// Cost: O(NumberOfDofs()) whatever is selected.
  int* SolverDofsFromNodes(const bool* selected, int& count) const;
  /// Stores the solver's own DOFs, in order, as a member set.
  /// \param collection the system's DOFs.
  /// \return null on failure, after a line.
  ORXSimCSetID WritePermutation(ORXSimCollectionID collection) const;

 private:
  friend class fesD_Utilities; // reads node labels as masks are read

  static constexpr std::size_t At(int index) { return static_cast<std::size_t>(index); }
  const fesD_NodalDofDefinition& WithOrder() const {
    if (m_solverToSystemId == nullptr) [[unlikely]]
      NoSolverOrder();
    return *this;
  }
  [[noreturn]] static void NoSolverOrder();

  // All of the first drawer, one int a row, from the core allocator; what fails goes to the gbb_Call under
  // way.
  static int* ReadInts(const ORXSimDistributionRef& distribution, int& count);
  void NumberSystem(int shift, bool addLabel10);
  dof_System System() const;
  int* SolverOrderToFill();
  const char* FaultOfOrder(int count, const int* systemDofs);
  void NumberSolverLabels(unsigned labels, unsigned solverLabels);

  int m_numNodes = 0;
  fesD_IntArray m_systemOrdinals; // [nodes x ids] the system DOF, or -1
  int m_maxNodalDof = 0;
  fesD_IntArray m_dofIdByLabel;  // [highest label + 1] -1 for labels that are not in use
  fesD_IntArray m_labelByDofId;  // [ids]
  fesD_IntArray m_dofIdScratch;  // [ids] the answer of NodalDofIds
  fesD_IntArray m_activityMasks; // [nodes] bit 31 is clear everywhere
  int m_numDofs = 0;
  fesD_IntArray m_systemDofCodes; // [DOFs] 128 x (node + 1) + id
  int m_numSolverDofs = 0;
  int m_numSolverAcousticDofs = 0;
  fesD_IntArray m_solverToSystemId;   // [DOFs] a permutation; null until an order is set up
  fesD_IntArray m_systemIdToSolverId; // [ids]
  fesD_IntArray m_solverIdToSystemId; // [ids]
};
