#pragma once

#include <mpi/ORXSim_RankTransfer.h>
#include <mpi/ORXSim_RankUpdate.h>

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>
#include <support/sys_Directory.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

/// How the rows of a drawer lie on the ranks.
enum class mpi_Split { kEven, kUneven, kBackwards, kOne, kDealt }; // dealt: in lists, like cards

/// This rank's rows of n, in the order of its buffer.
inline std::vector<std::int32_t> mpi_RowsOf(mpi_Split split, int n, int rank, int ranks) {
  std::int64_t first = std::int64_t{n} * rank / ranks, end = std::int64_t{n} * (rank + 1) / ranks;
  std::vector<std::int32_t> rows;
  if (split == mpi_Split::kDealt) {
    for (int row = rank; row < n; row += ranks)
      rows.push_back(row);
    std::reverse(rows.begin(), rows.end());
    return rows;
  }
  if (split == mpi_Split::kUneven) { // the first ranks have few rows of the first block, the last all others
    first = std::min<std::int64_t>(n, 7 * rank);
    end = rank == ranks - 1 ? n : std::min<std::int64_t>(n, 7 * (rank + 1));
  } else if (split == mpi_Split::kBackwards) {
    const std::int64_t from = n - end;
    end = n - first;
    first = from;
  } else if (split == mpi_Split::kOne) {
    first = rank == ranks / 2 ? 0 : n;
    end = n;
  }
  rows.resize(static_cast<std::size_t>(end - first));
  std::iota(rows.begin(), rows.end(), static_cast<std::int32_t>(first));
  return rows;
}

/// The number at a place of a drawer, by what was written last.
inline double mpi_Number(int row, int component, int version) {
  return row * 8.0 + component + version * 1e9;
}

/// Rows of a drawer as numbers.
inline std::vector<double> mpi_Numbers(const std::vector<std::int32_t>& rows, int components, int version) {
  std::vector<double> numbers;
  for (const std::int32_t row : rows)
    for (int i = 0; i < components; ++i)
      numbers.push_back(mpi_Number(row, i, version));
  return numbers;
}

/// A directory that all ranks know, gone with rank 0's.
class mpi_Directory {
 public:
  explicit mpi_Directory(const char* where = "/dev/shm") {
    int rank = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    char name[256] = {};
    if (rank == 0) {
      m_own = std::make_unique<sys_Directory>(where);
      m_own->Name().copy(name, sizeof name - 1);
    }
    MPI_Bcast(name, sizeof name, MPI_CHAR, 0, MPI_COMM_WORLD);
    m_name = name;
  }
  ~mpi_Directory() { MPI_Barrier(MPI_COMM_WORLD); }
  std::string Path(const std::string& name) const { return m_name + '/' + name; }

 private:
  std::unique_ptr<sys_Directory> m_own;
  std::string m_name;
};

/// Moves this rank's rows of one drawer, by a split. `rows` become the rank's.
inline void mpi_SetRows(ORXSimRankTransfer& transfer, mpi_Split split,
                        const std::vector<std::int32_t>& rows) {
  if (split == mpi_Split::kDealt)
    transfer.SetRows(rows);
  else
    transfer.SetRows(rows.empty() ? 0 : rows.front(), static_cast<std::int64_t>(rows.size()));
}
