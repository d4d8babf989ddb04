#pragma once

#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/import/imp_Sets.h>
#include <pdmsim/import/imp_Store.h>

#include <algorithm>
#include <memory>
#include <vector>

/// Memory that one copy after the other uses.
class imp_Room {
 public:
  /// Room for n numbers, whose values are undefined; valid until the next call.
  template <class T>
  T* For(std::size_t n) {
    if (n * sizeof(T) > m_size) {
      m_size = n * sizeof(T);
      m_bytes = std::make_unique_for_overwrite<unsigned char[]>(m_size);
    }
    return reinterpret_cast<T*>(m_bytes.get());
  }

 private:
  std::unique_ptr<unsigned char[]> m_bytes;
  std::size_t m_size = 0;
};

/// Where a copy goes: rows of one drawer.
struct imp_Target {
  imp_Room& room;
  cli_Progress& progress;
  ORXSimOpenDrawer drawer;
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
  // Pieces end where rows of another checksum begin, so that nothing has to be looked at twice.
  const auto block = static_cast<std::size_t>(target.drawer.BlockRows());
  const std::size_t step = std::max(imp_RowsAtATime<T>(width) / block, std::size_t{1}) * block;
  for (std::size_t first = 0; first < rows;) {
    const std::size_t count = std::min(step - (to + first) % block, rows - first);
    T* const values = target.room.For<T>(count * width);
    read(first, count, values);
    imp_Store::Write(target.drawer, to + first, count, values, sizeof(T) * count * width);
    target.progress.Advance(static_cast<double>(sizeof(T) * count * width));
    first += count;
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
