#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

/// An index as one of memory.
constexpr std::size_t rnk_At(std::int64_t index) {
  return static_cast<std::size_t>(index);
}

/// What is numbered through over all ranks, in rank order: each rank has a range of its own, which may be
/// empty.
/// Threads: a value; each thread uses values of its own.
class rnk_Parts {
 public:
  rnk_Parts() : m_firsts(1) {}
  /// \param counts [ranks] how much each rank has.
  /// \param first  the number of the first of all.
  explicit rnk_Parts(const std::vector<std::int64_t>& counts, std::int64_t first = 0) : m_firsts(1, first) {
    for (const std::int64_t count : counts)
      m_firsts.push_back(m_firsts.back() + count);
  }

  std::int64_t First(int rank) const { return m_firsts[rnk_At(rank)]; }
  std::int64_t End(int rank) const { return m_firsts[rnk_At(rank) + 1]; }
  std::int64_t Count(int rank) const { return End(rank) - First(rank); }
  std::int64_t Begin() const { return m_firsts.front(); }
  std::int64_t End() const { return m_firsts.back(); }
  std::int64_t Total() const { return End() - Begin(); }
  bool Has(std::int64_t number) const { return number >= Begin() && number < End(); }
  bool Has(int rank, std::int64_t number) const { return number >= First(rank) && number < End(rank); }
  /// \param number one that Has() says yes to.
  int Owner(std::int64_t number) const {
    const auto after = std::upper_bound(m_firsts.begin(), m_firsts.end(), number);
    return static_cast<int>(after - m_firsts.begin()) - 1;
  }

 private:
  std::vector<std::int64_t> m_firsts; // [ranks + 1]
};
