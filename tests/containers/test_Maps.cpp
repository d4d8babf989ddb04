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

// Their order is that of tests/package/by_hand.cpp, which has none of our headers.
static_assert(sizeof(kda_MapInt<int>) == 2 * sizeof(void*) &&
              sizeof(kda_MapString<double>) == 3 * sizeof(void*) &&
              sizeof(omi_BtreeNode<kda_MapIntKey, int>) == 4 * sizeof(void*) &&
              sizeof(omi_BtreeNode<kda_string, double>) == 5 * sizeof(void*) &&
              sizeof(kda_MapIntIterator<int>) == 2 * sizeof(void*) &&
              sizeof(kda_MapStringIterator<double>) == 2 * sizeof(void*));

} // namespace
