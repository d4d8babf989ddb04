// The order in which the library brings its modules up and down, and what it passes to the simulation-file
// API: this program's own definitions stand before those of the libraries.

#include <PDM_Core.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
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

ORXSimContextID ORXSimManager::CreateContext(const cow_String& name, int flags, int version, bool reserved,
                                             int option) {
  s_calls.push_back("create " + std::string(name.CStr()));
  s_counts = {flags, version, reserved, option};
  return {};
}

ORXSimContextID ORXSimManager::OpenContext(const cow_String& name, int flags, int version, bool reserved,
                                           int option) {
  s_calls.push_back("open " + std::string(name.CStr()));
  s_counts = {flags, version, reserved, option};
  return {};
}

TEST(Lifecycle, OnlyTheOuterPairBringsModulesUpAndDownInOppositeOrders) {
  using testing::Each;
  const std::vector<std::string> modules = {
      "UTI_CoreUtils", "UTI_BasicUtils", "UTI_ORXSimDynamicAPI", "DDB_HdxInterface", "kda", "gbb", "fesD",
      "msfD"};
  std::vector<std::string> up, down;
  for (const std::string& module : modules) {
    up.push_back("+" + module);
    down.insert(down.begin(), "-" + module);
  }
  int n = 0;
  s_counter = &n;
  const auto calls = [](auto operation, int& counter) {
    s_calls.clear();
    s_counts.clear();
    operation(counter);
    return s_calls;
  };
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(calls(DDB_PDM_Core_initialize, n), up);
    EXPECT_THAT(s_counts, Each(1)) << "the library itself counts first";
    EXPECT_TRUE(calls(DDB_PDM_Core_initialize, n).empty());
    EXPECT_TRUE(calls(DDB_PDM_Core_finalize, n).empty());
    EXPECT_EQ(n, 1);
    EXPECT_EQ(calls(DDB_PDM_Core_finalize, n), down);
    EXPECT_THAT(s_counts, Each(0));
  }
}

TEST(Root, PassesTheContextOptionOnAndReplacesOnlyMinusOne) {
  msfD_Root root(0);
  for (const auto& [given, passed] : {std::pair{-1, 1}, {0, 0}, {1, 1}, {2, 2}, {77, 77}}) {
    const auto name = "f" + std::to_string(given);
    s_calls.clear();
    root.createSim(name.c_str(), "", given);
    EXPECT_EQ(s_counts, (std::vector<int>{0, 102, 0, passed}));
    root.openSim((name + "w").c_str(), "", given);
    EXPECT_EQ(s_counts, (std::vector<int>{0, 102, 0, passed}));
    root.openSimReadOnly((name + "r").c_str(), "", given);
    EXPECT_EQ(s_counts, (std::vector<int>{1, 102, 0, passed}));
    EXPECT_EQ(s_calls,
              (std::vector<std::string>{"create " + name, "open " + name + "w", "open " + name + "r"}));
  }
}
