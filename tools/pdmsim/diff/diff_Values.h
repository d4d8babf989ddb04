#pragma once

#include <pdmsim/diff/diff_Tolerance.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
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
  bool passes = (a == b) | ((distance <= limit) & (distance < std::numeric_limits<double>::infinity())) |
                ((x < tolerance.floor) & (y < tolerance.floor));
  if constexpr (std::is_floating_point_v<T>)
    passes |= nanEqual & (a != a) & (b != b);
  return passes;
}

/// True when the first is worse; what is not finite is worst of all.
inline bool Worse(const diff_Worst& one, const diff_Worst& other) {
  const auto rank = [](double difference) { return std::isfinite(difference) ? difference : HUGE_VAL; };
  return one.exists && (!other.exists || rank(one.difference) > rank(other.difference));
}

template <class T>
void Note(T a, T b, std::size_t index, diff_Tally& tally) {
  const double distance = Distance(a, b);
  ++tally.different;
  tally.hopeless += !std::isfinite(distance);
  const diff_Worst found{true, index, static_cast<double>(a), static_cast<double>(b), distance};
  if (Worse(found, tally.worst))
    tally.worst = found;
}

} // namespace diff_values

/// Compares `count` numbers with as many others. NaN equals nothing, unless `nanEqual`, and then NaN.
/// Adds to the tally; tally.worst.index counts from the first of these.
template <class T>
void diff_Compare(const T* a, const T* b, std::size_t count, const diff_Tolerance& tolerance, bool nanEqual,
                  diff_Tally& tally) {
  constexpr std::size_t kBlock = 2048;
  tally.compared += count;
  for (std::size_t at = 0; at < count; at += kBlock) {
    const std::size_t end = at + kBlock < count ? at + kBlock : count;
    if ((!std::is_floating_point_v<T> || nanEqual) &&
        std::memcmp(a + at, b + at, (end - at) * sizeof(T)) == 0)
      continue;
    std::size_t equal = 0;
    for (std::size_t i = at; i < end; ++i)
      equal += a[i] == b[i];
    if (equal == end - at)
      continue;
    std::size_t passed = 0;
    for (std::size_t i = at; i < end; ++i)
      passed += diff_values::Passes(a[i], b[i], tolerance, nanEqual);
    if (passed == end - at)
      continue;
    for (std::size_t i = at; i < end; ++i)
      if (!diff_values::Passes(a[i], b[i], tolerance, nanEqual))
        diff_values::Note(a[i], b[i], i, tally);
  }
}

/// Adds what was found elsewhere.
/// \return true when the worst is now the other's.
inline bool diff_Join(diff_Tally& tally, const diff_Tally& other) {
  tally.compared += other.compared;
  tally.different += other.different;
  tally.hopeless += other.hopeless;
  const bool worse = diff_values::Worse(other.worst, tally.worst);
  if (worse)
    tally.worst = other.worst;
  return worse;
}
