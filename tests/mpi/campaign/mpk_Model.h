#pragma once

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <iterator>
#include <map>
#include <string>
#include <vector>

/// A drawer of the file that the jobs work on: its rows, and the step that makes it. Drawer 0 has the step.
struct mpk_Shape {
  int rows, components, birth;
};
// Some alike, so that one may get the space that another has given up; small ones beside large ones.
constexpr mpk_Shape kMpkShapes[] = {{1, 1, 1},     {3, 2, 1},   {40000, 3, 1}, {40000, 3, 1},
                                    {8315, 1, 2},  {300, 1, 3}, {20000, 3, 4}, {40000, 3, 5},
                                    {90000, 2, 7}, {5, 1, 7},   {17000, 1, 9}};
constexpr int kMpkDrawers = static_cast<int>(std::size(kMpkShapes));

/// What the file holds after a step: a pure function of its number.
class mpk_Model {
 public:
  explicit mpk_Model(int step = 0);
  int Step() const { return m_step; }
  /// Drawers that there are.
  int Drawers() const;
  void Advance();
  /// What the next step does to a drawer: all of its rows anew, or one row (-1: none).
  static bool Writes(int step, int drawer);
  static int Touches(int step, int drawer);
  double Number(int drawer, int row, int component) const;
  std::vector<double> Numbers(int drawer, const std::vector<std::int32_t>& rows) const;
  /// Makes all numbers others: those of an update that shall be taken back.
  void Spoil();

  /// Holds a file against the step that it says it has.
  /// \return the step; -1 with the cause told.
  static int Check(ORXSimContextID context, std::string& cause);

 private:
  static unsigned Mix(int step, int drawer);

  struct Content {
    int whole = 0;           // the step that wrote it
    std::map<int, int> rows; // and those written after it
  };
  int m_step = 0;
  Content m_drawers[kMpkDrawers];
};
