#include "dof_Arrays.h"

using testing::ElementsAre;

TEST(DofTables, MasksAreTransformedLabelTenFirst) {
  EXPECT_THAT(dof_Arrays({0x80}, 1, true).masks, ElementsAre(0x780));
  EXPECT_THAT(dof_Arrays({0x80, 1}, 0, true).masks, ElementsAre(0x280, 1));
  for (const int shift : {3, 35, -29})
    EXPECT_THAT(dof_Arrays({1}, shift).masks, ElementsAre(0b1001)) << "the shift counts modulo 32";
  EXPECT_THAT(dof_Arrays({0x280}, 32).masks, ElementsAre(0x280));
  EXPECT_THAT(dof_Arrays({0b10}, -1).masks, ElementsAre(0b10)) << "a label past 32 falls away";
}

TEST(DofTables, AgreeWithTheSlowTelling) {
  Random random(11);
  for (int round = 0; round < 300; ++round) {
    const int nodes = static_cast<int>(Draw(random) % (round % 10 == 0 ? 700 : 80));
    const int shift = static_cast<int>(Draw(random) % 12);
    const unsigned all = Draw(random) & (0x7fffffffu >> Draw(random) % 31);
    const Ints masks = RandomMasks(random, nodes, all & (0x7fffffffu >> shift));
    const bool addLabel10 = shift < 20 && Draw(random) % 2 == 0;
    SCOPED_TRACE(testing::Message() << "round " << round);
    dof_Telling(masks, shift, addLabel10).Check(dof_Arrays(masks, shift, addLabel10));
    if (HasFatalFailure())
      return;
  }
  // The last nodes, where nothing follows into which whole fours or eights could be stored.
  for (int nodes = 60; nodes < 400; nodes += nodes / 16)
    for (const int mask : {0x1, 0x40000000, 0x3f, 0x7fffffff}) {
      Ints masks(static_cast<std::size_t>(nodes), mask);
      std::fill(masks.end() - nodes / 7, masks.end(), nodes % 2 == 0 ? 0 : 1);
      dof_Telling(masks, 0, false).Check(dof_Arrays(masks));
    }
}
