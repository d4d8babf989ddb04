#pragma once

#include <cstdint>
#include <string>

/// A small generator whose numbers are a function of the seed alone, on every machine.
class camp_Random {
 public:
  constexpr explicit camp_Random(std::uint64_t seed, std::uint64_t stream = 0)
      : m_state(seed * 0x9E3779B97F4A7C15u + stream * 0xD1B54A32D192ED03u + 1) {}

  std::uint64_t Next() {
    std::uint64_t z = m_state += 0x9E3779B97F4A7C15u;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
    z = (z ^ z >> 27) * 0x94D049BB133111EBu;
    return z ^ z >> 31;
  }
  /// 0 <= result < n; 0 for n <= 0.
  template <class T>
  T Below(T n) {
    return n <= 0 ? T{0} : static_cast<T>(Next() % static_cast<std::uint64_t>(n));
  }
  /// low <= result <= high.
  int Between(int low, int high) { return low + Below(high - low + 1); }
  /// True once in n times.
  bool OneIn(int n) { return Below(n) == 0; }

 private:
  std::uint64_t m_state;
};
