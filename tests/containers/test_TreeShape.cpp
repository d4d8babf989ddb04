// The tree against a second telling of its rules: trees as values, every operation a function from old to
// new.

#include <kda/kda_MapInt.h>
#include <omi/omi_Btree.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <vector>

namespace {

struct Model;
using Ref = std::shared_ptr<const Model>;
struct Model {
  int key, height;
  Ref lesser, greater;
};

int weight(const Ref& t) {
  return t ? t->height : 0;
}

Ref keeping(int height, int key, Ref lesser, Ref greater) {
  return std::make_shared<Model>(Model{key, height, std::move(lesser), std::move(greater)});
}

Ref measured(int key, Ref lesser, Ref greater) {
  int height = 0;
  for (const Ref& child : {lesser, greater})
    height = child ? std::max(height, child->height + 1) : height;
  return keeping(height, key, std::move(lesser), std::move(greater));
}

Ref rebalanced(const Ref& t) {
  const int lean = weight(t->greater) - weight(t->lesser);
  if (lean > 1)
    return measured(t->greater->key, measured(t->key, t->lesser, t->greater->lesser), t->greater->greater);
  if (lean < -1)
    return measured(t->lesser->key, t->lesser->lesser, measured(t->key, t->lesser->greater, t->greater));
  return t;
}

// The difference of two keys, brought into the range of 32 bits.
std::int64_t difference(int a, int b) {
  const std::int64_t exact = std::int64_t{a} - b, turn = std::int64_t{1} << 32;
  return exact >= turn / 2 ? exact - turn : exact < -turn / 2 ? exact + turn : exact;
}

std::optional<Ref> inserted(const Ref& t, int key) {
  if (!t)
    return keeping(0, key, nullptr, nullptr);
  const std::int64_t order = difference(key, t->key);
  if (order == 0)
    return std::nullopt;
  const auto child = inserted(order < 0 ? t->lesser : t->greater, key);
  if (!child)
    return std::nullopt;
  const Ref settled = rebalanced(*child);
  return order < 0 ? measured(t->key, settled, t->greater) : measured(t->key, t->lesser, settled);
}

// Without the least node: its parent is measured again, those above keep the height they had.
Ref withoutLeast(const Ref& t) {
  if (!t->lesser)
    return t->greater;
  const Ref lesser = withoutLeast(t->lesser);
  return t->lesser->lesser ? keeping(t->height, t->key, lesser, t->greater)
                           : measured(t->key, lesser, t->greater);
}

Ref joined(const Ref& lesser, const Ref& greater) {
  if (!lesser || !greater)
    return lesser ? lesser : greater;
  const Model* least = greater.get();
  while (least->lesser)
    least = least->lesser.get();
  return measured(least->key, lesser, withoutLeast(greater));
}

std::optional<Ref> removed(const Ref& t, int key) {
  if (!t)
    return std::nullopt;
  const std::int64_t order = difference(key, t->key);
  if (order == 0)
    return joined(t->lesser, t->greater);
  auto child = removed(order < 0 ? t->lesser : t->greater, key);
  if (!child)
    return std::nullopt;
  if (*child)
    child = rebalanced(*child);
  return order < 0 ? measured(t->key, *child, t->greater) : measured(t->key, t->lesser, *child);
}

using Tree = omi_Btree<kda_MapIntKey, int>;

bool same(const Tree::Node* node, const Ref& t) {
  if (node == nullptr || t == nullptr)
    return node == nullptr && t == nullptr;
  return node->ConstGetKey().Value() == t->key && node->ConstGetValue() == t->key / 2 &&
         node->Height() == t->height && same(node->Left(), t->lesser) && same(node->Right(), t->greater);
}

struct History {
  Tree tree;
  Ref model;

  void Insert(int key) {
    const auto result = inserted(model, key);
    ASSERT_EQ(tree.Insert(key, key / 2), result.has_value());
    if (result)
      model = rebalanced(*result);
    ASSERT_TRUE(same(tree.Root(), model)) << "after inserting " << key;
  }
  void Append(int key) {
    EXPECT_EQ(tree.Append(key, key / 2).Value(), key);
    model = rebalanced(*inserted(model, key));
    ASSERT_TRUE(same(tree.Root(), model)) << "after appending " << key;
  }
  void Remove(int key) {
    const auto result = removed(model, key);
    ASSERT_EQ(tree.Remove(key), result.has_value());
    if (result)
      model = *result ? rebalanced(*result) : nullptr;
    ASSERT_TRUE(same(tree.Root(), model)) << "after removing " << key;
  }
  void Replace() {
    Tree copy(tree);
    ASSERT_TRUE(same(copy.Root(), model));
    tree.Swap(copy);
  }
};

// Random changes with more insertions at first and more removals later, through copies now and then.
template <class MakeKey>
void run(unsigned seed, int steps, MakeKey makeKey) {
  std::mt19937 random(seed);
  History history;
  for (int step = 0; step < steps; ++step) {
    const bool grow = static_cast<int>(random() % 100) < (step < steps / 2 ? 65 : 40);
    const int key = makeKey(random);
    ASSERT_NO_FATAL_FAILURE(grow ? history.Insert(key) : history.Remove(key));
    if (step % 97 == 0) {
      ASSERT_NO_FATAL_FAILURE(history.Replace());
    }
  }
}

TEST(TreeShape, FollowsItsRulesThroughRandomHistories) {
  for (unsigned seed = 0; seed < 90; ++seed) {
    const auto key = [seed](std::mt19937& random) {
      const unsigned far[] = {0u, 0x80000000u, 0x7ffffff8u, 0x40000000u, 0xc0000000u}; // differences wrap
      return static_cast<int>(seed % 3 == 0 ? far[random() % 5] + static_cast<unsigned>(random() % 12)
                                            : random() % (1u << (3 + seed % 8)) - 20);
    };
    ASSERT_NO_FATAL_FAILURE(run(seed, 1500, key)) << "seed " << seed;
  }
}

// Runs and zigzags lean the tree over; taking roots away makes stored heights lag behind.
TEST(TreeShape, FollowsItsRulesThroughOneSidedHistories) {
  for (int pattern = 0; pattern < 4; ++pattern) {
    History history;
    for (int i = 0; i < 300; ++i) {
      const int keys[] = {i, -i, i % 2 == 0 ? i : 1000 - i, i % 2 == 0 ? i : -i};
      ASSERT_NO_FATAL_FAILURE(history.Insert(keys[pattern]));
    }
    std::mt19937 random(7);
    while (history.model) {
      const Ref& root = history.model;
      const Ref& target = random() % 3 == 0 && root->greater ? root->greater : root;
      ASSERT_NO_FATAL_FAILURE(history.Remove(target->key));
      if (random() % 4 == 0) {
        ASSERT_NO_FATAL_FAILURE(history.Insert(static_cast<int>(random() % 4000)));
      }
    }
    EXPECT_EQ(history.tree.Root(), nullptr);
  }
}

TEST(TreeShape, NodeStepsLeaveTheirOwnRebalancingToTheCaller) {
  using Node = omi_BtreeNode<kda_MapIntKey, int>;
  Node node(1, 0), parent(0, 0);
  for (const int key : {2, 3, 4})
    EXPECT_TRUE(node.Insert(key, 0));
  EXPECT_FALSE(node.Insert(3, 9));
  EXPECT_EQ(node.Height(), 3);
  EXPECT_EQ(node.Right()->ConstGetKey().Value(), 2);
  EXPECT_TRUE(node.Remove(4, parent));
  EXPECT_FALSE(node.Remove(4, parent));
  EXPECT_EQ(node.Find(3)->ConstGetValue(), 0);
  EXPECT_TRUE(const_cast<Node*>(node.Right())->Remove(3, node));
  EXPECT_EQ(node.Height(), 2); // as it was, until the next change passes
  EXPECT_TRUE(node.Insert(0, 0));
  EXPECT_EQ(node.Height(), 1);
}

// A child on either side of its parent, with every choice of children of its own, removes itself.
TEST(TreeShape, ANodeThatRemovesItselfLeavesItsPlaceToTheNext) {
  using Node = omi_BtreeNode<kda_MapIntKey, int>;
  for (const int key : {-10, 10})
    for (const int children : {0, 1, 2, 3}) {
      Node parent(0, 0);
      for (const int each : {-key, key, children & 1 ? key - 1 : key, children & 2 ? key + 1 : key})
        parent.Insert(each, each);
      auto* const self = const_cast<Node*>(key < 0 ? parent.Left() : parent.Right());
      EXPECT_EQ(self->ConstGetKey().Value(), key);
      EXPECT_TRUE(self->Remove(key, parent));
      const Node* const next = key < 0 ? parent.Left() : parent.Right();
      ASSERT_EQ(next != nullptr, children != 0);
      if (next != nullptr) {
        EXPECT_EQ(next->ConstGetValue(), children & 2 ? key + 1 : key - 1);
        EXPECT_EQ(next->Height(), children == 3);
        EXPECT_EQ(next->Left() != nullptr, children == 3);
      }
      EXPECT_EQ(parent.Height(), children == 3 ? 2 : 1);
      const Node* const other = key < 0 ? parent.Right() : parent.Left();
      EXPECT_EQ(other->ConstGetValue(), -key);
      EXPECT_EQ(parent.Find(key), nullptr);
    }
}

TEST(TreeShape, AppendingOrderedKeysGivesTheShapeOfInserting) {
  History history;
  for (int key = 0; key < 600; ++key) {
    ASSERT_NO_FATAL_FAILURE(history.Append(key));
    if (key % 3 == 2) { // a root taken away leaves heights behind that the next keys have to cope with
      const Ref& root = history.model;
      ASSERT_NO_FATAL_FAILURE(history.Remove((key % 2 == 0 ? root : root->greater)->key));
    }
  }
}

} // namespace
