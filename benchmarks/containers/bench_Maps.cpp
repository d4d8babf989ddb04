// The maps against std::map and absl::btree_map: the same keys in the same order, values of one int.

#include <kda/kda_MapInt.h>
#include <kda/kda_MapString.h>

#include <absl/container/btree_map.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

template <class Map, class MapIterator>
struct Ours {
  Map map;
  template <class Key>
  void Insert(const Key& key, int value) {
    map.insert(key, value);
  }
  template <class Key>
  int Find(const Key& key) const {
    return map.get(key);
  }
  long Sum() const {
    long sum = 0;
    MapIterator i(map);
    for (i.first(); !i.isDone(); i.next())
      sum += i.value();
    return sum;
  }
  long Visit() const {
    long sum = 0;
    map.ForEach([&sum](const auto&, int value) { sum += value; });
    return sum;
  }
};

// The least that an iterator's promise costs: a link of its own for every node passed, and nothing else.
struct Floor : Ours<kda_MapInt<int>, kda_MapIntIterator<int>> {
  using Node = kda_MapInt<int>::Tree::Node;
  struct Link {
    const Node* node;
    Link* next;
  };
  static Link* Push(const Node* node, Link* top) {
    for (; node != nullptr; node = node->Left())
      top = ::new (mem_OperatorNewThrow(sizeof(Link))) Link{node, top};
    return top;
  }
  long Sum() const {
    long sum = 0;
    Link* top = Push(map.tree().Root(), nullptr);
    while (top != nullptr) {
      const Node* left = top->node;
      sum += left->ConstGetValue();
      if (left->Right() != nullptr) {
        top = Push(left->Right(), top);
        continue;
      }
      for (bool fromRight = true; fromRight;) {
        Link* const popped = std::exchange(top, top->next);
        mem_Free(popped);
        fromRight = top != nullptr && top->node->Right() == left;
        left = fromRight ? top->node : nullptr;
      }
    }
    return sum;
  }
};

template <class Map>
struct Peer {
  Map map;
  template <class Key>
  void Insert(const Key& key, int value) {
    map.insert_or_assign(key, value);
  }
  template <class Key>
  int Find(const Key& key) const {
    const auto found = map.find(key);
    return found == map.end() ? 0 : found->second;
  }
  long Sum() const {
    long sum = 0;
    for (const auto& entry : map)
      sum += entry.second;
    return sum;
  }
  long Visit() const { return Sum(); }
};

enum class Keys { kRandom, kAscending, kShortText, kLongText };

// Small maps come many at a time, each with keys in an order of its own: otherwise they drown in the clock,
// and the processor learns every branch of the one history by heart, as it never can in a program.
int mapsAtATime(int n) {
  return std::max(1, 50'000 / n);
}

template <class Key>
Key makeKey(Keys kind, int number) {
  if constexpr (std::is_same_v<Key, int>) {
    return number;
  } else {
    char text[64];
    std::snprintf(text, sizeof text, kind == Keys::kShortText ? "set%07d" : "assembly/instance-1/set%07d",
                  number);
    return Key(text);
  }
}

template <class Key>
std::vector<Key> makeKeys(Keys kind, int n, unsigned seed) {
  std::vector<int> numbers(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i)
    numbers[static_cast<std::size_t>(i)] = i;
  if (kind != Keys::kAscending)
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(seed));
  std::vector<Key> keys;
  for (const int number : numbers)
    keys.push_back(makeKey<Key>(kind, number));
  return keys;
}

template <class Key>
std::vector<std::vector<Key>> makeManyKeys(Keys kind, int n, unsigned seed) {
  std::vector<std::vector<Key>> many;
  for (int i = 0; i < mapsAtATime(n); ++i)
    many.push_back(makeKeys<Key>(kind, n, seed + static_cast<unsigned>(i)));
  return many;
}

template <class Map, class Key>
void fill(Map& map, const std::vector<Key>& keys) {
  int value = 0;
  for (const Key& key : keys)
    map.Insert(key, ++value);
}

template <class Map, class Key>
std::vector<Map> makeMaps(const std::vector<std::vector<Key>>& many) {
  std::vector<Map> maps(many.size());
  for (std::size_t i = 0; i < many.size(); ++i)
    fill(maps[i], many[i]);
  return maps;
}

void countEntries(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  state.SetItemsProcessed(state.iterations() * n * mapsAtATime(n));
}

template <class Map, class Key>
void insert(benchmark::State& state, Keys kind) {
  const auto many = makeManyKeys<Key>(kind, static_cast<int>(state.range(0)), 20);
  for (auto _ : state) {
    state.PauseTiming();
    {
      std::vector<Map> maps(many.size());
      state.ResumeTiming();
      for (std::size_t i = 0; i < maps.size(); ++i)
        fill(maps[i], many[i]);
      benchmark::ClobberMemory();
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
  countEntries(state);
}

template <class Map, class Key>
void find(benchmark::State& state, Keys kind) {
  const int n = static_cast<int>(state.range(0));
  const auto maps = makeMaps<Map>(makeManyKeys<Key>(kind, n, 20));
  const auto probes = makeManyKeys<Key>(kind, n, 10'020);
  for (auto _ : state) {
    for (std::size_t i = 0; i < maps.size(); ++i)
      for (const Key& key : probes[i])
        benchmark::DoNotOptimize(maps[i].Find(key));
  }
  countEntries(state);
}

template <class Map, class Key>
void iterate(benchmark::State& state, Keys kind) {
  const auto maps = makeMaps<Map>(makeManyKeys<Key>(kind, static_cast<int>(state.range(0)), 20));
  for (auto _ : state)
    for (const Map& map : maps)
      benchmark::DoNotOptimize(map.Sum());
  countEntries(state);
}

template <class Map, class Key>
void visit(benchmark::State& state, Keys kind) {
  const auto maps = makeMaps<Map>(makeManyKeys<Key>(kind, static_cast<int>(state.range(0)), 20));
  for (auto _ : state)
    for (const Map& map : maps)
      benchmark::DoNotOptimize(map.Visit());
  countEntries(state);
}

template <class Map, class Key>
void copy(benchmark::State& state, Keys kind) {
  const auto maps = makeMaps<Map>(makeManyKeys<Key>(kind, static_cast<int>(state.range(0)), 20));
  for (auto _ : state) {
    state.PauseTiming();
    {
      std::vector<std::optional<Map>> copies(maps.size());
      state.ResumeTiming();
      for (std::size_t i = 0; i < maps.size(); ++i)
        copies[i].emplace(maps[i]);
      benchmark::ClobberMemory();
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
  countEntries(state);
}

template <class Run>
void add(const std::string& name, Run run, Keys kind) {
  benchmark::RegisterBenchmark(name.c_str(), [run, kind](benchmark::State& state) { run(state, kind); })
      ->Arg(100)
      ->Arg(10'000)
      ->Arg(1'000'000)
      ->MeasureProcessCPUTime()
      ->MinTime(0.1);
}

template <class Map, class Key>
void addText(const std::string& work, const std::string& who, Keys kind) {
  add(work + "_insert/" + who, insert<Map, Key>, kind);
  add(work + "_find/" + who, find<Map, Key>, kind);
  add(work + "_iterate/" + who, iterate<Map, Key>, kind);
  add(work + "_copy/" + who, copy<Map, Key>, kind);
}

template <class IntMap, class TextMap, class Text>
void addAll(const std::string& who) {
  add("int_insert_random/" + who, insert<IntMap, int>, Keys::kRandom);
  add("int_insert_ascending/" + who, insert<IntMap, int>, Keys::kAscending);
  add("int_find/" + who, find<IntMap, int>, Keys::kRandom);
  add("int_iterate/" + who, iterate<IntMap, int>, Keys::kRandom);
  add("int_foreach/" + who, visit<IntMap, int>, Keys::kRandom);
  add("int_copy/" + who, copy<IntMap, int>, Keys::kRandom);
  addText<TextMap, Text>("text10", who, Keys::kShortText);
  addText<TextMap, Text>("text30", who, Keys::kLongText);
}

[[maybe_unused]] const bool s_registered = [] {
  addAll<Ours<kda_MapInt<int>, kda_MapIntIterator<int>>, Ours<kda_MapString<int>, kda_MapStringIterator<int>>,
         kda_string>("ours");
  add("int_iterate/floor", iterate<Floor, int>, Keys::kRandom);
  addAll<Peer<std::map<int, int>>, Peer<std::map<std::string, int>>, std::string>("std");
  addAll<Peer<absl::btree_map<int, int>>, Peer<absl::btree_map<std::string, int>>, std::string>("absl");
  return true;
}();

} // namespace
