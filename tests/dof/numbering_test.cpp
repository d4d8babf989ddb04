#include "dof_Telling.h"

#include <memory>
#include <type_traits>

using testing::ElementsAre;

static_assert(!std::is_copy_constructible_v<fesD_NodalDofDefinition> &&
              std::is_nothrow_move_constructible_v<fesD_NodalDofDefinition>);
static_assert(sizeof(fesD_NodeDof) == 2 * sizeof(int));

TEST(DofNumbering, TransformsMasksLabelTenFirst) {
  const auto masks = [](Ints of, int shift, bool addLabel10) {
    const fesD_NodalDofDefinition dofs = Number(of, shift, addLabel10);
    return Ints(dofs.ActivityMasks(), dofs.ActivityMasks() + dofs.NumberOfNodes());
  };
  EXPECT_THAT(masks({0x80}, 1, true), ElementsAre(0x780));
  EXPECT_THAT(masks({0x280}, 32, false), ElementsAre(0x280)) << "the shift counts modulo 32";
  EXPECT_THAT(masks({0b10}, -1, false), ElementsAre(0b10)) << "a label past 32 falls away";
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

TEST(DofNumbering, SelectsWholeNodes) {
  Random random(12);
  for (int round = 0; round < 200; ++round) {
    const int nodes = static_cast<int>(Draw(random) % 300);
    const Ints masks = RandomMasks(random, nodes, Draw(random) & 0x7fffffff);
    const unsigned rarity = 1 + Draw(random) % (round % 2 == 0 ? 2 : 60);
    const auto selected = std::make_unique<bool[]>(static_cast<std::size_t>(nodes));
    for (int node = 0; node < nodes; ++node)
      selected[static_cast<std::size_t>(node)] = Draw(random) % rarity == 0;
    const dof_Telling telling(masks, 0, false);
    fesD_NodalDofDefinition dofs = Number(masks);
    Ints order(telling.dofs.size());
    for (std::size_t i = 0; i < order.size(); ++i)
      order[i] = static_cast<int>(i);
    std::shuffle(order.begin(), order.end(), random);
    dofs.SetupSolverDofs(static_cast<int>(order.size() / 2), order.data());

    Ints system, solver;
    for (std::size_t dof = 0; dof < telling.dofs.size(); ++dof)
      if (selected[static_cast<std::size_t>(telling.dofs[dof].first)])
        system.push_back(static_cast<int>(dof));
    const Ints whole = OrderOf(dofs);
    for (std::size_t place = 0; place < whole.size(); ++place)
      if (std::binary_search(system.begin(), system.end(), whole[place]))
        solver.push_back(static_cast<int>(place));
    int count;
    ASSERT_EQ(Taken(dofs.SystemDofsFromNodes(selected.get(), count), count), system) << round;
    ASSERT_EQ(Taken(dofs.SolverDofsFromNodes(selected.get(), count), count), solver) << round;
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
