// The order in which the library brings its modules up and down: this program's own definitions stand before
// those of the libraries.

#include <PDM_Core.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

std::vector<std::string> s_calls;
int* s_counter = nullptr;
std::vector<int> s_counts; // the caller's counter as each call found it

void note(const char* name, int& counter) {
  s_calls.push_back(name);
  s_counts.push_back(counter);
  EXPECT_EQ(&counter, s_counter) << name;
}

} // namespace

#define MODULE(name)                                                                                         \
  void name##_initialize(int& n) {                                                                           \
    note("+" #name, n);                                                                                      \
  }                                                                                                          \
  void name##_finalize(int& n) {                                                                             \
    note("-" #name, n);                                                                                      \
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
    up.push_back("+" + module);
    down.insert(down.begin(), "-" + module);
  }
  int n = 0;
  s_counter = &n;
  for (int round = 0; round < 2; ++round) {
    DDB_PDM_Core_initialize(n);
    EXPECT_EQ(std::exchange(s_calls, {}), up);
    EXPECT_THAT(std::exchange(s_counts, {}), testing::Each(1)) << "the library itself counts first";
    DDB_PDM_Core_initialize(n);
    DDB_PDM_Core_finalize(n);
    EXPECT_TRUE(s_calls.empty() && n == 1);
    DDB_PDM_Core_finalize(n);
    EXPECT_EQ(std::exchange(s_calls, {}), down);
    EXPECT_THAT(std::exchange(s_counts, {}), testing::Each(0));
  }
}
