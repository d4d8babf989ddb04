#include <UTI_BasicUtils/UTI_BasicUtils.h>
#include <UTI_CoreUtils/UTI_CoreUtils.h>
#include <support/err_Capture.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <random>
#include <thread>
#include <vector>

namespace {
void fill(void* block, std::size_t n, unsigned seed) {
  for (std::size_t i = 0; i < n; ++i)
    static_cast<unsigned char*>(block)[i] = static_cast<unsigned char>(seed + i);
}

bool holds(const void* block, std::size_t n, unsigned seed) {
  for (std::size_t i = 0; i < n; ++i)
    if (static_cast<const unsigned char*>(block)[i] != static_cast<unsigned char>(seed + i))
      return false;
  return true;
}
} // namespace

// A long random life of blocks that came from all makers and grow and shrink: no two overlap, all are
// aligned.
TEST(Allocation, LiveBlocksNeverOverlap) {
  std::mt19937 random(11);
  std::map<void*, std::pair<std::size_t, unsigned>> live;
  for (unsigned step = 0; step < 60000; ++step) {
    if (live.size() > 2000 || (!live.empty() && random() % 3 == 0)) {
      const auto victim = random() % 2 == 0 ? live.begin() : std::prev(live.end());
      void* block = victim->first;
      auto [kept, seed] = victim->second;
      live.erase(victim);
      ASSERT_TRUE(holds(block, kept, seed));
      if (step % 4 == 0)
        for (const std::size_t size : {1 + random() % (step % 8 == 0 ? 70000 : 600), 1 + random() % 600}) {
          block = mem_Realloc(block, size);
          kept = std::min(kept, size);
          ASSERT_TRUE(holds(block, kept, seed)) << size;
        }
      mem_Free(block);
      continue;
    }
    const std::size_t n = random() % 400;
    void* const block = step % 3 == 0   ? mem_OperatorNewTinyThrow(n)
                        : step % 3 == 1 ? mem_OperatorNewThrow(n)
                                        : mem_OperatorNewThrowBuiltin(n);
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u);
    fill(block, n, step);
    ASSERT_TRUE(live.emplace(block, std::pair(n, step)).second);
  }
  for (const auto& [block, content] : live) {
    EXPECT_TRUE(holds(block, content.first, content.second));
    mem_Free(block);
  }
  mem_Free(mem_Realloc(nullptr, 10));
  mem_Free(nullptr);
}

TEST(Allocation, BlocksMayBeFreedByAnotherThreadAndOutliveTheirMaker) {
  const auto make = [](std::vector<void*>& made, unsigned seed) {
    for (unsigned i = 0; i < 5000; ++i)
      fill(made.emplace_back(mem_OperatorNewThrow(32)), 32, seed ^ i);
  };
  std::vector<void*> blocks, others;
  std::thread(make, std::ref(blocks), 0).join();
  std::thread(make, std::ref(others), ~0u).join(); // takes over what the first thread left free
  std::for_each(others.begin(), others.end(), mem_Free);
  for (unsigned i = 0; i < blocks.size(); ++i) {
    EXPECT_TRUE(holds(blocks[i], 32, i));
    mem_Free(blocks[i]);
  }
}

TEST(CowString, CopiesShareUntilOneChanges) {
  const cow_String first("ab");
  cow_String second = first;
  EXPECT_EQ(first.CStr(), second.CStr());
  second.Append("c");
  EXPECT_STREQ(first.CStr(), "ab");
  EXPECT_STREQ(second.CStr(), "abc");
  EXPECT_TRUE(second == cow_String("abcd", 3));
  EXPECT_TRUE(cow_String(nullptr).Empty());
  cow_String self("x");
  self = *&self;
  self.Append(self.CStr());
  EXPECT_STREQ(self.CStr(), "xx");
}

TEST(ErrorStream, GoesToTheSinkAndBackToTheDescriptor) {
  {
    err_Capture capture;
    err_Write("n = ");
    err_Write(-2147483647 - 1);
    err_Write('!');
    err_Write(static_cast<const char*>(nullptr));
    err_Write(cow_String("cow"));
    EXPECT_EQ(capture.Take(), "n = -2147483648!cow");
  }
  testing::internal::CaptureStderr();
  err_Write("plain");
  err_Flush();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "plain");
}
