#include <mpi/mpi_File.h>

#include <gtest/gtest.h>

#include <unistd.h>

// Ranks that are not there, files that are closed under them, and several of both.
namespace {

constexpr int kRows = 30000;

class Closed : public testing::Test {
 protected:
  Closed() {
    MPI_Comm_rank(MPI_COMM_WORLD, &m_rank);
    MPI_Comm_size(MPI_COMM_WORLD, &m_size);
  }

  ORXSimRanks Create(const char* name, int option = 1, MPI_Comm comm = MPI_COMM_WORLD) const {
    return ORXSimRanks::Create(comm, cow_String(m_directory.Path(name).c_str()), 0, 102, false, option);
  }
  static void Make(const ORXSimRanks& ranks) {
    if (ranks.Rank() != 0)
      return;
    ORXSimDrawerDescription drawer;
    drawer.members =
        ORXSimCollectionRef(ORXSimCollectionRef::Create(ranks.Context(), cow_String("nodes"), kRows))
            .FullCSet();
    ASSERT_FALSE(
        ORXSimDistributionRef::Create(ranks.Context(), cow_String("field"), {}, &drawer, 1).IsNull());
  }
  // Moves a number a row; in reading they must be that version's.
  static bool Move(const ORXSimRanks& ranks, bool writes, int version) {
    ORXSimDistributionID field;
    if (ranks.Rank() == 0 && !ranks.Context().IsNull())
      field = ORXSimStore(ranks.Context()).FindDistribution(cow_String("field"));
    const auto rows = mpi_RowsOf(mpi_Split::kUneven, kRows, ranks.Rank(), std::max(ranks.Size(), 1));
    const auto expected = mpi_Numbers(rows, 1, version);
    auto numbers = writes ? expected : std::vector<double>(rows.size());
    ORXSimRankTransfer transfer(ranks, ORXSimDistributionRef(field));
    if (!field.IsNull())
      transfer.SetDim(0, ORXSimDistributionRef(field).Drawer(0).CSet());
    mpi_SetRows(transfer, mpi_Split::kUneven, rows);
    transfer.SetBuffer(0, numbers.data(), static_cast<std::int64_t>(numbers.size() * sizeof(double)));
    if (writes)
      transfer.SetWrite();
    else
      transfer.SetRead();
    return transfer.CheckView() && (writes ? transfer.ExecWrite() : transfer.ExecRead()) &&
           numbers == expected;
  }
  static std::string Error() { return ORXSimRanks::LastError(); }

  mpi_Directory m_directory;
  int m_rank = 0, m_size = 1;
};

TEST_F(Closed, NoRanksRefuseEveryCall) {
  ORXSimRanks file = Create("a.pdm");
  ORXSimRanks moved = std::move(file);
  const ORXSimRanks fresh;
  for (const ORXSimRanks* none : {&std::as_const(file), &fresh}) {
    const ORXSimRanks& ranks = *none;
    EXPECT_TRUE(!ranks && ranks.Comm() == MPI_COMM_NULL && ranks.Size() == 0 && ranks.Context().IsNull());
    EXPECT_FALSE(ranks.Funnelled());
    EXPECT_STREQ(ranks.FunnelCause(), "");
    EXPECT_FALSE(Move(ranks, true, 1) || Move(ranks, false, 1));
    EXPECT_EQ(Error(), "there are no ranks on a file");
    ORXSimRankUpdate update(ranks);
    EXPECT_FALSE(update.Commit() || update.Rollback());
  }
  EXPECT_TRUE(file.Close());
  EXPECT_FALSE(file.Refresh());
  EXPECT_TRUE(moved.Close() && moved.Close());
  EXPECT_TRUE(!ORXSimRanks::Join(MPI_COMM_WORLD, {}));
  EXPECT_EQ(Error(), "there is no context to join");
}

TEST_F(Closed, AFileThatIsClosedUnderTheRanksFailsOnAll) {
  ORXSimRanks ranks = Create("a.pdm");
  Make(ranks);
  ORXSimRankUpdate update(ranks);
  ASSERT_TRUE(Move(ranks, true, 1)) << Error();
  const ORXSimContextID context = ranks.Context();
  if (m_rank == 0)
    ORXSimManager::CloseContext(context);
  EXPECT_FALSE(Move(ranks, true, 2) || Move(ranks, false, 1));
  EXPECT_NE(Error(), "");
  EXPECT_FALSE(update.Commit());
  EXPECT_FALSE(ranks.Refresh());
  EXPECT_TRUE(ranks.Funnelled());
  EXPECT_STRNE(ranks.FunnelCause(), "");
  ranks.Close();
  EXPECT_TRUE(!ORXSimRanks::Join(MPI_COMM_WORLD, context));
  EXPECT_NE(Error(), "");
}

TEST_F(Closed, WhatIsRefusedLeavesTheRanksAtTheFile) {
  ORXSimRanks ranks = Create("a.pdm");
  Make(ranks);
  EXPECT_FALSE(ranks.Refresh()); // a writer's
  const std::string refused = Error();
  EXPECT_FALSE(ranks.Funnelled()) << ranks.FunnelCause();
  EXPECT_EQ(Error(), refused);
  {
    ORXSimRankUpdate update(ranks);
    ASSERT_TRUE(Move(ranks, true, 1)) << Error();
    ASSERT_TRUE(update.Commit());
    EXPECT_FALSE(update.Commit());
    EXPECT_NE(Error().find("the scope has ended"), std::string::npos) << Error();
    EXPECT_FALSE(update.Rollback());
    EXPECT_NE(Error().find("the scope has ended"), std::string::npos) << Error();
  }
  ORXSimRankTransfer transfer(ranks, ORXSimDistributionRef(ORXSimDistributionID()));
  transfer.SetRows(m_rank, 1);
  EXPECT_FALSE(transfer.ExecRead()); // not set up
  EXPECT_EQ(Error().rfind(m_directory.Path("a.pdm") + ": rank 0: read drawers: ", 0), 0u) << Error();
  EXPECT_TRUE(Move(ranks, false, 1)) << Error();
  EXPECT_TRUE(ranks.Close());
  ORXSimRanks reader =
      ORXSimRanks::Open(MPI_COMM_WORLD, cow_String(m_directory.Path("a.pdm").c_str()), 1, 102, false, 1);
  EXPECT_FALSE(Move(reader, true, 2));
  EXPECT_TRUE(Move(reader, false, 1)) << Error();
}

TEST_F(Closed, ManyFilesOptionsAndCommunicators) {
  MPI_Comm half = MPI_COMM_NULL, back = MPI_COMM_NULL;
  MPI_Comm_split(MPI_COMM_WORLD, m_rank % 2, -m_rank, &half);
  MPI_Comm_split(MPI_COMM_WORLD, 0, -m_rank, &back);
  {
    ORXSimRanks scratch = Create("scratch.pdm", 0),
                own = Create(m_rank % 2 == 0 ? "even.pdm" : "odd.pdm", 1, half),
                reversed = Create("back.pdm", 2, back);
    ASSERT_FALSE(!scratch || !own || !reversed) << Error();
    EXPECT_EQ(reversed.Rank(), m_size - 1 - m_rank);
    EXPECT_EQ(scratch.Size() - reversed.Size(), 0);
    for (const ORXSimRanks* ranks : {&scratch, &own, &reversed})
      Make(*ranks);
    for (int version = 1; version < 4; ++version)
      for (const ORXSimRanks* ranks : {&scratch, &own, &reversed}) {
        ASSERT_TRUE(Move(*ranks, true, version)) << Error();
        ASSERT_TRUE(Move(*ranks, false, version)) << Error();
      }
    own = ORXSimRanks();
    EXPECT_TRUE(!own);
  } // closed where they end
  MPI_Comm_free(&half);
  MPI_Comm_free(&back);
}

// Lets go of its file when MPI is over.
struct Late {
  ORXSimRanks ranks;
  std::string name; // on rank 0
  ~Late() {
    { const ORXSimRanks last = std::move(ranks); }
    if (name.empty())
      return;
    ORXSimManager::SetWaitingTime(20000); // for the other ranks
    const ORXSimContextID context = ORXSimManager::OpenContext(cow_String(name.c_str()), 0, 102, false, 1);
    if (context.IsNull() || ORXSimStore(context).FindDistribution(cow_String("field")).IsNull())
      ::_exit(1);
    ORXSimManager::CloseContext(context);
    ::unlink(name.c_str());
  }
};

TEST_F(Closed, RanksThatOutliveMpiCloseTheirFile) {
  const std::string name = "/dev/shm/pdm_late_" + std::to_string(m_size);
  ORXSimRanks ranks = ORXSimRanks::Create(MPI_COMM_WORLD, cow_String(name.c_str()), 0, 102, false, 1);
  ASSERT_FALSE(!ranks) << Error();
  Make(ranks);
  static Late late{std::move(ranks), m_rank == 0 ? name : std::string()}; // ends before what it stands on
}

} // namespace
