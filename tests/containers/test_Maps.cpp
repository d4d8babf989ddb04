// One body for every map that the library exports: integer and string keys, twelve value types.

#include <containers/Values.h>

#include <kda/kda_MapInt.h>
#include <kda/kda_MapString.h>

#include <map>
#include <random>
#include <vector>

namespace {

template <class T>
class Map : public ::testing::Test {};
TYPED_TEST_SUITE(Map, ValueTypes);

struct IntKeys {
  template <class T>
  using Of = kda_MapInt<T>;
  template <class T>
  using Iterator = kda_MapIntIterator<T>;
  static int Make(int n) { return n; }
  static bool Same(int a, int b) { return a == b; }
};

struct TextKeys {
  template <class T>
  using Of = kda_MapString<T>;
  template <class T>
  using Iterator = kda_MapStringIterator<T>;
  // In the same order as the numbers; the least is the empty text.
  static kda_string Make(int n) {
    return n == -100 ? kda_string() : kda_string(std::string(1, static_cast<char>(n + 101)).c_str());
  }
  static bool Same(const kda_string& a, const kda_string& b) { return a == b; }
};

template <class Keys, class T>
void expectSame(const typename Keys::template Of<T>& map, const std::map<int, int>& model) {
  ASSERT_EQ(map.count(), static_cast<int>(model.size()));
  typename Keys::template Iterator<T> forward(map), backward(map);
  EXPECT_TRUE(forward.isDone());
  forward.first();
  for (std::size_t i = 0; i < model.size() / 2; ++i)
    forward.next();
  backward.first();
  forward.first(); // from the midst, once more
  for (const auto& [key, value] : model) {
    if (key != model.begin()->first) { // back and forth
      forward.previous();
      forward.next();
    }
    ASSERT_FALSE(forward.isDone());
    ASSERT_TRUE(Keys::Same(forward.key(), Keys::Make(key)));
    ASSERT_TRUE(forward.value() == makeValue<T>(value));
    forward.next();
  }
  ASSERT_TRUE(forward.isDone());
  forward.first(); // from the end, once more
  ASSERT_TRUE(model.empty() ? forward.isDone() : Keys::Same(forward.key(), Keys::Make(model.begin()->first)));
  backward.last();
  for (auto i = model.rbegin(); i != model.rend(); ++i, backward.previous()) {
    ASSERT_FALSE(backward.isDone());
    ASSERT_TRUE(Keys::Same(backward.key(), Keys::Make(i->first)));
  }
  ASSERT_TRUE(backward.isDone());
  auto expected = model.begin();
  map.ForEach([&](const auto& key, const T& value) {
    ASSERT_TRUE(Keys::Same(key, Keys::Make(expected->first)) && value == makeValue<T>(expected->second));
    ++expected;
  });
  ASSERT_TRUE(expected == model.end());
}

template <class Keys, class T>
void changeAtRandom(unsigned seed) {
  std::mt19937 random(seed);
  typename Keys::template Of<T> map;
  std::map<int, int> model;
  for (int step = 0; step < 600; ++step) {
    const int key = static_cast<int>(random() % 60) - 100;
    if (random() % 100 < (step < 300 ? 70u : 40u)) {
      map.insert(Keys::Make(key), makeValue<T>(step));
      model[key] = step;
    } else {
      map.remove(Keys::Make(key));
      model.erase(key);
    }
    const auto found = model.find(key);
    ASSERT_EQ(map.isMember(Keys::Make(key)), found != model.end());
    ASSERT_TRUE(std::as_const(map).get(Keys::Make(key)) ==
                (found != model.end() ? makeValue<T>(found->second) : T()));
    if (step % 50 == 0) {
      ASSERT_NO_FATAL_FAILURE((expectSame<Keys, T>(map, model)));
    }
  }
}

TYPED_TEST(Map, AgreesWithAPlainModel) {
  for (unsigned seed = 0; seed < 3; ++seed) {
    changeAtRandom<IntKeys, TypeParam>(seed);
    changeAtRandom<TextKeys, TypeParam>(seed);
  }
}

template <class Keys, class T>
void writeThroughDefault() {
  using Of = typename Keys::template Of<T>;
  const T one = makeValue<T>(1), two = makeValue<T>(2);
  Of map;
  map.get(Keys::Make(-5)) = one; // nothing is inserted: the default is another from now on
  EXPECT_EQ(map.count(), 0);
  EXPECT_TRUE(map.get(Keys::Make(-6)) == one);
  map.insert(Keys::Make(-7), two);
  map.clear();
  EXPECT_TRUE(map.get(Keys::Make(-7)) == one);

  map.insert(Keys::Make(-7), two);
  Of copy(map), assigned, other;
  assigned = map;
  const Of& same = assigned;
  assigned = same;
  map.remove(Keys::Make(-7));
  for (const Of* each : {&copy, &assigned}) {
    expectSame<Keys, T>(*each, {{-7, 2}});
    EXPECT_TRUE(each->get(Keys::Make(-5)) == one);
  }
  other.swap(copy);
  expectSame<Keys, T>(copy, {});
  EXPECT_TRUE(copy.get(Keys::Make(-5)) == T());
  EXPECT_TRUE(other.get(Keys::Make(-5)) == one);
  const Of moved(std::move(other));
  expectSame<Keys, T>(moved, {{-7, 2}});
  expectSame<Keys, T>(other, {});
}

TYPED_TEST(Map, HasOneDefaultForEveryAbsentKey) {
  writeThroughDefault<IntKeys, TypeParam>();
  writeThroughDefault<TextKeys, TypeParam>();
}

template <class Key, class T, class Of>
void expectFields(Of& map) {
  struct TreeFields {
    void* root;
    int count;
    alignas(T) unsigned char initial[sizeof(T)];
  };
  struct NodeFields {
    alignas(T) unsigned char value[sizeof(T)];
    alignas(Key) unsigned char key[sizeof(Key)];
    void *left, *right;
    int height;
  };
  static_assert(sizeof(TreeFields) == sizeof(Of) && sizeof(NodeFields) == sizeof(omi_BtreeNode<Key, T>));
  TreeFields tree;
  std::memcpy(&tree, static_cast<void*>(&map), sizeof tree);
  const auto* const root = map.tree().Root();
  EXPECT_EQ(tree.root, root);
  EXPECT_EQ(tree.count, 3);
  NodeFields node;
  std::memcpy(&node, static_cast<const void*>(root), sizeof node);
  EXPECT_EQ(static_cast<const void*>(&root->ConstGetValue()), root);
  EXPECT_EQ(reinterpret_cast<const char*>(&root->ConstGetKey()) - reinterpret_cast<const char*>(root),
            static_cast<std::ptrdiff_t>(offsetof(NodeFields, key)));
  EXPECT_TRUE(node.left == root->Left() && node.right == root->Right() && node.height == 2);
}

TYPED_TEST(Map, FieldsLieAsDocumented) {
  kda_MapInt<TypeParam> ints;
  kda_MapString<TypeParam> texts;
  for (int n = 1; n <= 3; ++n) {
    ints.insert(n, makeValue<TypeParam>(n));
    texts.insert(TextKeys::Make(n), makeValue<TypeParam>(n));
  }
  expectFields<kda_MapIntKey, TypeParam>(ints);
  expectFields<kda_string, TypeParam>(texts);
  static_assert(sizeof(kda_MapIntIterator<TypeParam>) == 2 * sizeof(void*) &&
                sizeof(kda_MapStringIterator<TypeParam>) == 2 * sizeof(void*));
}

} // namespace
