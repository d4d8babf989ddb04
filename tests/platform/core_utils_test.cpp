#include <UTI_BasicUtils/UTI_BasicUtils.h>
#include <UTI_CoreUtils/UTI_CoreUtils.h>
#include <support/err_Capture.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
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

TEST(Allocation, ReallocKeepsTheBytesAcrossSizeClasses) {
  for (const std::size_t from : {1u, 16u, 17u, 255u, 256u, 257u, 5000u})
    for (const std::size_t to : {1u, 16u, 40u, 256u, 257u, 300u, 70000u}) {
      void* block = mem_OperatorNewThrow(from);
      fill(block, from, 7);
      block = mem_Realloc(block, to);
      EXPECT_TRUE(holds(block, std::min(from, to), 7)) << from << " to " << to;
      mem_Free(block);
    }
  mem_Free(mem_Realloc(nullptr, 10));
  mem_Free(nullptr);
}

// A long random life of blocks that came from all makers: no two overlap, all are aligned.
TEST(Allocation, LiveBlocksNeverOverlap) {
  std::mt19937 random(11);
  std::map<void*, std::pair<std::size_t, unsigned>> live;
  for (unsigned step = 0; step < 60000; ++step) {
    if (live.size() > 2000 || (!live.empty() && random() % 3 == 0)) {
      const auto victim = random() % 2 == 0 ? live.begin() : std::prev(live.end());
      ASSERT_TRUE(holds(victim->first, victim->second.first, victim->second.second));
      mem_Free(victim->first);
      live.erase(victim);
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
}

TEST(Allocation, BlocksMayBeFreedByAnotherThreadAndOutliveTheirMaker) {
  std::vector<void*> blocks;
  std::thread([&] {
    for (unsigned i = 0; i < 5000; ++i) {
      blocks.push_back(mem_OperatorNewThrow(32));
      fill(blocks.back(), 32, i);
    }
  }).join();
  std::thread([&] { // takes over what the first thread left free
    std::vector<void*> mine;
    for (unsigned i = 0; i < 5000; ++i)
      fill(mine.emplace_back(mem_OperatorNewThrow(32)), 32, ~i);
    std::for_each(mine.begin(), mine.end(), mem_Free);
  })
      .join();
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
