#include <pdmsim/diff/diff_Tolerance.h>

#include <pdmsim/cli/cli_Failure.h>

#include <nlohmann/json.hpp>

#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fnmatch.h>
#include <fstream>
#include <sstream>

namespace {

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

bool fits(const std::string& pattern, const std::string& path, const std::string& name) {
  const auto one = [&](const std::string& text) { return fnmatch(pattern.c_str(), text.c_str(), 0) == 0; };
  return one(path) || one(name) || one(diff_Short(path));
}

[[noreturn]] void refuse(const std::string& where, const std::string& expected, const std::string& found) {
  throw cli_Failure(cli_Exit::kNotThere, where + ": expected " + expected + ", found '" + found + "'");
}

} // namespace

std::string diff_Short(const std::string& path) {
  return path.starts_with(diff_MeshPath) ? path.substr(diff_MeshPath.size()) : path;
}

std::string diff_Number(double number) {
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

void diff_Tolerances::AddTerm(const std::string& where, Rule& rule, const std::string& key,
                              const std::string& value) const {
  std::optional<double>* const term = key == "abs"     ? &rule.abs
                                      : key == "rel"   ? &rule.rel
                                      : key == "floor" ? &rule.floor
                                                       : nullptr;
  if (term == nullptr)
    refuse(where, "abs, rel, floor or ignore", key);
  double number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  if (error != std::errc() || end != value.data() + value.size() || !std::isfinite(number) || number < 0)
    refuse(where, "a number of 0 or more for " + key, value);
  *term = number;
}

void diff_Tolerances::Add(const std::string& where, const std::string& text) {
  const auto equals = text.rfind('=');
  if (equals == std::string::npos || trimmed(text.substr(0, equals)).empty())
    refuse(where, "PATTERN=rel:1e-4,abs:1e-9,floor:1e-12 or PATTERN=ignore", text);
  Rule rule{trimmed(text.substr(0, equals)), {}, {}, {}, false};
  std::istringstream terms(text.substr(equals + 1));
  std::string term;
  while (std::getline(terms, term, ',')) {
    term = trimmed(term);
    const auto colon = term.find(':');
    if (term == "ignore")
      rule.ignore = true;
    else
      AddTerm(where, rule, trimmed(term.substr(0, colon)),
              colon == std::string::npos ? "" : trimmed(term.substr(colon + 1)));
  }
  if (!rule.ignore && !rule.abs && !rule.rel && !rule.floor)
    refuse(where, "a tolerance behind the '='", text);
  m_rules.push_back(std::move(rule));
}

void diff_Tolerances::Read(const std::string& file) {
  std::ifstream in(file);
  std::error_code unknown;
  if (!in || std::filesystem::is_directory(file, unknown))
    throw cli_Failure(cli_Exit::kUnusable, file + ": " + std::strerror(in ? EISDIR : errno));
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first != std::string::npos && text[first] == '{') {
    const auto json = nlohmann::ordered_json::parse(text, nullptr, false);
    if (json.is_discarded())
      refuse(file, "JSON", "something that is none");
    for (const auto& [pattern, terms] : json.items()) {
      Rule rule{pattern, {}, {}, {}, terms == "ignore"};
      if (!rule.ignore && (!terms.is_object() || terms.empty()))
        refuse(file, "{\"abs\": ..., \"rel\": ..., \"floor\": ...} or \"ignore\" for " + pattern,
               terms.dump());
      if (!rule.ignore)
        for (const auto& [key, value] : terms.items())
          AddTerm(file, rule, key, value.dump());
      m_rules.push_back(std::move(rule));
    }
    return;
  }
  std::istringstream lines(text);
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number)
    if (line = trimmed(line); !line.empty() && line[0] != '#')
      Add(file + ", line " + std::to_string(number), line);
}

diff_Tolerance diff_Tolerances::Of(const std::string& path, const std::string& name, bool integers) const {
  diff_Tolerance found = integers ? diff_Tolerance() : others;
  for (const Rule& rule : m_rules)
    if (!rule.ignore && fits(rule.pattern, path, name)) {
      found.abs = rule.abs.value_or(found.abs);
      found.rel = rule.rel.value_or(found.rel);
      found.floor = rule.floor.value_or(found.floor);
    }
  return found;
}

bool diff_Tolerances::Ignores(const std::string& path, const std::string& name) const {
  for (const Rule& rule : m_rules)
    if (rule.ignore && fits(rule.pattern, path, name))
      return true;
  return false;
}

std::string diff_Tolerances::Pattern(const std::string& path) {
  std::string pattern;
  for (const char c : path) {
    if (std::strchr("*?[]\\", c) != nullptr)
      pattern += '\\';
    pattern += static_cast<unsigned char>(c) < 0x20 ? '?' : c; // a line is a rule
  }
  if (trimmed(pattern) != pattern || pattern.starts_with('#'))
    pattern.front() = '?';
  if (trimmed(pattern) != pattern)
    pattern.back() = '?';
  return pattern;
}
