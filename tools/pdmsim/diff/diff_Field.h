#pragma once

#include <pdmsim/diff/diff_Rows.h>

#include <functional>
#include <set>

/// How the drawers of a field go over the steps of a simulation.
struct diff_Steps {
  const diff_Matching* frames = nullptr; // null: each drawer goes with the drawer of its number
  std::vector<double> times;             // of the first file's steps
  double abs = 0;                        // a difference that passes in any case
  bool constant = false;                 // one value for all time, whatever number of drawers it has
};

/// Fills the group and the sides of a column that belongs to a set of the mesh.
/// \param column  has its drawer, counted within the step, and its set.
using diff_Grouping = std::function<void(int side, const ORXSimPersistentDrawerDesc& drawer,
                                         const std::vector<diff_Column>& before, diff_Column& column)>;

/// Compares one field: units, shapes and types, then the values of all drawers, step by step, by what their
/// rows are for.
class diff_Field {
 public:
  diff_Field(diff_Files& files, std::string path, std::string name, ORXSimDistributionID a,
             ORXSimDistributionID b, const diff_Steps& steps, const diff_Grouping& grouping);
  void Compare();

 private:
  struct Shape {
    std::vector<ORXSimPersistentDrawerDesc> drawers;
    std::size_t columns = 0;
    bool constant = true;
  };
  struct Place { // of the worst value
    int drawer = 0, step = -1;
    std::size_t component = 0;
    std::size_t row = 0;
  };

  Shape ShapeOf(int side, std::size_t steps) const;
  void CompareSteps();
  void CompareStep(int step, std::size_t firstA, std::size_t countA, std::size_t firstB, std::size_t countB);
  std::vector<diff_Column> Columns(int side, std::size_t first, std::size_t count) const;
  void CompareDrawers(const ORXSimPersistentDrawerDesc& a, const ORXSimPersistentDrawerDesc& b, int drawer);
  void CompareRun(const diff_Run& run, int step, int drawerA, int drawerB);
  template <class T>
  void CompareValues(const diff_Run& run, int step, int drawer, const diff_Reader& a, const diff_Reader& b);
  void Part(const char* part, const std::string& a, const std::string& b, int drawer);
  void Finish();

  diff_Files& m_files;
  std::string m_path, m_name;
  ORXSimDistributionID m_id[2];
  const diff_Steps& m_steps;
  const diff_Grouping& m_grouping;
  diff_Tolerance m_tolerance[2]; // of real numbers, of integers
  Shape m_shape[2];
  std::vector<ORXSimCSetID> m_planned; // the sets that the plan is for
  std::shared_ptr<const diff_RowPlan> m_plan;
  diff_Tally m_tally;
  bool m_integers = true;
  Place m_worst;
  std::set<std::string> m_told;
};
