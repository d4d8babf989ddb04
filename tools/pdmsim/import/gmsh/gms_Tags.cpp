#include <pdmsim/import/gmsh/gms_Tags.h>

#include <algorithm>

gms_Tags::gms_Tags(const std::vector<long long>& tags, std::vector<Alias> aliases)
    : m_count(tags.size()), m_aliases(std::move(aliases)) {
  std::sort(m_aliases.begin(), m_aliases.end());
  constexpr unsigned long long kSparse = 4; // times as many numbers as places
  if (tags.empty())
    return;
  const auto [least, greatest] = std::minmax_element(tags.begin(), tags.end());
  m_first = *least;
  for (std::size_t i = 0; i < tags.size() && m_consecutive; ++i)
    m_consecutive = static_cast<unsigned long long>(tags[i]) == static_cast<unsigned long long>(m_first) + i;
  if (m_consecutive)
    return;
  const auto twice = [this](long long tag) {
    m_hasTwice = true;
    m_twice = tag;
  };
  const auto range = static_cast<unsigned long long>(*greatest) - static_cast<unsigned long long>(*least);
  if (range < kSparse * m_count) {
    m_dense.assign(range + 1, -1);
    for (std::size_t i = 0; i < tags.size(); ++i) {
      int& place = m_dense[static_cast<std::size_t>(tags[i] - m_first)];
      if (place >= 0)
        twice(tags[i]);
      place = static_cast<int>(i);
    }
    return;
  }
  m_sorted.reserve(tags.size());
  for (std::size_t i = 0; i < tags.size(); ++i)
    m_sorted.emplace_back(tags[i], static_cast<int>(i));
  std::sort(m_sorted.begin(), m_sorted.end());
  for (std::size_t i = 1; i < m_sorted.size(); ++i)
    if (m_sorted[i].first == m_sorted[i - 1].first)
      twice(m_sorted[i].first);
}

int gms_Tags::FindSlowly(long long tag) const {
  for (const auto* list : {&m_sorted, &m_aliases}) {
    const auto found = std::lower_bound(list->begin(), list->end(), Alias(tag, -1));
    if (found != list->end() && found->first == tag)
      return found->second;
  }
  return -1;
}
