#pragma once

#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/mesh/mesh_Source.h>

#include <algorithm>
#include <type_traits>
#include <vector>

inline bool exp_IsInteger(const mesh_Numbers& numbers) {
  return numbers.NumberType() <= mesh_Numbers::Type::kLong;
}

/// Rows of any type as numbers of one.
template <class T>
void exp_ReadRows(const mesh_Numbers& numbers, std::size_t first, std::size_t count, T* out) {
  if (std::is_integral_v<T> || !exp_IsInteger(numbers))
    return numbers.Read(first, count, out);
  std::vector<long long> integers(count * numbers.Width());
  numbers.Read(first, count, integers.data());
  std::transform(integers.begin(), integers.end(), out, [](long long one) { return static_cast<T>(one); });
}

/// Rows that are moved at a time: some 4 MiB.
inline std::size_t exp_RowsAtATime(std::size_t rowBytes) {
  return std::max<std::size_t>(1, (std::size_t{4} << 20) / std::max<std::size_t>(1, rowBytes));
}

/// Reads all rows, a few MiB at a time.
/// \param use  called as use(first, count, const T* values) with ascending rows.
template <class T, class Use>
void exp_EachPiece(const mesh_Numbers& numbers, cli_Progress& progress, const Use& use) {
  const std::size_t rows = numbers.Rows(), width = numbers.Width();
  const std::size_t step = std::min(rows, exp_RowsAtATime(width * sizeof(T)));
  std::vector<T> values(step * width);
  for (std::size_t first = 0; first < rows; first += step) {
    const std::size_t count = std::min(step, rows - first);
    exp_ReadRows(numbers, first, count, values.data());
    use(first, count, values.data());
    progress.Advance(static_cast<double>(count * width * sizeof(T)));
  }
}

/// Reads the nodes of a block's elements, a few MiB at a time.
/// \param use  called as use(first, count, width, const int* nodes), -1 behind a polygon's last corner.
template <class Use>
void exp_EachNodes(const mesh_Source& mesh, const mesh_Block& block, cli_Progress& progress, const Use& use) {
  if (block.elements == 0 || block.nodesPerElement == 0)
    return;
  const auto connectivity = mesh.Connectivity(block);
  const std::size_t width = connectivity->Width();
  const std::size_t step = std::min(block.elements, exp_RowsAtATime(width * sizeof(int)));
  std::vector<int> nodes(step * width);
  for (std::size_t first = 0; first < block.elements; first += step) {
    const std::size_t count = std::min(step, block.elements - first);
    connectivity->Next(count, nodes.data());
    use(first, count, width, nodes.data());
    progress.Advance(static_cast<double>(count * width * sizeof(int)));
  }
}

/// The members of a set, all at once.
inline std::vector<int> exp_Members(const mesh_Source& mesh, const mesh_Set& set) {
  std::vector<int> members(set.size);
  if (!members.empty())
    mesh.ReadSet(set, 0, set.size, members.data());
  return members;
}

/// The sides of a side set, all at once.
inline std::vector<int> exp_Sides(const mesh_Source& mesh, const mesh_Set& set,
                                  const std::vector<int>& members) {
  std::vector<int> sides(set.size);
  if (!sides.empty())
    mesh.ReadSides(set, 0, set.size, members.data(), sides.data());
  return sides;
}
