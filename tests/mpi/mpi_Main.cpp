#include <gtest/gtest.h>

#include <mpi.h>

#include <cstdio>
#include <memory>

namespace {

// Tells a failure by its rank, and ends the job after the case: the other ranks may wait for this one.
class Rank : public testing::EmptyTestEventListener {
 public:
  explicit Rank(int rank) : m_rank(rank) {}
  void OnTestPartResult(const testing::TestPartResult& result) override {
    if (result.failed())
      std::fprintf(stderr, "rank %d: %s:%d: %s\n", m_rank, result.file_name(), result.line_number(),
                   result.message());
  }
  void OnTestEnd(const testing::TestInfo& info) override {
    if (!info.result()->Failed())
      return;
    std::fprintf(stderr, "rank %d: %s.%s failed\n", m_rank, info.test_suite_name(), info.name());
    std::fflush(nullptr);
    MPI_Abort(MPI_COMM_WORLD, 1);
  }

 private:
  int m_rank;
};

} // namespace

int main(int argc, char** argv) {
  MPI_Init(&argc, &argv);
  testing::InitGoogleTest(&argc, argv);
  int rank = 0;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  auto& listeners = testing::UnitTest::GetInstance()->listeners();
  if (rank != 0)
    const std::unique_ptr<testing::TestEventListener> silent(
        listeners.Release(listeners.default_result_printer()));
  listeners.Append(std::make_unique<Rank>(rank).release());
  const int failed = RUN_ALL_TESTS();
  MPI_Finalize();
  return failed;
}
