#include "dof_Telling.h"

#include <type_traits>

using testing::ElementsAre;

static_assert(!std::is_copy_constructible_v<fesD_NodalDofDefinition> &&
              std::is_nothrow_move_constructible_v<fesD_NodalDofDefinition>);
static_assert(sizeof(fesD_NodeDof) == 2 * sizeof(int));

TEST(DofNumbering, TransformsMasksLabelTenFirst) {
  EXPECT_EQ(*Number({0x80}, 1, true).ActivityMasks(), 0x780);
  EXPECT_EQ(*Number({0x280}, 32).ActivityMasks(), 0x280) << "the shift counts modulo 32";
  EXPECT_EQ(*Number({0b10}, -1).ActivityMasks(), 0b10) << "a label past 32 falls away";
}

TEST(DofNumbering, HasNothingWithoutNodesOrLabels) {
  for (const int nodes : {0, -3}) {
    fesD_NodalDofDefinition dofs(nullptr, nodes, 3, true);
    EXPECT_EQ(dofs.NumberOfNodes() + dofs.NumberOfDofs() + dofs.MaxNodalDof(), 0);
    dofs.SetupSolverDofs(nullptr, nullptr);
    dofs.SetupSolverDofs(0, nullptr);
    int count = -1;
    EXPECT_THAT(Taken(dofs.SolverDofsFromNodes(nullptr, count), count), ElementsAre());
    dofs.MappingToSolverDofs(nullptr);
    dofs.MaxDofToSystemOrdinals(nullptr, 0);
  }
  fesD_NodalDofDefinition idle = Number(Ints(100, 0));
  idle.SetupSolverDofs(0, nullptr);
  EXPECT_EQ(idle.NumberOfDofs() + idle.MaxNodalDof() + idle.NumberOfSolverDofs(), 0);
  int count = -1;
  idle.NodalDofIds(99, count);
  EXPECT_EQ(count, 0);
}

TEST(DofNumbering, AgreesWithTheSlowTelling) {
  Random random(11);
  for (int round = 0; round < 300; ++round) {
    const int nodes = static_cast<int>(Draw(random) % (round % 10 == 0 ? 700 : 80));
    const int shift = static_cast<int>(Draw(random) % 12);
    const unsigned all = Draw(random) & (0x7fffffffu >> Draw(random) % 31);
    const Ints masks = RandomMasks(random, nodes, all & (0x7fffffffu >> shift));
    const bool addLabel10 = shift < 20 && Draw(random) % 2 == 0;
    SCOPED_TRACE(testing::Message() << "round " << round);
    dof_Telling(masks, shift, addLabel10).Check(Number(masks, shift, addLabel10), nodes);
    if (HasFatalFailure())
      return;
  }
  // The last nodes, where nothing follows into which whole fours or eights could be stored.
  for (int nodes = 60; nodes < 400; nodes += nodes / 16)
    for (const int mask : {0x1, 0x40000000, 0x3f, 0x7fffffff}) {
      Ints masks(static_cast<std::size_t>(nodes), mask);
      std::fill(masks.end() - nodes / 7, masks.end(), nodes % 2 == 0 ? 0 : 1);
      dof_Telling(masks, 0, false).Check(Number(masks), nodes);
    }
}

TEST(DofNumbering, ReachesTheLargestNumberOfNodes) {
  Ints masks(fesD_NodalDofDefinition::kMaxNodes, 0);
  masks.back() = 1; // at the last value of the packed code
  const fesD_NodalDofDefinition dofs = Number(masks);
  EXPECT_EQ(dofs.NumberOfDofs(), 1);
  EXPECT_EQ(dofs.NodeDofFromSystemDof(0).node, fesD_NodalDofDefinition::kMaxNodes - 1);
  EXPECT_EQ(dofs.SystemOrdinal(fesD_NodalDofDefinition::kMaxNodes - 1, 0), 0);
}
