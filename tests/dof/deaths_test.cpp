#include "dof_Telling.h"

#include <string>

namespace {

std::string assertion(const char* expression) {
  return std::string("^Assertion failed: ")
      .append(expression)
      .append(", file generated/fes/dpa/impl/fesD_NodalDofDefinition, line [0-9]+\n$");
}

const char* const kInactive = "^ATTEMPTED TO SET SOLVER DOF THAT IS NOT AN ACTIVE MESH DOF\\.\n$";
const char* const kInconsistent = "^THE SOLVER AND FE MESH HAVE AN INCONSISTENT NUMBER OF DOFS\\.\n$";

void setUp(const Ints& list, int count) {
  Number({0b11, 0b11}).SetupSolverDofs(count, list.data());
}

} // namespace

TEST(DofDeaths, SolverQueriesNeedAnOrder) {
  fesD_NodalDofDefinition dofs = Number({0b11});
  const std::string expected = assertion("m_solverToSystemId");
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

TEST(DofDeaths, ListsMustNameActiveDofsOnce) {
  EXPECT_DEATH(setUp({0, -1}, 2), kInactive);
  EXPECT_DEATH(setUp({1, 1}, 2), kInconsistent);
  EXPECT_DEATH(setUp({1, 1, -5}, 3), kInactive) << "entries are looked at before their number";
  EXPECT_DEATH(setUp({0, 1, 2, 3, 0, 1}, 6), kInconsistent) << "longer than the mesh has DOFs";
  EXPECT_DEATH(setUp({}, -1), kInconsistent);
  EXPECT_DEATH(Number({0b11}).SetupSolverDofs(3, nullptr), kInactive);
}

TEST(DofDeaths, SolverMasksMustBePartsOfTheMeshMasks) {
  const auto expected = [](const char* masks) {
    return std::string("^ATTEMPTED TO ACTIVATE AN INVALID NODAL DOF\\.\nSOLVER/MESH DOF MASK: ")
        .append(masks)
        .append("\n$");
  };
  const auto setUpMask = [](int solver) {
    const int masks[] = {3, solver};
    Number({3, 3}).SetupSolverDofs(nullptr, masks);
  };
  EXPECT_DEATH(setUpMask(7), expected("7 / 3"));
  EXPECT_DEATH(setUpMask(static_cast<int>(0x80000001u)), expected("-2147483647 / 3"));
}

TEST(DofDeaths, RanksMustBeAPermutation) {
  const auto rank = [](int first, int second) {
    const int ranks[] = {first, second}, masks[] = {1, 1};
    Number({1, 1}).SetupSolverDofs(ranks, masks);
  };
  const std::string inside = assertion("nodeRank\\[node\\] >= 1 && nodeRank\\[node\\] <= numNodes");
  EXPECT_DEATH(rank(1, 0), inside);
  EXPECT_DEATH(rank(3, 1), inside);
  EXPECT_DEATH(rank(2, 2), assertion("place == -1"));
}

TEST(DofDeaths, MasksMustFitThePackedCode) {
  const std::string label32 = assertion("\\(labels & 0x80000000\\) == 0");
  EXPECT_DEATH(Number({1, static_cast<int>(0x80000001u)}), label32);
  EXPECT_DEATH(Number({0x80}, 22, true), label32) << "by shifting the label that was added";
  EXPECT_DEATH(fesD_NodalDofDefinition(GiveAway({1}), 16'777'216, 0, false),
               assertion("m_numNodes <= kMaxNodes"));
  EXPECT_DEATH(fesD_NodalDofDefinition(nullptr, 1, 0, false),
               assertion("masks != nullptr \\|\\| numNodes < 1"));
}
