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

// A node's own balance is left to the caller, and so are the heights above the node that was called.
TEST(TreeShape, StepsOfNodesFollowTheRulesBelowThem) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    std::mt19937 random(seed);
    Tree::Node node(0, 0), none(0, 0);
    Ref model = keeping(0, 0, nullptr, nullptr);
    for (int step = 0; step < 120; ++step) {
      const int key = static_cast<int>(random() % 20) * 2 - 19, way = static_cast<int>(random() % 4);
      const Ref below = key < 0 ? model->lesser : model->greater;
      auto* const child = const_cast<Tree::Node*>(key < 0 ? node.Left() : node.Right());
      if (way < 3 || child == nullptr) {
        const auto result = way < 2 ? inserted(model, key) : removed(model, key);
        ASSERT_EQ(way < 2 ? node.Insert(key, key / 2) : node.Remove(key, none), result.has_value());
        model = result.value_or(model);
      } else if (const auto result = removed(below, key)) { // by the child, which may be the one that goes
        const bool itself = below->key == key;
        EXPECT_TRUE(child->Remove(key, node));
        const Ref& lesser = key < 0 ? *result : model->lesser;
        const Ref& greater = key < 0 ? model->greater : *result;
        model = itself ? measured(0, lesser, greater) : keeping(model->height, 0, lesser, greater);
      } else {
        EXPECT_FALSE(child->Remove(key, node));
      }
      ASSERT_TRUE(same(&node, model)) << "seed " << seed << ", step " << step << ", key " << key;
    }
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
