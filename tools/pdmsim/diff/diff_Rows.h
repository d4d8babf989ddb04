#pragma once

#include <pdmsim/diff/diff_Files.h>

#include <algorithm>

/// One drawer of a step: a part of the rows that a field has there.
struct diff_Column {
  int drawer = 0;
  ORXSimCSetID set;
  std::string group;      // rows go together within a group only: the set that they are for, "" for none
  std::vector<int> sides; // [rows] what tells rows of one item apart; empty: nothing does
};

/// Rows of a drawer of the first file and the rows of a drawer of the second that go with them.
struct diff_Run {
  std::size_t a = 0, b = 0;     // the columns
  std::vector<int> rows, other; // both empty: all rows, in the same order
};

/// How the rows of a step go together.
struct diff_RowPlan {
  std::vector<diff_Run> runs;
  std::size_t only[2] = {0, 0}; // rows of items that both files have, for which one has none
  std::string first[2];         // the first of them, as "node 17"
  bool apart = false;           // they are over collections that do not go together
};

/// Matches the rows of a step by the items that they are for, drawers in any division.
std::shared_ptr<const diff_RowPlan> diff_PlanRows(diff_Files& files, const std::vector<diff_Column>& a,
                                                  const std::vector<diff_Column>& b);

/// Reads a drawer in pieces.
class diff_Reader {
 public:
  diff_Reader(ORXSimDistributionID id, int drawer);

  ORXSimItemType Type() const { return m_drawer.Type(); }
  std::size_t Rows() const { return diff_Size(m_drawer.Items()); }
  std::size_t Width() const { return diff_Size(m_drawer.Components()); }
  /// Rows of a piece of a few MiB that costs least.
  std::size_t Piece() const;
  /// Reads rows as numbers of T. Throws cli_Failure.
  template <class T>
  void Read(std::size_t first, std::size_t count, std::vector<T>& out, cli_Progress& progress) const;

 private:
  template <class Stored, class T>
  void Convert(std::size_t first, std::size_t count, std::vector<T>& out) const;

  ORXSimOpenDrawer m_drawer;
};

/// The rows of those numbers, one after the other.
/// \param begin  the number of the row that `from` begins with.
template <class T>
void diff_Gather(const T* from, std::size_t begin, std::size_t width, const int* rows, std::size_t count,
                 std::vector<T>& out) {
  out.resize(count * width);
  if (width == 1)
    for (std::size_t i = 0; i < count; ++i)
      out[i] = from[diff_Size(rows[i]) - begin];
  else
    for (std::size_t i = 0; i < count; ++i)
      std::copy_n(from + (diff_Size(rows[i]) - begin) * width, width, out.data() + i * width);
}

/// Hands out two drawers' rows that go together, piece by piece.
/// \param f  gets the numbers of both, [rows][width of each], how many rows they are, and a function that
///           says which row of the first drawer the i-th is.
template <class T, class F>
void diff_ForEachPiece(const diff_Run& run, const diff_Reader& a, const diff_Reader& b,
                       cli_Progress& progress, F&& f) {
  std::vector<T> first, second, gathered, whole;
  if (run.rows.empty()) {
    const std::size_t piece = std::min(a.Piece(), b.Piece()), rows = std::min(a.Rows(), b.Rows());
    for (std::size_t at = 0; at < rows; at += piece) {
      const std::size_t count = std::min(piece, rows - at);
      a.Read(at, count, first, progress);
      b.Read(at, count, second, progress);
      f(first.data(), second.data(), count, [&](std::size_t i) { return at + i; });
    }
    return;
  }
  b.Read(0, b.Rows(), whole, progress);
  const std::size_t piece = a.Piece(), width = a.Width(), other = b.Width();
  for (std::size_t at = 0; at < run.rows.size();) {
    const std::size_t begin = diff_Size(run.rows[at]) / piece * piece,
                      count = std::min(piece, a.Rows() - begin);
    a.Read(begin, count, first, progress);
    const auto after = std::lower_bound(run.rows.begin() + static_cast<std::ptrdiff_t>(at), run.rows.end(),
                                        static_cast<int>(begin + count));
    const auto end = static_cast<std::size_t>(after - run.rows.begin());
    const T* mine = first.data(); // as it stands, where no row of the piece is missing
    if (end - at < count) {
      diff_Gather(first.data(), begin, width, &run.rows[at], end - at, gathered);
      mine = gathered.data();
    }
    diff_Gather(whole.data(), 0, other, &run.other[at], end - at, second);
    f(mine, second.data(), end - at, [&](std::size_t i) { return diff_Size(run.rows[at + i]); });
    at = end;
  }
}
