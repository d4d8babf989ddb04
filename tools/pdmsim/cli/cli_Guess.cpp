#include <pdmsim/cli/cli_Guess.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <numeric>

namespace {

constexpr std::size_t kMostGuesses = 3, kMostNames = 8, kLongest = 100;

std::string Lower(std::string text) {
  text.resize(std::min(text.size(), kLongest));
  for (char& c : text)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

/// Letters to change, add, leave out or swap with the next one.
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> before(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        row[j] = std::min(row[j], before[j - 2] + 1);
    }
    before.swap(last);
    last.swap(row);
  }
  return last.back();
}

} // namespace

std::vector<std::string> cli_Nearest(const std::string& word, const std::vector<std::string>& names) {
  const std::string meant = Lower(word);
  std::vector<std::pair<std::size_t, std::string>> near;
  for (const std::string& name : names) {
    const std::string other = Lower(name);
    const std::size_t distance = Distance(meant, other);
    if (distance <= std::max<std::size_t>(1, meant.size() / 3))
      near.emplace_back(distance, name);
    else if (!meant.empty() && (other.starts_with(meant) || meant.starts_with(other)) && !other.empty())
      near.emplace_back(distance + meant.size(), name);
  }
  std::sort(near.begin(), near.end());
  std::vector<std::string> nearest;
  for (std::size_t i = 0; i < std::min(near.size(), kMostGuesses); ++i)
    nearest.push_back(near[i].second);
  return nearest;
}

std::string cli_Guess(const std::string& word, const std::vector<std::string>& names) {
  const std::vector<std::string> nearest = cli_Nearest(word, names);
  std::string text;
  for (const std::string& name : nearest)
    text += (text.empty() ? ": did you mean '" : " or '") + name + "'";
  if (!text.empty())
    return text + "?";
  for (std::size_t i = 0; i < std::min(names.size(), kMostNames); ++i)
    text += (i == 0 ? "; there are " : ", ") + names[i];
  return names.size() > kMostNames ? text + " … " + std::to_string(names.size() - kMostNames) + " more"
                                   : text;
}
