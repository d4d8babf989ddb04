#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the paths below the mesh begin with.
inline constexpr std::string_view diff_MeshPath = "discreteModel/mesh/";

/// What two numbers may differ by and still pass: |a - b| <= max(abs, rel max(|a|, |b|)), or |a| and |b| both
/// under the floor. All zero: they must be equal.
struct diff_Tolerance {
  double abs = 0, rel = 0, floor = 0;
};

/// The tolerances of a comparison by the names of what is compared, and what of it is left out.
///
/// Patterns have the wildcards *, ? and [...] of a shell, of which * goes over slashes too; a backslash takes
/// a wildcard's meaning away. One fits what is compared when it fits its path, its path below the mesh, or
/// the last name of the path.
class diff_Tolerances {
 public:
  /// What holds where no rule says otherwise.
  diff_Tolerance others;

  /// Adds a rule PATTERN=abs:X,rel:Y,floor:Z, of which any may be missing, or PATTERN=ignore. Later rules win
  /// over earlier ones. Throws cli_Failure for what is no rule.
  /// \param where  what a complaint begins with.
  void Add(const std::string& where, const std::string& rule);
  /// Adds the rules of a file: a rule a line, or a JSON object. Throws cli_Failure.
  void Read(const std::string& file);
  void Ignore(const std::string& pattern) { m_rules.push_back({pattern, {}, {}, {}, true}); }

  /// \param name  the path's last name, which may have slashes in it.
  /// \param integers  true: `others` is not for them.
  diff_Tolerance Of(const std::string& path, const std::string& name, bool integers) const;
  bool Ignores(const std::string& path, const std::string& name) const;

  /// A path as a pattern that fits it.
  static std::string Pattern(const std::string& path);

 private:
  struct Rule {
    std::string pattern;
    std::optional<double> abs, rel, floor;
    bool ignore = false;
  };
  void AddTerm(const std::string& where, Rule& rule, const std::string& key, const std::string& value) const;

  std::vector<Rule> m_rules;
};

/// A path without the words that all paths of a mesh begin with.
std::string diff_Short(const std::string& path);
/// A number in as few digits as tell it from every other.
std::string diff_Number(double number);
