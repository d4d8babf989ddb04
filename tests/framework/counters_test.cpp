// Each module's counter, in a process where no other test has moved it.

#include <PDM_Core.h>

#include <gtest/gtest.h>

TEST(ModuleCounters, CountTheModulesThatComeUp) {
  // The library and its four modules, and the four that it stands on.
  int n = 0;
  DDB_PDM_Core_initialize(n);
  EXPECT_EQ(n, 9);
  int other = 0;
  msfD_initialize(other); // up already
  UTI_CoreUtils_initialize(other);
  EXPECT_EQ(other, 0);
  msfD_finalize(other);
  UTI_CoreUtils_finalize(other);
  EXPECT_EQ(other, 0);
  DDB_PDM_Core_finalize(n);
  EXPECT_EQ(n, 0);

  // A dependency that somebody else holds up stays out of the count.
  UTI_BasicUtils_initialize(other);
  DDB_PDM_Core_initialize(n);
  EXPECT_EQ(n, 8);
  DDB_PDM_Core_finalize(n);
  EXPECT_EQ(n, 0);
  UTI_BasicUtils_finalize(other);
  EXPECT_EQ(other, 0);
}

TEST(ModuleCounters, GoBelowZeroAndComeBackWithoutBringingAnythingUp) {
  using Pair = std::pair<void (*)(int&), void (*)(int&)>;
  const Pair pairs[] = {{kda_initialize, kda_finalize},
                        {gbb_initialize, gbb_finalize},
                        {fesD_initialize, fesD_finalize},
                        {msfD_initialize, msfD_finalize},
                        {DDB_PDM_Core_initialize, DDB_PDM_Core_finalize}};
  for (const auto& [initialize, finalize] : pairs) {
    int n = 10;
    finalize(n);
    finalize(n);
    initialize(n); // -2 to -1
    initialize(n); // to 0
    EXPECT_EQ(n, 10);
    initialize(n);
    EXPECT_EQ(n, initialize == DDB_PDM_Core_initialize ? 19 : 11);
    finalize(n);
    EXPECT_EQ(n, 10);
  }
}
