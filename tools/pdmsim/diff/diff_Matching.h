#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// Which items of a collection of one file are which of the other.
class diff_Matching {
 public:
  /// By their numbers, as far as both go.
  diff_Matching(int countA, int countB);
  /// By labels, of which a second one goes with a second one. Equal lists cost one look at them.
  diff_Matching(std::vector<std::int64_t> a, std::vector<std::int64_t> b);
  /// By keys.
  diff_Matching(const std::vector<std::string>& a, const std::vector<std::string>& b);
  /// By times: each with the nearest, as far as that is within the tolerance.
  static diff_Matching ByTime(const std::vector<double>& a, const std::vector<double>& b, double tolerance);

  /// The same, whose items go by their numbers in texts.
  diff_Matching Nameless() && {
    m_labels[0].clear();
    m_labels[1].clear();
    return std::move(*this);
  }

  /// True when equal numbers are equal items, as far as both go.
  bool Identity() const { return m_to[0].empty() && m_to[1].empty(); }
  /// True when every item has another.
  bool Whole() const { return m_count[0] == m_count[1] && m_only[0] == 0 && m_only[1] == 0; }
  int Count(int side) const { return m_count[side]; }
  /// The item of the other file that an item is; -1 for none.
  int Other(int side, int item) const {
    if (item < 0 || item >= m_count[side])
      return -1;
    return Identity() ? (item < m_count[1 - side] ? item : -1) : m_to[side][static_cast<std::size_t>(item)];
  }
  /// Those that one file has alone.
  std::vector<int> Only(int side) const;
  bool HasLabels() const { return !m_labels[0].empty() || !m_labels[1].empty(); }
  /// What a person calls an item: its label, its key, or its number.
  std::string Name(int side, int item) const;

 private:
  template <class T>
  void Match(const std::vector<T>& a, const std::vector<T>& b);
  void Pair(int a, int b);

  int m_count[2] = {0, 0}, m_only[2] = {0, 0};
  std::vector<int> m_to[2];              // both empty: identity
  std::vector<std::int64_t> m_labels[2]; // [1] empty: as [0]
  std::vector<std::string> m_keys[2];
};
