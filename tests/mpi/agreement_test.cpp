#include <gtest/gtest.h>

#include <mpi/agree/rnk_Agreement.h>

TEST(Agreement, TheLowestRankThatFailsSpeaksForAll) {
  const rnk_Agreement ranks(MPI_COMM_WORLD);
  rnk_Agreement::ClearLastError();
  EXPECT_TRUE(ranks.All(true, "not said"));
  EXPECT_EQ(rnk_Agreement::LastError(), "");
  const int last = ranks.Size() - 1, middle = last / 2;
  EXPECT_FALSE(ranks.All(ranks.Rank() < middle, "rank " + std::to_string(ranks.Rank())));
  EXPECT_EQ(rnk_Agreement::LastError(), "rank " + std::to_string(middle));
  EXPECT_FALSE(ranks.All(ranks.Rank() != last, "the last"));
  EXPECT_EQ(rnk_Agreement::LastError(), "the last");
  EXPECT_FALSE(ranks.Root(!ranks.IsRoot(), ranks.IsRoot() ? "the root" : "not said"));
  EXPECT_EQ(rnk_Agreement::LastError(), "the root");
}

TEST(Agreement, RootSharesAndAllGather) {
  const rnk_Agreement ranks(MPI_COMM_WORLD);
  std::string text = ranks.IsRoot() ? std::string(1000, 'x') + "end" : "other";
  ranks.Share(text);
  EXPECT_EQ(text, std::string(1000, 'x') + "end");
  const auto all = ranks.Gather(10 * ranks.Rank());
  for (int rank = 0; rank < ranks.Size(); ++rank)
    EXPECT_EQ(all[static_cast<std::size_t>(rank)], 10 * rank);
}
