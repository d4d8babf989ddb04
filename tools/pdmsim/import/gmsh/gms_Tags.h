#pragma once

#include <utility>
#include <vector>

/// Finds places by the user's numbers, however far these are apart.
class gms_Tags {
 public:
  using Alias = std::pair<long long, int>; // a number and the place that has it
  /// \param tags     of the places 0, 1, 2...
  /// \param aliases  further numbers of places.
  explicit gms_Tags(const std::vector<long long>& tags, std::vector<Alias> aliases = {});

  /// \return -1 for none.
  int Find(long long tag) const {
    const auto from = static_cast<unsigned long long>(tag) - static_cast<unsigned long long>(m_first);
    if (m_consecutive && from < m_count)
      return static_cast<int>(from);
    if (!m_dense.empty() && tag >= m_first && from < m_dense.size() && m_dense[from] >= 0)
      return m_dense[from];
    return m_sorted.empty() && m_aliases.empty() ? -1 : FindSlowly(tag);
  }
  /// A number that two places have, null when there is none.
  const long long* Twice() const { return m_hasTwice ? &m_twice : nullptr; }
  bool FromOne() const { return m_consecutive && m_first == 1; } // 1, 2, 3...

 private:
  int FindSlowly(long long tag) const;

  bool m_consecutive = true, m_hasTwice = false;
  long long m_first = 1, m_twice = 0;
  unsigned long long m_count = 0;
  std::vector<int> m_dense; // [tag - first], -1 for none
  std::vector<Alias> m_sorted, m_aliases;
};
