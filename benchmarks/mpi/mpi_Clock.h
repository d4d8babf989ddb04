#pragma once

#include <mpi.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

/// The share of one rank in numbers of 8 bytes, three a row, and the time that all need together.
class mpi_Share {
 public:
  explicit mpi_Share(std::int64_t megabytes) : rows(megabytes * 1000000 / 24) {
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &size);
    first = rows * rank / size;
    count = rows * (rank + 1) / size - first;
    numbers.resize(static_cast<std::size_t>(3 * count));
    for (std::size_t i = 0; i < numbers.size(); ++i)
      numbers[i] = static_cast<double>(first) + static_cast<double>(i);
  }
  std::int64_t Bytes() const { return 24 * count; }

  /// Seconds from the moment at which all begin to that at which the last ends.
  template <class Work>
  static double Time(Work work) {
    MPI_Barrier(MPI_COMM_WORLD);
    const double start = MPI_Wtime();
    const bool good = work();
    MPI_Barrier(MPI_COMM_WORLD);
    const double took = MPI_Wtime() - start;
    if (!good)
      Fail("a run failed");
    return took;
  }
  [[noreturn]] static void Fail(const char* why) {
    std::fprintf(stderr, "%s\n", why);
    MPI_Abort(MPI_COMM_WORLD, 1);
    std::abort();
  }
  /// Moves the numbers away and says whether they come back: `read` fills them.
  template <class Read>
  double TimeReading(Read read) {
    std::vector<double> back(numbers.size(), -1);
    const double took = Time([&] { return read(back.data()); });
    if (back != numbers)
      Fail("other numbers were read");
    return took;
  }

  std::int64_t rows, first = 0, count = 0;
  int rank = 0, size = 1;
  std::vector<double> numbers;
};
