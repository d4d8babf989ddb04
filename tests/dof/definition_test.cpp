#include "dof_Definition.h"

#include <type_traits>

static_assert(!std::is_copy_constructible_v<fesD_NodalDofDefinition> &&
              std::is_nothrow_move_constructible_v<fesD_NodalDofDefinition>);
static_assert(sizeof(fesD_NodeDof) == 2 * sizeof(int));

namespace {

Ints idsOf(const fesD_NodalDofDefinition& dofs, int node) {
  int count = -1;
  const int* const ids = dofs.NodalDofIds(node, count);
  return Ints(ids, ids + count);
}

template <class Place>
std::pair<int, int> pairOf(const Place& place) {
  return {place.node, place.dofId};
}

} // namespace

TEST(DofDefinition, AnswersForTheSystem) {
  const fesD_NodalDofDefinition dofs = Number({0b1, 0x80, 0b10}, 2, true);
  EXPECT_THAT(Ints(dofs.ActivityMasks(), dofs.ActivityMasks() + 3), ElementsAre(0b101, 0xa80, 0b1010));
  EXPECT_THAT((Ints{dofs.NumberOfNodes(), dofs.NumberOfDofs(), dofs.MaxNodalDof()}), ElementsAre(3, 7, 7));
  EXPECT_THAT(Each(13, [&](int label) { return dofs.SystemDofId(label); }),
              ElementsAre(-1, 0, 1, 2, 3, -1, -1, -1, 4, -1, 5, -1, 6))
      << "-1 for labels that are unused";
  EXPECT_THAT(Each(7, [&](int id) { return dofs.DofLabel(id); }), ElementsAre(1, 2, 3, 4, 8, 10, 12));
  EXPECT_THAT(Each(7, [&](int id) { return dofs.SystemOrdinal(2, id); }),
              ElementsAre(-1, 5, -1, 6, -1, -1, -1));
  EXPECT_THAT(idsOf(dofs, 1), ElementsAre(4, 5, 6)) << "ids, not labels";
  EXPECT_THAT(idsOf(dofs, 2), ElementsAre(1, 3));
  EXPECT_EQ(pairOf(dofs.NodeDofFromSystemDof(4)), std::pair(1, 6));
  int flat[] = {20, 17, 13, 0}, count = -1;
  dofs.MaxDofToSystemOrdinals(flat, 3);
  EXPECT_THAT(flat, ElementsAre(-1, 6, 4, 0)) << "the fourth was not asked for";
  const bool ends[] = {true, false, true};
  EXPECT_THAT(Taken(dofs.SystemDofsFromNodes(ends, count), count), ElementsAre(0, 1, 5, 6));
}

TEST(DofDefinition, AnswersForTheSolver) {
  fesD_NodalDofDefinition dofs = Number({0x81, 0x86, 0x01});
  const int list[] = {5, 4, 1};
  dofs.SetupSolverDofs(3, list);
  EXPECT_EQ(dofs.NumberOfSolverDofs(), 3);
  EXPECT_EQ(dofs.NumberOfSolverAcousticDofs(), 2);
  EXPECT_THAT(OrderOf(dofs), ElementsAre(5, 4, 1, 0, 2, 3));
  EXPECT_THAT(Each(4, [&](int id) { return dofs.SolverDofIdFromSystemDofId(id); }),
              ElementsAre(0, -1, -1, 1));
  EXPECT_THAT(Each(4, [&](int id) { return dofs.SystemDofIdFromSolverDofId(id); }),
              ElementsAre(0, 3, -1, -1));
  Ints places(6);
  EXPECT_EQ(pairOf(dofs.NodeDofFromSolverDof(1)), std::pair(1, 3));
  dofs.MappingToSolverDofs(places.data());
  EXPECT_THAT(places, ElementsAre(3, 2, 4, 5, 1, 0));
  int some[] = {4, 0, 2};
  dofs.MapToSolverDofs(some, 2);
  EXPECT_THAT(some, ElementsAre(1, 3, 2));
  const bool ends[] = {true, false, true};
  int count = -1;
  EXPECT_THAT(Taken(dofs.SolverDofsFromNodes(ends, count), count), ElementsAre(0, 2, 3));

  EXPECT_FALSE(dofs.TrySetupSolverDofs(2, Ints{1, 1}.data()));
  EXPECT_DEATH(dofs.NumberOfSolverDofs(), "m_solverToSystemId") << "no order is left";
  EXPECT_TRUE(dofs.TrySetupSolverDofs(1, Ints{3}.data()));
  EXPECT_THAT(OrderOf(dofs), ElementsAre(3, 0, 1, 2, 4, 5));
}

TEST(DofDefinition, OnlyListsCountAcousticDofs) {
  fesD_NodalDofDefinition dofs = Number({0x81, 0x80, 0x01});
  const int masks[] = {0x80, 0, 0}, list[] = {2, 1, 3};
  dofs.SetupSolverDofs(nullptr, masks);
  EXPECT_EQ(dofs.NumberOfSolverAcousticDofs(), 0);
  dofs.SetupSolverDofs(3, list);
  EXPECT_EQ(dofs.NumberOfSolverAcousticDofs(), 2);
  const int ranks[] = {3, 2, 1};
  dofs.SetupSolverDofs(ranks, masks);
  EXPECT_EQ(dofs.NumberOfSolverDofs(), 1);
  EXPECT_EQ(dofs.NumberOfSolverAcousticDofs(), 2) << "stays from the list before";
  dofs.SetupSolverDofs(1, nullptr);
  EXPECT_EQ(dofs.NumberOfSolverAcousticDofs(), 0);
  EXPECT_EQ(dofs.SolverDofIdFromSystemDofId(dofs.SystemDofId(8)), -1) << "the earlier maps are gone";
}

TEST(DofDefinition, HasNothingWithoutNodesOrLabels) {
  for (const int nodes : {0, -3}) {
    fesD_NodalDofDefinition dofs(nullptr, nodes, 3, true);
    EXPECT_EQ(dofs.NumberOfNodes() + dofs.NumberOfDofs() + dofs.MaxNodalDof(), 0);
    EXPECT_EQ(dofs.SystemDofId(0), -1);
    for (const int node : {-1, 0, 1}) {
      int count = -1;
      EXPECT_EQ(dofs.NodalDofIds(node, count), nullptr);
      EXPECT_EQ(count, 0);
    }
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
  EXPECT_THAT(idsOf(idle, 99), ElementsAre());
}

TEST(DofDefinition, ReachesTheLargestNumberOfNodes) {
  Ints masks(fesD_NodalDofDefinition::kMaxNodes, 0);
  masks.back() = 1; // at the last value of the packed code
  const fesD_NodalDofDefinition dofs = Number(masks);
  EXPECT_EQ(dofs.NumberOfDofs(), 1);
  EXPECT_EQ(dofs.NodeDofFromSystemDof(0).node, fesD_NodalDofDefinition::kMaxNodes - 1);
  EXPECT_EQ(dofs.SystemOrdinal(fesD_NodalDofDefinition::kMaxNodes - 1, 0), 0);
}

TEST(DofDefinitionDeaths, SolverQueriesNeedAnOrder) {
  fesD_NodalDofDefinition dofs = Number({0b11});
  const std::string expected = Assertion("m_solverToSystemId");
  int values[2] = {0, 1}, count;
  const bool selected[] = {true};
  EXPECT_DEATH(dofs.NumberOfSolverDofs(), expected);
  EXPECT_DEATH(dofs.NumberOfSolverAcousticDofs(), expected);
  EXPECT_DEATH(dofs.SolverDofIdFromSystemDofId(0), expected);
  EXPECT_DEATH(dofs.SystemDofIdFromSolverDofId(0), expected);
  EXPECT_DEATH(dofs.SystemDofFromSolverDof(0), expected);
  EXPECT_DEATH(dofs.NodeDofFromSolverDof(0), expected);
  EXPECT_DEATH(dofs.MappingToSolverDofs(values), expected);
  EXPECT_DEATH(dofs.MapToSolverDofs(values, 2), expected);
  EXPECT_DEATH(dofs.SolverDofsFromNodes(selected, count), expected);
  EXPECT_DEATH(dofs.WritePermutation({}), expected);
}

TEST(DofDefinitionDeaths, FaultyListsRanksAndMasks) {
  const auto ranked = [](const Ints& ranks, const Ints& masks) {
    Number({3, 3}).SetupSolverDofs(ranks.empty() ? nullptr : ranks.data(), masks.data());
  };
  const auto invalid = [](const char* masks) {
    return std::string("^ATTEMPTED TO ACTIVATE AN INVALID NODAL DOF\\.\nSOLVER/MESH DOF MASK: ")
        .append(masks)
        .append("\n$");
  };
  EXPECT_DEATH(ranked({}, {3, 7}), invalid("7 / 3"));
  EXPECT_DEATH(ranked({}, {3, static_cast<int>(0x80000001u)}), invalid("-2147483647 / 3"));
  EXPECT_DEATH(ranked({2, 1}, {7, 5}), invalid("5 / 3")) << "of the node that comes first by its rank";
  const std::string inside = Assertion("nodeRank\\[node\\] >= 1 && nodeRank\\[node\\] <= numNodes");
  EXPECT_DEATH(ranked({1, 0}, {1, 1}), inside);
  EXPECT_DEATH(ranked({3, 1}, {1, 1}), inside);
  EXPECT_DEATH(ranked({2, 2}, {1, 1}), Assertion("place == -1"));
  EXPECT_DEATH(Number({0b11}).SetupSolverDofs(2, Ints{1, 1}.data()),
               "^THE SOLVER AND FE MESH HAVE AN INCONSISTENT NUMBER OF DOFS\\.\n$");
  EXPECT_DEATH(Number({0b11}).SetupSolverDofs(3, nullptr),
               "^ATTEMPTED TO SET SOLVER DOF THAT IS NOT AN ACTIVE MESH DOF\\.\n$");
  const std::string label32 = Assertion("\\(labels & 0x80000000\\) == 0");
  EXPECT_DEATH(Number({1, static_cast<int>(0x80000001u)}), label32);
  EXPECT_DEATH(Number({0x80}, 22, true), label32) << "by shifting the label that was added";
  EXPECT_DEATH(fesD_NodalDofDefinition(GiveAway({1}), 16'777'216, 0, false),
               Assertion("m_numNodes <= kMaxNodes"));
  EXPECT_DEATH(fesD_NodalDofDefinition(nullptr, 1, 0, false),
               Assertion("masks != nullptr \\|\\| numNodes < 1"));
}
