#pragma once

#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/import/imp_Sets.h>
#include <pdmsim/import/imp_Store.h>

#include <algorithm>
#include <vector>

/// Where a copy goes: rows of one drawer.
struct imp_Target {
  const imp_Store& store;
  cli_Progress& progress;
  ORXSimDistributionID distribution;
  int drawer;
};

/// Rows moved at a time: some 4 MiB of them.
template <class T>
std::size_t imp_RowsAtATime(std::size_t width) {
  return std::max<std::size_t>(1, (std::size_t{4} << 20) / (sizeof(T) * width));
}

/// Writes `rows` rows of `width` numbers into a drawer, from its row `to` on, a few MiB at a time.
/// \param read read(first, count, out) fills out with [count][width] numbers; called with ascending rows.
template <class T, class Read>
void imp_CopyRows(const imp_Target& target, std::size_t to, std::size_t rows, std::size_t width,
                  const Read& read) {
  const std::size_t step = imp_RowsAtATime<T>(width);
  std::vector<T> values;
  for (std::size_t first = 0; first < rows; first += step) {
    const std::size_t count = std::min(step, rows - first);
    values.resize(count * width);
    read(first, count, values.data());
    target.store.Write(target.distribution, target.drawer, to + first, values, count);
    target.progress.Advance(static_cast<double>(sizeof(T) * values.size()));
  }
}

/// As above, for the rows of a piece: of those that `read` gives, only the piece's own are written.
template <class T, class Read>
void imp_CopyPiece(const imp_Target& target, std::size_t to, const imp_Piece& piece, std::size_t width,
                   const Read& read) {
  if (piece.rows.empty())
    return imp_CopyRows<T>(target, to, piece.size, width, read);
  std::vector<T> source;
  imp_CopyRows<T>(target, to, piece.size, width, [&](std::size_t first, std::size_t count, T* out) {
    const std::size_t step = imp_RowsAtATime<T>(width);
    const auto row = [&](std::size_t i) { return static_cast<std::size_t>(piece.rows[i]); };
    for (std::size_t i = first; i < first + count;) {
      const std::size_t begin = row(i), end = std::min(begin + step, row(first + count - 1) + 1);
      source.resize((end - begin) * width);
      read(begin, end - begin, source.data());
      for (; i < first + count && row(i) < end; ++i)
        out = std::copy_n(&source[(row(i) - begin) * width], width, out);
    }
  });
}
