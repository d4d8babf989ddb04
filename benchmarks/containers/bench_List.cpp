// Appending one at a time against std::vector, growth included.

#include <kda/kda_List.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

template <class T>
struct OursList {
  kda_List<T> list;
  void Append(T value) { list.append(value, 1); }
  T& operator[](int i) { return list[i]; }
};

template <class T>
struct StdVector {
  std::vector<T> list;
  void Append(T value) { list.push_back(value); }
  T& operator[](int i) { return list[static_cast<std::size_t>(i)]; }
};

template <class List, class T>
void append(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    List list;
    for (int i = 0; i < n; ++i)
      list.Append(static_cast<T>(i));
    benchmark::DoNotOptimize(list[n - 1]);
    benchmark::ClobberMemory();
  }
}

template <class List, class T>
void add(const char* name) {
  benchmark::RegisterBenchmark(name, append<List, T>)
      ->Arg(100)
      ->Arg(10'000)
      ->Arg(1'000'000)
      ->MeasureProcessCPUTime()
      ->MinTime(0.1);
}

[[maybe_unused]] const bool s_registered = [] {
  add<OursList<int>, int>("list_append_int/ours");
  add<StdVector<int>, int>("list_append_int/std");
  add<OursList<long long>, long long>("list_append_8_bytes/ours");
  add<StdVector<long long>, long long>("list_append_8_bytes/std");
  return true;
}();

} // namespace
