// The order in which the library brings its modules up and down, and how they count: this program's own
// definitions stand before those of the libraries and pass each call on.

#include <PDM_Core.h>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using testing::ElementsAre;

namespace {

std::vector<std::string> s_calls;
std::vector<int> s_counts; // the caller's counter as each call found it

void pass(const std::string& function, int& counter) {
  s_calls.push_back(function);
  s_counts.push_back(counter);
  const std::string symbol = "_Z" + std::to_string(function.size()) + function + "Ri";
  reinterpret_cast<void (*)(int&)>(::dlsym(RTLD_NEXT, symbol.c_str()))(counter);
}

} // namespace

#define MODULE(name)                                                                                         \
  void name##_initialize(int& n) {                                                                           \
    pass(#name "_initialize", n);                                                                            \
  }                                                                                                          \
  void name##_finalize(int& n) {                                                                             \
    pass(#name "_finalize", n);                                                                              \
  }
MODULE(UTI_CoreUtils)
MODULE(UTI_BasicUtils)
MODULE(UTI_ORXSimDynamicAPI)
MODULE(DDB_HdxInterface)
MODULE(kda)
MODULE(gbb)
MODULE(fesD)
MODULE(msfD)
#undef MODULE

TEST(Lifecycle, OnlyTheOuterPairBringsModulesUpAndDownInOppositeOrders) {
  std::vector<std::string> up, down;
  for (const std::string module : {"UTI_CoreUtils", "UTI_BasicUtils", "UTI_ORXSimDynamicAPI",
                                   "DDB_HdxInterface", "kda", "gbb", "fesD", "msfD"}) {
    up.push_back(module + "_initialize");
    down.insert(down.begin(), module + "_finalize");
  }
  int n = 0, other = 0;
  for (int round = 0; round < 2; ++round) {
    DDB_PDM_Core_initialize(n);
    EXPECT_EQ(n, 9) << "the library and its eight modules";
    EXPECT_EQ(std::exchange(s_calls, {}), up);
    EXPECT_THAT(std::exchange(s_counts, {}), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8))
        << "the library itself first";
    DDB_PDM_Core_initialize(n);
    DDB_PDM_Core_finalize(n);
    EXPECT_TRUE(s_calls.empty() && n == 9);
    msfD_initialize(other); // up already
    UTI_CoreUtils_initialize(other);
    EXPECT_EQ(other, 0);
    msfD_finalize(other);
    UTI_CoreUtils_finalize(other);
    EXPECT_EQ(other, 0);
    s_calls.clear();
    s_counts.clear();
    DDB_PDM_Core_finalize(n);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(std::exchange(s_calls, {}), down);
    EXPECT_THAT(std::exchange(s_counts, {}), ElementsAre(8, 7, 6, 5, 4, 3, 2, 1));
  }
  // A dependency that somebody else holds up stays out of the count.
  UTI_BasicUtils_initialize(other);
  DDB_PDM_Core_initialize(n);
  EXPECT_EQ(n, 8);
  DDB_PDM_Core_finalize(n);
  EXPECT_EQ(n, 0);
  UTI_BasicUtils_finalize(other);
  EXPECT_EQ(other, 0);
}

TEST(Lifecycle, CountersGoBelowZeroAndComeBackWithoutBringingAnythingUp) {
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
