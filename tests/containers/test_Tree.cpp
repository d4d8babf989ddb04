// What the tree promises for keys and values of any type.

#include <omi/omi_BtreePath.h>
#include <omi/omi_Btree_Impl.h>

#include <kda/kda_MapString.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <string>

namespace {

// A value that owns something and is counted, and of which only so many more can be copied.
struct Counted {
  static inline int s_alive = 0, s_copies = INT_MAX;
  int value = 0;
  std::string text = "a text too long to be stored in place";
  Counted() { ++s_alive; }
  Counted(int v) : value(v) { ++s_alive; }
  Counted(const Counted& other) : value(other.value), text(other.text) {
    if (--s_copies < 0)
      throw 1;
    ++s_alive;
  }
  Counted& operator=(const Counted&) = default;
  ~Counted() { --s_alive; }
};

// A key with an order of its own: upper and lower case are one.
struct Word {
  std::string text;
};
int BtreeCompare(const Word& a, const Word& b) {
  const auto lower = [](std::string s) {
    std::transform(s.begin(), s.end(), s.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
  };
  return lower(a.text).compare(lower(b.text));
}

TEST(Tree, TakesKeysAndValuesOfTheUser) {
  {
    omi_Btree<Word, Counted> tree;
    for (int n = 0; n < 300; ++n)
      EXPECT_TRUE(tree.Insert({std::to_string(n) + "x"}, n) && !tree.Insert({std::to_string(n) + "X"}, -1));
    for (int n = 0; n < 300; n += 3)
      EXPECT_TRUE(tree.Remove({std::to_string(n) + "X"}) && !tree.Remove({std::to_string(n) + "x"}));
    for (int n = 0; n < 300; ++n)
      EXPECT_EQ(tree.ConstGet({std::to_string(n) + "X"}).value, n % 3 == 0 ? 0 : n);
    EXPECT_EQ(Counted::s_alive, tree.Count() + 1);
    for (const int copies : {0, 1, 13, tree.Count() - 1}) { // one that fails half way leaves nothing behind
      Counted::s_copies = copies;
      EXPECT_THROW((omi_Btree<Word, Counted>(tree)), int);
      EXPECT_EQ(Counted::s_alive, tree.Count() + 1);
    }
    Counted::s_copies = INT_MAX;
    omi_Btree<Word, Counted> other;
    other.Swap(tree);
    EXPECT_EQ(tree.Count(), 0);
    EXPECT_EQ(other.Count(), 200);
    other.Clear();
    EXPECT_EQ(Counted::s_alive, 2);
  }
  EXPECT_EQ(Counted::s_alive, 0);
}

TEST(Tree, APathHoldsMoreThanItsPlace) {
  omi_BtreePath<int, 4> path;
  for (int i = 0; i < 1000; ++i)
    path.Push(i);
  for (int i = 999; i >= 0; --i)
    ASSERT_EQ(path.Pop(), i);
  EXPECT_TRUE(path.IsEmpty());
}

} // namespace
