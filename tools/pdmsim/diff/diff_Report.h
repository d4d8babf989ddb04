#pragma once

#include <pdmsim/diff/diff_Tolerance.h>
#include <pdmsim/diff/diff_Values.h>
#include <pdmsim/show/show_Values.h>

#include <iosfwd>
#include <set>
#include <string>
#include <vector>

/// What was compared, which is said in any case.
struct diff_Counts {
  long long nodes = 0, elements = 0, steps = 0;
  long long fields = 0, sets = 0, systems = 0, members = 0;
  std::uint64_t values = 0;
};

/// Gathers what two files differ in, in the order in which it is found.
class diff_Report {
 public:
  diff_Report(std::string a, std::string b, const diff_Tolerances& tolerances)
      : m_files{std::move(a), std::move(b)}, m_tolerances(tolerances) {}

  diff_Counts counts;

  /// True when nobody asked for it: it is left out, and named as such.
  bool Ignores(const std::string& path, const std::string& name);
  /// One thing that both files have, and have otherwise.
  /// \param part   of the thing, as "unit"; "" for the whole. It can be left out by the path "PATH/part".
  /// \param facts  what JSON says of it; gets "path" and "what".
  /// \param lines  what a person reads; the first one stands behind the path.
  void Differ(const std::string& path, const std::string& part, const show_Json& facts,
              std::vector<std::string> lines);
  /// Values that did not pass.
  /// \param where  of the worst: JSON facts, and a text as "node 17, step 3".
  void DifferInValues(const std::string& path, const std::string& name, bool integers,
                      const diff_Tally& tally, const show_Json& where, const std::string& text);
  /// What only the first (0) or the second (1) file has.
  /// \param kind  as "set".
  void Only(int side, const std::string& path, const std::string& kind);

  bool Same() const { return m_differences.empty() && m_only[0].empty() && m_only[1].empty(); }
  show_Json Json() const;
  void Print(std::ostream& out, bool summary) const;
  /// Writes a file of tolerances with which the values compared would have passed. Throws cli_Failure.
  void WriteTolerances(const std::string& file) const;

 private:
  struct Difference {
    show_Json facts;
    std::vector<std::string> lines;
  };
  struct Wanted {
    std::string path;
    diff_Tolerance tolerance;
    std::uint64_t hopeless;
  };
  std::string Compared() const;

  std::string m_files[2];
  const diff_Tolerances& m_tolerances;
  std::vector<Difference> m_differences;
  std::vector<std::pair<std::string, std::string>> m_only[2]; // path, kind
  std::set<std::string> m_ignored;
  std::vector<Wanted> m_wanted;
  std::size_t m_onlyNaN = 0; // differences that would be none if NaN equalled NaN
};

/// As "1 node" and "2 nodes".
std::string diff_Counted(std::uint64_t count, const std::string& what);
/// A number as JSON, what is not finite as a text.
show_Json diff_JsonNumber(double number);
