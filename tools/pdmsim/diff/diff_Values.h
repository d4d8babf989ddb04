#pragma once

#include <pdmsim/diff/diff_Tolerance.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

/// The value that differs most of those that were compared.
struct diff_Worst {
  bool exists = false;
  std::size_t index = 0; // among those compared
  double a = 0, b = 0, difference = 0;
};

/// What was found in values of one name.
struct diff_Tally {
  std::uint64_t compared = 0, different = 0;
  std::uint64_t hopeless = 0; // of those, how many no tolerance lets pass: one is NaN or infinite
  std::uint64_t bothNaN = 0;  // of those, how many would pass if NaN equalled NaN
  diff_Worst worst;
};

namespace diff_values {

/// |a - b|, in full however great they are.
template <class T>
double Distance(T a, T b) {
  if constexpr (std::is_floating_point_v<T>)
    return std::fabs(double{a} - double{b});
  else
    return a > b ? static_cast<double>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b))
                 : static_cast<double>(static_cast<std::uint64_t>(b) - static_cast<std::uint64_t>(a));
}

/// No branches: a loop of it works on many values at once.
template <class T>
bool Passes(T a, T b, const diff_Tolerance& tolerance, bool nanEqual) {
  const double distance = Distance(a, b);
  const double x = std::fabs(static_cast<double>(a)), y = std::fabs(static_cast<double>(b));
  const double most = x > y ? x : y, scaled = tolerance.rel * most;
  const double limit = tolerance.abs > scaled ? tolerance.abs : scaled;
  bool passes = (a == b) | ((distance <= limit) & (distance < HUGE_VAL)) |
                ((x < tolerance.floor) & (y < tolerance.floor));
  if constexpr (std::is_floating_point_v<T>)
    passes |= nanEqual & (a != a) & (b != b);
  return passes;
}

/// How bad a difference is; what is not finite is worst of all.
inline double Rank(double difference) {
  return difference < HUGE_VAL ? difference : HUGE_VAL; // NaN is not below
}

constexpr std::size_t kBlock = 1024; // loops over so many have no rest, and work on several numbers at once

template <class T>
bool AllEqual(const T* a, const T* b) {
  std::size_t equal = 0;
  for (std::size_t i = 0; i < kBlock; ++i)
    equal += a[i] == b[i];
  return equal == kBlock;
}

template <class T>
void CompareBlock(const T* a, const T* b, std::size_t first, const diff_Tolerance& tolerance, bool nanEqual,
                  diff_Tally& tally) {
  if ((!std::is_floating_point_v<T> || nanEqual) && std::memcmp(a, b, kBlock * sizeof(T)) == 0)
    return;
  if (AllEqual(a, b))
    return;
  std::uint64_t different = 0, hopeless = 0, bothNaN = 0;
  double most = -1;
  for (std::size_t i = 0; i < kBlock; ++i) {
    const bool fails = !Passes(a[i], b[i], tolerance, nanEqual);
    const double rank = Rank(Distance(a[i], b[i])), counted = fails ? rank : -1;
    different += fails;
    hopeless += counted == HUGE_VAL;
    bothNaN += fails & (a[i] != a[i]) & (b[i] != b[i]);
    most = counted > most ? counted : most;
  }
  tally.different += different;
  tally.hopeless += hopeless;
  tally.bothNaN += bothNaN;
  if (different == 0 || (tally.worst.exists && most <= Rank(tally.worst.difference)))
    return;
  for (std::size_t i = 0; i < kBlock; ++i)
    if (const double distance = Distance(a[i], b[i]);
        Rank(distance) == most && !Passes(a[i], b[i], tolerance, nanEqual)) {
      tally.worst = {true, first + i, static_cast<double>(a[i]), static_cast<double>(b[i]), distance};
      return;
    }
}

} // namespace diff_values

/// Compares `count` numbers with as many others. NaN equals nothing, unless `nanEqual`, and then NaN.
/// Adds to the tally; tally.worst.index counts from the first of these.
template <class T>
void diff_Compare(const T* a, const T* b, std::size_t count, const diff_Tolerance& tolerance, bool nanEqual,
                  diff_Tally& tally) {
  using diff_values::kBlock;
  tally.compared += count;
  std::size_t at = 0;
  for (; at + kBlock <= count; at += kBlock)
    diff_values::CompareBlock(a + at, b + at, at, tolerance, nanEqual, tally);
  if (at == count)
    return;
  T first[kBlock] = {}, second[kBlock] = {}; // behind the rest all is equal
  std::memcpy(first, a + at, (count - at) * sizeof(T));
  std::memcpy(second, b + at, (count - at) * sizeof(T));
  diff_values::CompareBlock(first, second, at, tolerance, nanEqual, tally);
}

/// Adds what was found elsewhere.
/// \return true when the worst is now the other's.
inline bool diff_Join(diff_Tally& tally, const diff_Tally& other) {
  tally.compared += other.compared;
  tally.different += other.different;
  tally.hopeless += other.hopeless;
  tally.bothNaN += other.bothNaN;
  using diff_values::Rank;
  const bool worse = other.worst.exists &&
                     (!tally.worst.exists || Rank(other.worst.difference) > Rank(tally.worst.difference));
  if (worse)
    tally.worst = other.worst;
  return worse;
}
