#include <pdmsim/diff/diff_Matching.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

/// Places in ascending order of what stands there, equal ones in their own order.
template <class T>
std::vector<int> ascending(const std::vector<T>& values) {
  std::vector<int> order(values.size());
  std::iota(order.begin(), order.end(), 0);
  const auto less = [&](int i, int j) {
    return values[static_cast<std::size_t>(i)] < values[static_cast<std::size_t>(j)];
  };
  if (!std::is_sorted(values.begin(), values.end()))
    std::stable_sort(order.begin(), order.end(), less);
  return order;
}

} // namespace

diff_Matching::diff_Matching(int countA, int countB) : m_count{countA, countB} {
  m_only[0] = std::max(0, countA - countB);
  m_only[1] = std::max(0, countB - countA);
}

diff_Matching::diff_Matching(std::vector<std::int64_t> a, std::vector<std::int64_t> b)
    : diff_Matching(static_cast<int>(a.size()), static_cast<int>(b.size())) {
  if (a != b) {
    Match(a, b);
    m_labels[1] = std::move(b);
  }
  m_labels[0] = std::move(a);
}

diff_Matching::diff_Matching(const std::vector<std::string>& a, const std::vector<std::string>& b)
    : diff_Matching(static_cast<int>(a.size()), static_cast<int>(b.size())) {
  m_keys[0] = a;
  m_keys[1] = b;
  if (a != b)
    Match(a, b);
}

void diff_Matching::Pair(int a, int b) {
  m_to[0][static_cast<std::size_t>(a)] = b;
  m_to[1][static_cast<std::size_t>(b)] = a;
  --m_only[0];
  --m_only[1];
}

template <class T>
void diff_Matching::Match(const std::vector<T>& a, const std::vector<T>& b) {
  for (const int side : {0, 1}) {
    m_to[side].assign(static_cast<std::size_t>(m_count[side]), -1);
    m_only[side] = m_count[side];
  }
  const std::vector<int> first = ascending(a), second = ascending(b);
  for (std::size_t i = 0, k = 0; i < first.size() && k < second.size();) {
    const T &x = a[static_cast<std::size_t>(first[i])], &y = b[static_cast<std::size_t>(second[k])];
    if (x < y)
      ++i;
    else if (y < x)
      ++k;
    else
      Pair(first[i++], second[k++]);
  }
}

diff_Matching diff_Matching::ByTime(const std::vector<double>& a, const std::vector<double>& b,
                                    double tolerance) {
  diff_Matching found(static_cast<int>(a.size()), static_cast<int>(b.size()));
  const auto finite = [](double time) { return std::isfinite(time); };
  if (a == b || !std::all_of(a.begin(), a.end(), finite) || !std::all_of(b.begin(), b.end(), finite))
    return found; // there is no order of NaN
  for (const int side : {0, 1}) {
    found.m_to[side].assign(static_cast<std::size_t>(found.m_count[side]), -1);
    found.m_only[side] = found.m_count[side];
  }
  const std::vector<int> first = ascending(a), second = ascending(b);
  const auto apart = [&](std::size_t i, std::size_t k) {
    return i < first.size() && k < second.size()
               ? std::fabs(a[static_cast<std::size_t>(first[i])] - b[static_cast<std::size_t>(second[k])])
               : HUGE_VAL;
  };
  for (std::size_t i = 0, k = 0; i < first.size() && k < second.size();) {
    const bool pass = apart(i, k) <= tolerance;
    if (pass && apart(i, k + 1) >= apart(i, k) && apart(i + 1, k) >= apart(i, k))
      found.Pair(first[i++], second[k++]);
    else if (pass ? apart(i + 1, k) < apart(i, k)
                  : a[static_cast<std::size_t>(first[i])] < b[static_cast<std::size_t>(second[k])])
      ++i;
    else
      ++k;
  }
  return found;
}

std::vector<int> diff_Matching::Only(int side) const {
  std::vector<int> items;
  for (int item = 0; m_only[side] > 0 && item < m_count[side]; ++item)
    if (Other(side, item) < 0)
      items.push_back(item);
  return items;
}

std::string diff_Matching::Name(int side, int item) const {
  const auto place = static_cast<std::size_t>(item);
  if (!m_keys[side].empty())
    return place < m_keys[side].size() ? m_keys[side][place] : std::to_string(item);
  const auto& labels = m_labels[side].empty() && Identity() ? m_labels[0] : m_labels[side];
  return std::to_string(place < labels.size() ? labels[place] : item);
}
