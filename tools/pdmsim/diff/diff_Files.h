#pragma once

#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/diff/diff_Matching.h>
#include <pdmsim/diff/diff_Report.h>
#include <pdmsim/stored/sto_File.h>

#include <array>
#include <map>
#include <memory>

struct diff_RowPlan;

/// What is asked of a comparison.
struct diff_Wishes {
  diff_Tolerances tolerances;
  double timeTolerance = -1; // how far times of one step may be apart; below 0: 1e-9 of the greatest time
  bool nanEqual = false, byItem = false;
};

/// The two files that are compared, what is asked, and what was found so far.
///
/// Sides are 0 for the first file and 1 for the second.
class diff_Files {
 public:
  diff_Files(const sto_File& a, const sto_File& b, const diff_Wishes& wishes, diff_Report& report,
             cli_Progress& progress)
      : m_files{&a, &b}, m_wishes(wishes), m_report(report), m_progress(progress) {}

  const sto_File& File(int side) const { return *m_files[side]; }
  const diff_Wishes& Wishes() const { return m_wishes; }
  diff_Report& Report() const { return m_report; }
  cli_Progress& Progress() const { return m_progress; }

  /// Says that the items of two collections go together so. The first word counts.
  void Match(ORXSimCollectionID a, ORXSimCollectionID b, diff_Matching matching);
  bool HasMatch(ORXSimCollectionID a) const { return m_matchings.contains(a.Minor()); }
  /// How the items of two collections go together; collections that no object names go together by their
  /// names, and their items by their numbers.
  /// \return null when these two do not.
  const diff_Matching* Matching(ORXSimCollectionID a, ORXSimCollectionID b);
  /// What items of a collection are called, as "node".
  std::string Word(ORXSimCollectionID a) const;

  /// The members of a set in its order. Throws cli_Failure.
  std::vector<int> Members(ORXSimCSetID set) const;
  std::vector<ORXSimPersistentDrawerDesc> Drawers(ORXSimDistributionID id) const;
  /// True when two sets have the same members in the same order, as their collections go together, or each
  /// the whole of collections that go together item by item. Remembers what it found.
  bool SameRows(ORXSimCSetID a, ORXSimCSetID b);

  /// The plan that was made last, which mostly is the next field's too, and the sets that it is for.
  struct Planned {
    std::vector<ORXSimCSetID> a, b;
    std::shared_ptr<const diff_RowPlan> plan;
  };
  Planned& LastPlan() { return m_planned; }

 private:
  struct Pair {
    int other; // minor number of the collection of the second file
    diff_Matching matching;
  };
  const sto_File* m_files[2];
  const diff_Wishes& m_wishes;
  diff_Report& m_report;
  cli_Progress& m_progress;
  Planned m_planned;
  std::map<int, Pair> m_matchings; // by the minor number in the first file
  std::map<std::array<int, 4>, bool> m_same;
};

/// Ends the command: the store could not be read.
[[noreturn]] void diff_FailToRead();
inline std::size_t diff_Size(int n) {
  return static_cast<std::size_t>(n > 0 ? n : 0);
}
