// Each call of the system and of MPI-IO fails once, on each rank: all ranks come to one answer, nobody waits
// for ever (the stand-in of MPI ends the program then), and the file has one of two states, the newer one
// when its commit was reported.

#include <benchmarks/mpi/standin/job_Ranks.h>

#include <mpi/ORXSim_RankTransfer.h>
#include <mpi/ORXSim_RankUpdate.h>

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace {
constexpr int kRanks = 3, kRows = 30001, kFirst[kRanks + 1] = {0, 9000, 9001, kRows};

ORXSimDistributionID fieldOf(ORXSimContextID context) {
  return {context, 1};
}

ORXSimCSetID rowsOf(ORXSimContextID context) {
  return ORXSimCollectionRef(ORXSimCollectionID(context, 1)).FullCSet();
}

void make(const std::string& path) {
  const auto context = ORXSimManager::CreateContext(path.c_str(), 0, 102, false, 1);
  {
    ORXSimUpdate update(context);
    ORXSimCollectionRef::Create(context, "nodes", kRows);
    const ORXSimDrawerDescription drawer{.members = rowsOf(context)};
    ORXSimDistributionRef::Create(context, "field", "", &drawer, 1);
    const std::vector<double> ones(kRows, 1);
    ASSERT_TRUE(ORXSimDistributionRef(fieldOf(context)).WriteItems(0, 0, kRows, ones.data(), 8 * kRows));
    ASSERT_TRUE(update.Commit());
  }
  ASSERT_TRUE(ORXSimManager::CloseContext(context));
}

// What each rank was answered: opened, written, committed, read, closed.
using Answers = std::array<bool, 5>;

ORXSimRankTransfer transferOf(const ORXSimRanks& ranks, int rank) {
  const auto context = ranks.Context();
  ORXSimRankTransfer transfer(ranks,
                              ORXSimDistributionRef(rank == 0 ? fieldOf(context) : ORXSimDistributionID()));
  transfer.SetDim(0, rank == 0 ? rowsOf(context) : ORXSimCSetID());
  transfer.SetRows(kFirst[rank], kFirst[rank + 1] - kFirst[rank]);
  return transfer;
}

Answers runRank(const std::string& path, int rank) {
  const auto count = static_cast<std::size_t>(kFirst[rank + 1] - kFirst[rank]);
  std::vector<double> twos(count, 2), back(count);
  ORXSimRanks ranks = ORXSimRanks::Open(MPI_COMM_WORLD, path.c_str(), 0, 102, false, 2);
  Answers answers{!!ranks};
  if (!ranks)
    return answers;
  {
    ORXSimRankUpdate update(ranks);
    ORXSimRankTransfer transfer = transferOf(ranks, rank);
    transfer.SetWrite();
    transfer.SetBuffer(0, static_cast<const void*>(twos.data()), static_cast<std::int64_t>(8 * count));
    answers[1] = transfer.ExecWrite();
    answers[2] = answers[1] && update.Commit();
  }
  ORXSimRankTransfer transfer = transferOf(ranks, rank);
  transfer.SetRead();
  transfer.SetBuffer(0, back.data(), static_cast<std::int64_t>(8 * count));
  answers[3] = transfer.ExecRead();
  const double expected = answers[2] ? 2 : 1; // what was not committed is taken back
  EXPECT_TRUE(!answers[3] || back == std::vector<double>(count, expected));
  answers[4] = ranks.Close();
  return answers;
}

void check(const std::string& path, const std::array<Answers, kRanks>& answers) {
  for (int rank = 1; rank < kRanks; ++rank)
    EXPECT_EQ(answers[0], answers[static_cast<std::size_t>(rank)]);
  const auto context = ORXSimManager::OpenContext(path.c_str(), 1, 102, false, 1);
  ASSERT_FALSE(context.IsNull()) << ORXSimManager::LastError();
  std::vector<double> all(kRows);
  ASSERT_TRUE(ORXSimDistributionRef(fieldOf(context)).ReadItems(0, 0, kRows, all.data(), 8 * kRows))
      << ORXSimManager::LastError();
  EXPECT_TRUE(all == std::vector<double>(kRows, all[0]) && (all[0] == 1 || all[0] == 2));
  EXPECT_TRUE(!answers[0][2] || all[0] == 2);
  EXPECT_TRUE(answers[0][1] || all[0] == 1);
  ORXSimManager::CloseContext(context);
}
} // namespace

TEST(RankFaults, EveryCallFailsOnceAndAllRanksHearOfIt) {
  const auto folder = std::filesystem::temp_directory_path() / ("pdm_ranks_" + std::to_string(::getpid()));
  std::filesystem::create_directory(folder);
  const std::string base = folder / "base.pdm", path = folder / "a.pdm";
  make(base);
  int fired = 0;
  for (int rank = 0; rank < kRanks; ++rank)
    for (int call = 0, last = 0; !last; ++call) {
      SCOPED_TRACE("call " + std::to_string(call) + " of rank " + std::to_string(rank));
      std::filesystem::copy_file(base, path, std::filesystem::copy_options::overwrite_existing);
      std::filesystem::remove(path + "-journal");
      std::array<Answers, kRanks> answers;
      job_fault = {rank, static_cast<std::uint64_t>(call), call % 2 == 0};
      job_Ranks::Run(kRanks,
                     [&](int each) { answers[static_cast<std::size_t>(each)] = runRank(path, each); });
      last = job_fault.seen <= job_fault.call;
      job_fault = {};
      fired += !last;
      check(path, answers);
      if (testing::Test::HasFailure())
        break;
    }
  EXPECT_GT(fired, 40);
  std::filesystem::remove_all(folder);
}
