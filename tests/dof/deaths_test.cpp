#include "dof_Arrays.h"

#include <dof/dof_Order.h>

namespace {

void setUp(const Ints& ranks, const Ints& solverMasks) {
  const dof_Arrays arrays({3, 3});
  Ints order(4);
  dof_OrderByNodes(arrays.System(), ranks.empty() ? nullptr : ranks.data(), solverMasks.data(), order.data());
}

} // namespace

TEST(DofDeaths, SolverMasksMustBePartsOfTheMeshMasks) {
  const auto expected = [](const char* masks) {
    return std::string("^ATTEMPTED TO ACTIVATE AN INVALID NODAL DOF\\.\nSOLVER/MESH DOF MASK: ")
        .append(masks)
        .append("\n$");
  };
  EXPECT_DEATH(setUp({}, {3, 7}), expected("7 / 3"));
  EXPECT_DEATH(setUp({}, {3, static_cast<int>(0x80000001u)}), expected("-2147483647 / 3"));
  EXPECT_DEATH(setUp({2, 1}, {7, 5}), expected("5 / 3")) << "of the node that comes first by its rank";
}

TEST(DofDeaths, RanksMustBeAPermutation) {
  const std::string inside = Assertion("nodeRank\\[node\\] >= 1 && nodeRank\\[node\\] <= numNodes");
  EXPECT_DEATH(setUp({1, 0}, {1, 1}), inside);
  EXPECT_DEATH(setUp({3, 1}, {1, 1}), inside);
  EXPECT_DEATH(setUp({2, 2}, {1, 1}), Assertion("place == -1"));
}
