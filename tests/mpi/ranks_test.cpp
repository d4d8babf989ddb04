#include <mpi/mpi_File.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr mpi_Split kSplits[] = {mpi_Split::kEven, mpi_Split::kUneven, mpi_Split::kBackwards, mpi_Split::kOne,
                                 mpi_Split::kDealt};

// The drawers of the model: rows, components, rows a chunk, level.
struct Shape {
  int rows, components, chunk, deflate;
};
constexpr Shape kShapes[] = {{1, 3, 0, 0},      {3, 1, 0, 0},       {700, 3, 0, 0},    {5000, 2, 0, 0},
                             {200001, 3, 0, 0}, {20000, 3, 999, 0}, {20000, 1, 700, 1}};
constexpr int kDrawers = static_cast<int>(std::size(kShapes));

class Ranks : public testing::Test {
 protected:
  Ranks() {
    MPI_Comm_rank(MPI_COMM_WORLD, &m_rank);
    MPI_Comm_size(MPI_COMM_WORLD, &m_size);
  }
  std::string File() const { return m_directory.Path("a.pdm"); }

  static ORXSimRanks Create(const std::string& name, int option) {
    return ORXSimRanks::Create(MPI_COMM_WORLD, cow_String(name.data(), name.size()), 0, 102, false, option);
  }
  static ORXSimRanks Open(const std::string& name, int flags, int option) {
    return ORXSimRanks::Open(MPI_COMM_WORLD, cow_String(name.data(), name.size()), flags, 102, false, option);
  }

  // Rank 0 makes the sets and the distribution.
  void MakeModel(const ORXSimRanks& ranks) {
    if (m_rank != 0)
      return;
    std::vector<ORXSimDrawerDescription> drawers;
    for (const Shape& shape : kShapes) {
      const ORXSimCollectionRef all(
          ORXSimCollectionRef::Create(ranks.Context(), cow_String("nodes"), shape.rows));
      ORXSimDrawerDescription drawer;
      drawer.members = all.FullCSet();
      drawer.components = shape.components;
      drawer.chunkItems = shape.chunk;
      drawer.deflate = shape.deflate;
      drawers.push_back(drawer);
    }
    m_distribution = ORXSimDistributionRef::Create(ranks.Context(), cow_String("field"), cow_String("mm"),
                                                   drawers.data(), kDrawers);
    ASSERT_FALSE(m_distribution.IsNull()) << ORXSimManager::LastError();
  }

  // All of it written once.
  void Fill(const ORXSimRanks& ranks) {
    ORXSimRankUpdate update(ranks);
    MakeModel(ranks);
    for (int drawer = 0; drawer < kDrawers; ++drawer)
      ASSERT_TRUE(Write(ranks, drawer, mpi_Split::kEven, 1)) << ORXSimRanks::LastError();
    ASSERT_TRUE(update.Commit()) << ORXSimRanks::LastError();
  }

  ORXSimRankTransfer Transfer(const ORXSimRanks& ranks, int drawer) const {
    ORXSimRankTransfer transfer(ranks, ORXSimDistributionRef(m_distribution));
    if (m_rank == 0)
      transfer.SetDim(0, ORXSimDistributionRef(m_distribution).Drawer(drawer).CSet());
    return transfer;
  }

  bool Write(const ORXSimRanks& ranks, int drawer, mpi_Split split, int version) const {
    const auto rows = mpi_RowsOf(split, kShapes[drawer].rows, m_rank, m_size);
    const auto numbers = mpi_Numbers(rows, kShapes[drawer].components, version);
    ORXSimRankTransfer transfer = Transfer(ranks, drawer);
    transfer.SetWrite();
    mpi_SetRows(transfer, split, rows);
    transfer.SetBuffer(drawer, numbers.data(), static_cast<std::int64_t>(numbers.size() * sizeof(double)));
    return transfer.ExecWrite();
  }

  // What this rank reads are the numbers of that version.
  void ExpectRead(const ORXSimRanks& ranks, int drawer, mpi_Split split, int version) const {
    const auto rows = mpi_RowsOf(split, kShapes[drawer].rows, m_rank, m_size);
    std::vector<double> numbers(rows.size() * static_cast<std::size_t>(kShapes[drawer].components), -1);
    ORXSimRankTransfer transfer = Transfer(ranks, drawer);
    transfer.SetRead();
    mpi_SetRows(transfer, split, rows);
    transfer.SetBuffer(drawer, numbers.data(), static_cast<std::int64_t>(numbers.size() * sizeof(double)));
    ASSERT_TRUE(transfer.ExecRead()) << ORXSimRanks::LastError();
    ASSERT_TRUE(numbers == mpi_Numbers(rows, kShapes[drawer].components, version))
        << "drawer " << drawer << " version " << version;
  }

  // One process reads the closed file.
  void ExpectAlone(const int (&versions)[kDrawers]) const {
    if (m_rank == 0) {
      const ORXSimContextID context =
          ORXSimManager::OpenContext(cow_String(File().c_str()), 1, 102, false, 1);
      const ORXSimDistributionRef field(ORXSimStore(context).FindDistribution(cow_String("field")));
      for (int drawer = 0; drawer < kDrawers; ++drawer) {
        const Shape& shape = kShapes[drawer];
        std::vector<double> numbers(static_cast<std::size_t>(shape.rows * shape.components));
        EXPECT_TRUE(field.ReadItems(drawer, 0, shape.rows, numbers.data(),
                                    static_cast<std::int64_t>(numbers.size() * sizeof(double))))
            << ORXSimManager::LastError();
        EXPECT_TRUE(numbers == mpi_Numbers(mpi_RowsOf(mpi_Split::kEven, shape.rows, 0, 1), shape.components,
                                           versions[drawer]));
        const ORXSimVerification sound = field.Verify(drawer);
        EXPECT_TRUE(sound.hasChecksums && sound.damaged.empty() && sound.unwritten.empty());
      }
      EXPECT_TRUE(ORXSimManager::CloseContext(context));
    }
    MPI_Barrier(MPI_COMM_WORLD);
  }

  // New drawers, and others written anew in every way; read before and after each commit.
  void WriteAndRead(ORXSimRanks ranks) {
    int versions[kDrawers] = {};
    for (int round = 0; round < 6; ++round) {
      ORXSimRankUpdate update(ranks);
      if (round == 0)
        MakeModel(ranks);
      for (int drawer = 0; drawer < kDrawers; ++drawer) {
        const mpi_Split split = kSplits[(round + drawer) % 5], other = kSplits[(2 * round + drawer + 1) % 5];
        ASSERT_TRUE(Write(ranks, drawer, split, round)) << ORXSimRanks::LastError();
        ExpectRead(ranks, drawer, other, round);
      }
      if (round == 3) {
        ASSERT_EQ(update.Rollback(), true) << ORXSimRanks::LastError();
      } else {
        ASSERT_TRUE(update.Commit()) << ORXSimRanks::LastError();
        std::fill(std::begin(versions), std::end(versions), round);
      }
      for (int drawer = 0; drawer < kDrawers; ++drawer)
        ExpectRead(ranks, drawer, kSplits[(round + 3 * drawer) % 5], versions[drawer]);
    }
    ASSERT_TRUE(ranks.Close()) << ORXSimRanks::LastError();
    ExpectAlone(versions);
  }

  mpi_Directory m_directory;
  ORXSimDistributionID m_distribution;
  int m_rank = 0, m_size = 1;
};

TEST_F(Ranks, WriteAndReadDrawersInEveryWay) {
  for (const int option : {1, 2}) {
    ORXSimRanks ranks = Create(File(), option);
    ASSERT_FALSE(!ranks) << ORXSimRanks::LastError();
    EXPECT_FALSE(ranks.Funnelled()) << ranks.FunnelCause();
    WriteAndRead(std::move(ranks));
  }
}

TEST_F(Ranks, GoThroughRankZeroWhereOneOfThemDoesNotReachTheFile) {
  rlimit before;
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const int next = ::open("/", O_RDONLY);
  ::close(next);
  rlimit few = before;
  if (m_rank == m_size - 1 && m_size > 1) {
    few.rlim_cur = static_cast<rlim_t>(next);
    ::setrlimit(RLIMIT_NOFILE, &few);
  }
  ORXSimRanks ranks = Create(File(), 1);
  ::setrlimit(RLIMIT_NOFILE, &before);
  ASSERT_FALSE(!ranks) << ORXSimRanks::LastError();
  EXPECT_EQ(ranks.Funnelled(), m_size > 1);
  EXPECT_EQ(std::string(ranks.FunnelCause()),
            m_size > 1 ? "rank " + std::to_string(m_size - 1) + ": open: Too many open files" : "");
  WriteAndRead(std::move(ranks));
}

// What rank 0 has written in place stands in the journal, and in memory before it is committed.
TEST_F(Ranks, ReadWhatTheFileAloneDoesNotShow) {
  ORXSimRanks ranks = Create(File(), 1);
  const int drawer = 4, rows = kShapes[drawer].rows;
  {
    ORXSimRankUpdate update(ranks);
    MakeModel(ranks);
    ASSERT_TRUE(Write(ranks, drawer, mpi_Split::kEven, 1) && update.Commit()) << ORXSimRanks::LastError();
  }
  ORXSimRankUpdate update(ranks);
  for (int round = 0; round < 2; ++round) {
    if (m_rank == 0) {
      ORXSimDistributionRef field(m_distribution);
      std::vector<double> one(3, 5.0 + round);
      for (int row = 1000 * round; row < rows; row += 5000)
        ASSERT_TRUE(field.WriteItems(drawer, row, 1, one.data(), 24));
    }
    ASSERT_TRUE(round == 1 || update.Commit());
    const auto mine = mpi_RowsOf(mpi_Split::kEven, rows, m_rank, m_size);
    auto expected = mpi_Numbers(mine, 3, 1);
    for (std::size_t i = 0; i < mine.size(); ++i)
      for (int before = 0; before <= round; ++before)
        if (mine[i] % 5000 == 1000 * before)
          std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(3 * i), 3, 5.0 + before);
    std::vector<double> numbers(expected.size());
    ORXSimRankTransfer transfer = Transfer(ranks, drawer);
    transfer.SetRead();
    mpi_SetRows(transfer, mpi_Split::kEven, mine);
    transfer.SetBuffer(drawer, numbers.data(), static_cast<std::int64_t>(numbers.size() * sizeof(double)));
    ASSERT_TRUE(transfer.ExecRead()) << ORXSimRanks::LastError();
    EXPECT_TRUE(numbers == expected);
  }
}

// One answer on all ranks, the same words, and a file as it was.
TEST_F(Ranks, DisagreeAndComeToOneOutcome) {
  ORXSimRanks ranks = Create(File(), 1);
  Fill(ranks);
  const int odd = m_size - 1;
  const std::string who = m_size > 1 ? "rank " + std::to_string(odd) : "rank 0";
  std::vector<double> numbers(1 << 20);
  const auto attempt = [&](const std::string& expected, auto change) {
    const auto rows = mpi_RowsOf(mpi_Split::kEven, 700, m_rank, m_size);
    ORXSimRankTransfer transfer = Transfer(ranks, 2);
    transfer.SetWrite();
    mpi_SetRows(transfer, mpi_Split::kEven, rows);
    transfer.SetBuffer(2, numbers.data(), static_cast<std::int64_t>(rows.size() * 24));
    change(transfer);
    EXPECT_FALSE(transfer.ExecWrite());
    char first[1024] = {};
    std::string(ORXSimRanks::LastError()).copy(first, sizeof first - 1);
    MPI_Bcast(first, sizeof first, MPI_CHAR, 0, MPI_COMM_WORLD);
    EXPECT_STREQ(first, ORXSimRanks::LastError());
    EXPECT_NE(std::string(first).find(expected), std::string::npos)
        << first << "\nwhere was expected: " << expected;
  };
  const auto onOdd = [&](auto change) {
    return [this, odd, change](ORXSimRankTransfer& transfer) {
      if (m_rank == odd)
        change(transfer);
    };
  };
  attempt(who + ": write drawers: a buffer of 8 bytes",
          onOdd([&](auto& transfer) { transfer.SetBuffer(2, numbers.data(), 8); }));
  attempt("the drawer has 700 rows", onOdd([](auto& transfer) { transfer.SetRows(600, 101); }));
  attempt("is given by no rank", [&](auto& transfer) {
    transfer.SetRows(0, 0);
    transfer.SetBuffer(2, numbers.data(), 0);
  });
  if (m_size > 1) {
    attempt("other drawers, another type",
            onOdd([](auto& transfer) { transfer.SetItemType(ORXSimItemType::kFloat); }));
    attempt("other drawers", onOdd([&](auto& transfer) {
              transfer.RelinquishBuffers();
              transfer.SetBuffer(3, numbers.data(), 8);
            }));
    attempt("is given by rank", onOdd([&](auto& transfer) {
              transfer.SetRows(0, 700);
              transfer.SetBuffer(2, numbers.data(), 700 * 24);
            }));
    attempt("row 0 is given", [&](auto& transfer) { // a list beside pieces
      if (m_rank == odd)
        transfer.SetRows(std::vector<std::int32_t>{0});
      if (m_rank == odd)
        transfer.SetBuffer(2, numbers.data(), 24);
    });
  }
  attempt("numbers of another type", [](auto& transfer) { transfer.SetItemType(ORXSimItemType::kInt32); });
  attempt("rows are not padded", [](auto& transfer) { transfer.SetBufferPadding(true); });
  attempt("the other direction", [](auto& transfer) { transfer.SetRead(); });
  for (int drawer = 0; drawer < kDrawers; ++drawer)
    ExpectRead(ranks, drawer, mpi_Split::kDealt, 1);
}

TEST_F(Ranks, OneThatDoesNotWantAnUpdateTakesItBack) {
  ORXSimRanks ranks = Create(File(), 1);
  Fill(ranks);
  const int odd = m_size - 1;
  {
    ORXSimRankUpdate update(ranks);
    ASSERT_TRUE(Write(ranks, 4, mpi_Split::kBackwards, 2));
    EXPECT_FALSE(update.Commit(m_rank != odd));
    EXPECT_NE(std::string(ORXSimRanks::LastError())
                  .find("rank " + std::to_string(odd) + ": end update: it does not agree"),
              std::string::npos)
        << ORXSimRanks::LastError();
  }
  ExpectRead(ranks, 4, mpi_Split::kDealt, 1);
  ORXSimRanks none = Open(m_directory.Path("nothing.pdm"), 0, 1);
  EXPECT_TRUE(!none);
  EXPECT_NE(std::string(ORXSimRanks::LastError()).find("No such file"), std::string::npos);
}

// What a drawer leaves is used again, also where some of its pages have gone through the journal.
TEST_F(Ranks, WriteAnewIntoSpaceThatIsFree) {
  ORXSimRanks ranks = Create(File(), 1);
  for (int round = 0; round < 40; ++round) {
    ORXSimRankUpdate update(ranks);
    if (round == 0)
      MakeModel(ranks);
    for (int i = 0; i < 3; ++i) // of 4.8 MB, 80 kB and 16 kB, in turns
      ASSERT_TRUE(Write(ranks, 2 + (round + i) % 3, mpi_Split::kEven, round)) << ORXSimRanks::LastError();
    ASSERT_TRUE(update.Commit()) << ORXSimRanks::LastError();
    const double one[3] = {};
    for (int row = round; m_rank == 0 && row < kShapes[4].rows; row += 40000)
      ASSERT_TRUE(ORXSimDistributionRef(m_distribution).WriteItems(4, row, 1, one, sizeof one));
  }
  ASSERT_TRUE(ranks.Close());
  EXPECT_LT(std::filesystem::file_size(File()), 25u << 20);
}

// A rank that cannot write makes the update come to nothing, everywhere.
TEST_F(Ranks, OneWithoutRoomTakesTheUpdateBackOnAll) {
  ORXSimRanks ranks = Create(File(), 1);
  Fill(ranks);
  rlimit before;
  ::getrlimit(RLIMIT_FSIZE, &before);
  rlimit small = before;
  ::signal(SIGXFSZ, SIG_IGN);
  small.rlim_cur = 1 << 20;
  if (m_rank == m_size - 1 && m_size > 1)
    ::setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_EQ(Write(ranks, 4, mpi_Split::kEven, 2), m_size == 1);
  {
    ORXSimRankUpdate update(ranks); // what is written beside it does not count either
    EXPECT_TRUE(Write(ranks, 2, mpi_Split::kEven, 2));
    EXPECT_EQ(Write(ranks, 4, mpi_Split::kEven, 2), m_size == 1);
    EXPECT_EQ(update.Commit(), m_size == 1);
  }
  ::setrlimit(RLIMIT_FSIZE, &before);
  ExpectRead(ranks, 4, mpi_Split::kDealt, m_size == 1 ? 2 : 1);
  ExpectRead(ranks, 2, mpi_Split::kDealt, m_size == 1 ? 2 : 1);
  ASSERT_TRUE(Write(ranks, 4, mpi_Split::kUneven, 3)) << ORXSimRanks::LastError();
  ExpectRead(ranks, 4, mpi_Split::kEven, 3);
  EXPECT_TRUE(ranks.Close());
}

TEST_F(Ranks, ReadBesideAWriterAndMoveOn) {
  ORXSimRanks writer = Create(File(), 1);
  Fill(writer);
  const ORXSimDistributionID written = m_distribution;
  ORXSimRanks reader = Open(File(), 1, 3);
  ASSERT_FALSE(!reader) << ORXSimRanks::LastError();
  const auto read = [&](int version) {
    if (m_rank == 0)
      m_distribution = ORXSimStore(reader.Context()).FindDistribution(cow_String("field"));
    for (int drawer = 0; drawer < kDrawers; ++drawer)
      ExpectRead(reader, drawer, mpi_Split::kUneven, version);
    m_distribution = written;
  };
  read(1);
  for (int version = 2; version < 5; ++version) {
    ORXSimRankUpdate update(writer);
    for (int drawer = 0; drawer < kDrawers; ++drawer)
      ASSERT_TRUE(Write(writer, drawer, mpi_Split::kEven, version)) << ORXSimRanks::LastError();
    ASSERT_TRUE(update.Commit());
    read(version - 1);
    ASSERT_TRUE(reader.Refresh()) << ORXSimRanks::LastError();
    read(version);
  }
  EXPECT_TRUE(reader.Close());
  EXPECT_TRUE(writer.Close());
}

} // namespace
