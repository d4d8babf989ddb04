// What the tree promises for keys and values of any type.

#include <omi/omi_BtreePath.h>
#include <omi/omi_Btree_Impl.h>

#include <kda/kda_MapString.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

int s_alive = 0;

// A value that owns something and is counted.
struct Counted {
  int value = 0;
  std::string text = "a text too long to be stored in place";
  Counted() { ++s_alive; }
  Counted(int v) : value(v) { ++s_alive; }
  Counted(const Counted& other) : value(other.value), text(other.text) { ++s_alive; }
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
    std::mt19937 random(3);
    omi_Btree<Word, Counted> tree;
    std::map<std::string, int> model;
    for (int step = 0; step < 3000; ++step) {
      const std::string text = std::to_string(random() % 300) + "x";
      const Word key{random() % 2 == 0 ? text : text.substr(0, text.size() - 1) + "X"};
      if (random() % 3 != 0) {
        EXPECT_EQ(tree.Insert(key, step), model.emplace(text, step).second);
      } else {
        EXPECT_EQ(tree.Remove(key), model.erase(text) == 1);
      }
      const auto found = model.find(text);
      EXPECT_EQ(tree.IsMember(key), found != model.end());
      EXPECT_EQ(tree.ConstGet(key).value, found != model.end() ? found->second : 0);
    }
    EXPECT_EQ(s_alive, tree.Count() + 1);
    {
      const omi_Btree<Word, Counted> copy(tree);
      EXPECT_EQ(s_alive, 2 * tree.Count() + 2);
    }
    omi_Btree<Word, Counted> other;
    other.Swap(tree);
    EXPECT_EQ(tree.Count(), 0);
    EXPECT_EQ(other.Count(), static_cast<int>(model.size()));
    other.Clear();
    EXPECT_EQ(s_alive, 2);
  }
  EXPECT_EQ(s_alive, 0);
}

// A copy that fails half way leaves nothing behind.
struct Brittle {
  static inline int s_left = 1000, s_made = 0;
  Brittle() { ++s_made; }
  Brittle(const Brittle&) {
    if (--s_left < 0)
      throw 1;
    ++s_made;
  }
  Brittle& operator=(const Brittle&) = default;
  ~Brittle() { --s_made; }
};

TEST(Tree, ACopyThatFailsReleasesWhatItHas) {
  {
    omi_Btree<Word, Brittle> tree;
    for (char c = 'a'; c <= 'z'; ++c)
      tree.Insert(Word{std::string(40, c)}, Brittle());
    for (const int left : {0, 1, 13, 25}) {
      Brittle::s_left = left;
      const int made = Brittle::s_made;
      EXPECT_THROW((omi_Btree<Word, Brittle>(tree)), int);
      EXPECT_EQ(Brittle::s_made, made);
    }
  }
  EXPECT_EQ(Brittle::s_made, 0);
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
