#include <kda/kda_string.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(String, EmptyHasNoStorageHoweverItWasMade) {
  kda_string moved("text"), given("more"), target("less");
  target = std::move(given);
  const kda_string taken(std::move(moved));
  const kda_string empties[] = {
      kda_string(), kda_string(nullptr),    kda_string(""),         kda_string(kda_string("")), moved,
      given,        kda_string(nullptr, 0), kda_string("text", -1), kda_string("", 3)};
  for (const kda_string& empty : empties) {
    const char* stored = "x";
    std::memcpy(static_cast<void*>(&stored), &empty, sizeof stored);
    EXPECT_EQ(stored, nullptr);
    EXPECT_STREQ(empty.cStr(), "");
    EXPECT_EQ(empty.byteCount(), 0);
  }
  EXPECT_STREQ(taken.cStr(), "text");
  EXPECT_STREQ(kda_string("texture", 4).cStr(), "text");
  EXPECT_STREQ(kda_string("text\0ure", 8).cStr(), "text");
}

TEST(String, CopiesShareNothing) {
  kda_string a("first");
  kda_string b(a);
  EXPECT_NE(a.cStr(), b.cStr());
  a = kda_string("a longer second");
  EXPECT_STREQ(b.cStr(), "first");
  EXPECT_EQ(a.byteCount(), 15);
  const kda_string& same = a;
  a = same;
  a.swap(b);
  EXPECT_STREQ(a.cStr(), "first");
  EXPECT_STREQ(b.cStr(), "a longer second");
}

// Alone and behind beginnings that end before, at and behind the end of a machine word.
TEST(String, OrderIsThatOfUnsignedBytes) {
  const std::vector<std::string> ordered = {"",      "\x01",  "B", "a",    "aa",
                                            "a\x7f", "a\x80", "b", "\x80", "\xff"};
  for (const std::size_t length : {0, 6, 7, 8, 15, 16, 23})
    for (const char filler : {'\x01', 'a', '\xff'})
      for (std::size_t i = 0; i < ordered.size(); ++i)
        for (std::size_t j = 0; j < ordered.size(); ++j) {
          const std::string lead(length, filler);
          const kda_string a((lead + ordered[i]).c_str()), b((lead + ordered[j]).c_str());
          EXPECT_EQ(BtreeCompare(a, b), i < j ? -1 : i > j) << length << ' ' << i << ' ' << j;
          EXPECT_EQ(a == b, i == j);
        }
}

} // namespace
