#include <mpi/mpi_File.h>

#include <gtest/gtest.h>

#include <cstring>
#include <random>

// Rows, types, splits and lists at random, against a plain array that every rank has.
namespace {

using Bytes = std::vector<unsigned char>;

class Rows : public testing::Test {
 protected:
  Rows() {
    MPI_Comm_rank(MPI_COMM_WORLD, &m_rank);
    MPI_Comm_size(MPI_COMM_WORLD, &m_size);
  }
  int Below(int n) { return static_cast<int>(m_random() % static_cast<unsigned>(n)); }
  bool OneIn(int n) { return Below(n) == 0; }

  struct Drawer {
    int components = 1;
    std::int64_t rowBytes = 0;
    Bytes all; // what it holds
  };

  // Numbers of rows near the borders of blocks, of which a drawer has several.
  int SomeRows(std::int64_t rowBytes) {
    const int block = static_cast<int>((65536 + rowBytes - 1) / rowBytes);
    return OneIn(3) ? Below(6) : std::max(0, block * Below(6) + Below(5) - 2);
  }

  void Make(const ORXSimRanks& ranks) {
    static constexpr int kComponents[] = {1, 1, 2, 3, 7, 500, 9001};
    m_drawers.assign(static_cast<std::size_t>(1 + Below(2)), {});
    std::vector<ORXSimDrawerDescription> made;
    for (Drawer& drawer : m_drawers) {
      ORXSimDrawerDescription& description = made.emplace_back();
      description.type = static_cast<ORXSimItemType>(Below(4));
      description.components = drawer.components = kComponents[Below(7)];
      drawer.rowBytes = drawer.components * ORXSimItemSize(description.type);
    }
    m_rows = SomeRows(std::max(m_drawers.front().rowBytes, m_drawers.back().rowBytes));
    for (std::size_t i = 0; i < m_drawers.size(); ++i) {
      m_drawers[i].all.resize(static_cast<std::size_t>(m_rows * m_drawers[i].rowBytes));
      made[i].chunkItems = OneIn(6) ? 1 + Below(100) : 0;
    }
    if (m_rank != 0)
      return;
    const ORXSimCollectionRef set(ORXSimCollectionRef::Create(ranks.Context(), cow_String("set"), m_rows));
    for (ORXSimDrawerDescription& description : made)
      description.members = set.FullCSet();
    m_members = set.FullCSet();
    m_distribution = ORXSimDistributionRef::Create(ranks.Context(), cow_String("field"), {}, made.data(),
                                                   static_cast<int>(made.size()));
    ASSERT_FALSE(m_distribution.IsNull()) << ORXSimManager::LastError();
  }

  // The rows of each rank: every row once.
  std::vector<std::vector<std::int32_t>> Tiled(bool listed) {
    std::vector<std::vector<std::int32_t>> rows(static_cast<std::size_t>(m_size));
    std::vector<int> cuts{0, m_rows}, order(rows.size());
    for (int i = 1; i < m_size; ++i)
      cuts.push_back(OneIn(3) ? cuts.back() : Below(m_rows + 1));
    std::sort(cuts.begin(), cuts.end());
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), m_random);
    for (int row = 0, piece = 0; row < m_rows; ++row) {
      while (row >= cuts[static_cast<std::size_t>(piece) + 1])
        ++piece;
      const int rank = listed ? Below(m_size) : order[static_cast<std::size_t>(piece)];
      rows[static_cast<std::size_t>(rank)].push_back(row);
    }
    if (listed)
      for (auto& own : rows)
        std::shuffle(own.begin(), own.end(), m_random);
    return rows;
  }

  ORXSimRankTransfer Transfer(const ORXSimRanks& ranks, bool listed, const std::vector<std::int32_t>& rows) {
    ORXSimRankTransfer transfer(ranks, ORXSimDistributionRef(m_distribution));
    transfer.SetDim(0, m_members);
    mpi_SetRows(transfer, listed ? mpi_Split::kDealt : mpi_Split::kEven, rows);
    return transfer;
  }
  static Bytes Of(const Drawer& drawer, const std::vector<std::int32_t>& rows) {
    Bytes bytes;
    for (const std::int32_t row : rows)
      bytes.insert(bytes.end(), drawer.all.begin() + row * drawer.rowBytes,
                   drawer.all.begin() + (row + std::int64_t{1}) * drawer.rowBytes);
    return bytes;
  }

  void Write(const ORXSimRanks& ranks) {
    for (Drawer& drawer : m_drawers)
      for (unsigned char& byte : drawer.all)
        byte = static_cast<unsigned char>(m_random());
    const bool listed = OneIn(3);
    const auto rows = Tiled(listed)[static_cast<std::size_t>(m_rank)];
    std::vector<Bytes> bytes;
    ORXSimRankTransfer transfer = Transfer(ranks, listed, rows);
    transfer.SetWrite();
    for (const Drawer& drawer : m_drawers)
      bytes.push_back(Of(drawer, rows));
    for (std::size_t i = 0; i < bytes.size(); ++i)
      transfer.SetBuffer(static_cast<int>(i), rows.empty() ? nullptr : bytes[i].data(),
                         static_cast<std::int64_t>(bytes[i].size()));
    ASSERT_TRUE(transfer.CheckView()) << ORXSimRanks::LastError();
    ASSERT_TRUE(transfer.ExecWrite()) << ORXSimRanks::LastError();
  }

  void Read(const ORXSimRanks& ranks) {
    std::vector<std::int32_t> mine;
    const bool listed = OneIn(3);
    for (int rank = 0; rank < m_size; ++rank) { // what others take must be drawn as well
      std::vector<std::int32_t> rows(
          static_cast<std::size_t>(OneIn(4) || m_rows == 0 ? 0 : Below(m_rows) + 1));
      std::iota(rows.begin(), rows.end(), Below(m_rows - static_cast<int>(rows.size()) + 1));
      for (std::size_t i = 0; listed && i < rows.size(); ++i)
        rows[i] = Below(m_rows);
      if (rank == m_rank)
        mine = rows;
    }
    std::vector<Bytes> bytes;
    for (const Drawer& drawer : m_drawers)
      bytes.emplace_back(mine.size() * static_cast<std::size_t>(drawer.rowBytes), 0xEE);
    ORXSimRankTransfer transfer = Transfer(ranks, listed, mine);
    transfer.SetRead();
    for (std::size_t i = 0; i < bytes.size(); ++i)
      transfer.SetBuffer(static_cast<int>(i), mine.empty() ? nullptr : bytes[i].data(),
                         static_cast<std::int64_t>(bytes[i].size()));
    ASSERT_TRUE(transfer.ExecRead()) << ORXSimRanks::LastError();
    for (std::size_t i = 0; i < bytes.size(); ++i)
      ASSERT_TRUE(bytes[i] == Of(m_drawers[i], mine)) << m_rows << " rows, drawer " << i;
  }

  std::mt19937 m_random{20}; // the same numbers on all ranks
  mpi_Directory m_directory;
  std::vector<Drawer> m_drawers;
  ORXSimDistributionID m_distribution;
  ORXSimCSetID m_members;
  int m_rows = 0, m_rank = 0, m_size = 1;
};

TEST_F(Rows, AreTheSameForEverySplitTypeAndList) {
  const char* const wanted = std::getenv("PDM_MPI_ROUNDS");
  const int rounds = wanted != nullptr ? std::atoi(wanted) : 20;
  ORXSimRanks ranks =
      ORXSimRanks::Create(MPI_COMM_WORLD, cow_String(m_directory.Path("a.pdm").c_str()), 0, 102, false, 1);
  ASSERT_FALSE(!ranks) << ORXSimRanks::LastError();
  for (int round = 0; round < rounds; ++round) {
    SCOPED_TRACE(round);
    {
      ORXSimRankUpdate update(ranks);
      ASSERT_NO_FATAL_FAILURE(Make(ranks));
      for (int again = Below(3); again >= 0; --again) {
        ASSERT_NO_FATAL_FAILURE(Write(ranks));
        ASSERT_NO_FATAL_FAILURE(Read(ranks));
      }
      ASSERT_TRUE(update.Commit()) << ORXSimRanks::LastError();
    }
    ASSERT_NO_FATAL_FAILURE(Read(ranks));
    for (int i = 0; m_rank == 0 && i < static_cast<int>(m_drawers.size()); ++i) {
      const Bytes& all = m_drawers[static_cast<std::size_t>(i)].all;
      Bytes alone(all.size());
      const ORXSimDistributionRef field(m_distribution);
      ASSERT_TRUE(field.ReadItems(i, 0, m_rows, alone.data(), static_cast<std::int64_t>(alone.size())));
      ASSERT_TRUE(alone == all);
      const ORXSimVerification sound = field.Verify(i);
      ASSERT_TRUE(sound.Good() && sound.unwritten.empty());
    }
  }
  EXPECT_TRUE(ranks.Close()) << ORXSimRanks::LastError();
}

} // namespace
