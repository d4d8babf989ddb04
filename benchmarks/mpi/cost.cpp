// What the ranks of a job send each other, write, and ask of the system: the ranks' own code over a stand-in
// of MPI that counts, for as many ranks as are asked for. One line of JSON for each step. cost.py holds it
// against the formulas.
//
// Usage: mpi_cost FOLDER OPTION RANKS...     OPTION: of the context, 1 or 2

#include "standin/job_Ranks.h"

#include <mpi/ORXSim_RankTransfer.h>
#include <mpi/ORXSim_RankUpdate.h>

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace {
constexpr int kRowsOfRank = 5000, kComponents = 3; // 120 kB: no whole number of blocks
constexpr int kMostWithLists = 1000;               // of lists, each rank asks each other one
enum { kPlain, kAgain, kDeflated, kDrawers };

void require(bool good, const char* what) {
  if (good)
    return;
  std::fprintf(stderr, "%s: %s %s\n", what, ORXSimRanks::LastError(), ORXSimManager::LastError());
  std::exit(1);
}

double valueOf(std::int64_t row, int component) {
  return static_cast<double>(row) + 0.25 * component;
}

// All ranks' counts of one step, added, and the greatest of a rank other than 0.
class Step {
 public:
  Step(const char* name, int ranks, int option) : m_name(name), m_ranks(ranks), m_option(option) {}

  template <class Work>
  void Take(Work work) {
    job_Ranks::MeetUncounted();
    job_Ranks::Mine() = {};
    job_Ranks::MeetUncounted();
    work();
    job_Ranks::MeetUncounted();
    if (job_Ranks::Current() == 0)
      Print();
    job_Ranks::MeetUncounted();
  }

 private:
  template <class Count>
  std::uint64_t Sum(Count count) const {
    std::uint64_t sum = 0;
    for (int rank = 0; rank < m_ranks; ++rank)
      sum += count(job_Ranks::Of(rank));
    return sum;
  }
  template <class Count>
  std::uint64_t Most(int from, int end, Count count) const {
    std::uint64_t most = 0;
    for (int rank = from; rank < end; ++rank)
      most = std::max<std::uint64_t>(most, count(job_Ranks::Of(rank)));
    return most;
  }
  template <class Count>
  void PrintThree(const char* name, Count count) const {
    std::printf(", \"%s\": [%llu, %llu, %llu]", name, static_cast<unsigned long long>(Sum(count)),
                static_cast<unsigned long long>(Most(0, 1, count)),
                static_cast<unsigned long long>(Most(1, m_ranks, count)));
  }
  void Print() const {
    std::printf(
        "{\"step\": \"%s\", \"ranks\": %d, \"option\": %d, \"rows\": %lld, \"rowBytes\": %d, \"turns\": %llu",
        m_name, m_ranks, m_option, static_cast<long long>(m_ranks) * kRowsOfRank, 8 * kComponents,
        static_cast<unsigned long long>(Most(0, m_ranks, [](const job_Counts& of) { return of.turn; })));
    PrintThree("messages", [](const job_Counts& of) { return of.sent; });
    PrintThree("received", [](const job_Counts& of) { return of.received; });
    PrintThree("bytes", [](const job_Counts& of) { return of.sentBytes; });
    PrintThree("reads", [](const job_Counts& of) { return of.reads; });
    PrintThree("readBytes", [](const job_Counts& of) { return of.readBytes; });
    PrintThree("writes", [](const job_Counts& of) { return of.writes; });
    PrintThree("writtenBytes", [](const job_Counts& of) { return of.writtenBytes; });
    PrintThree("syncs", [](const job_Counts& of) { return of.syncs; });
    for (const char* const kind : {"open", "statfs", "lock", "read", "write", "sync"})
      PrintThree((std::string("system_") + kind).c_str(), [&](const job_Counts& of) {
        const auto found = of.system.find(kind);
        return found == of.system.end() ? 0 : found->second;
      });
    std::printf("}\n");
    std::fflush(stdout);
  }

  const char* m_name;
  int m_ranks, m_option;
};

void make(const std::string& path, int ranks) {
  const ORXSimContextID context = ORXSimManager::CreateContext(path.c_str(), 0, 102, false, 1);
  require(!context.IsNull(), "create");
  ORXSimUpdate update(context);
  const auto all =
      ORXSimCollectionRef(ORXSimCollectionRef::Create(context, "nodes", ranks * kRowsOfRank)).FullCSet();
  ORXSimDrawerDescription drawers[kDrawers] = {{.members = all, .components = kComponents},
                                               {.members = all, .components = kComponents},
                                               {.members = all, .components = kComponents}};
  drawers[kDeflated].deflate = 1;
  require(!ORXSimDistributionRef::Create(context, "displacement", "m", drawers, kDrawers).IsNull(),
          "distribution");
  require(update.Commit() && ORXSimManager::CloseContext(context), "close");
}

// One rank of the job, with its rows in a piece and as a list of every so-manieth.
class Rank {
 public:
  Rank(int rank, int ranks, int option) : m_rank(rank), m_count(ranks), m_option(option) {
    for (int i = 0; i < kRowsOfRank; ++i) {
      m_list.push_back(i * ranks + rank);
      for (int k = 0; k < kComponents; ++k) {
        m_piece.push_back(valueOf(First() + i, k));
        m_listed.push_back(valueOf(m_list.back(), k));
      }
    }
  }

  void Run(const std::string& path) {
    At("open").Take(
        [&] { m_ranks = ORXSimRanks::Open(MPI_COMM_WORLD, path.c_str(), 0, 102, false, m_option); });
    require(!!m_ranks && !m_ranks.Funnelled(), m_ranks.FunnelCause());
    {
      ORXSimRankUpdate update(m_ranks);
      At("write").Take([&] { Write(kPlain, false); });
      At("commit").Take([&] { require(update.Commit(), "commit"); });
    }
    At("write anew").Take([&] { Write(kPlain, false); });
    At("read what was just written").Take([&] { Read(kPlain); });
    At("write through rank 0").Take([&] { Write(kDeflated, false); });
    At("read through rank 0").Take([&] { Read(kDeflated); });
    if (m_count <= kMostWithLists) {
      At("write lists").Take([&] { Write(kAgain, true); });
      Read(kAgain);
    }
    At("close").Take([&] { require(m_ranks.Close(), "close"); });
    m_ranks = ORXSimRanks::Open(MPI_COMM_WORLD, path.c_str(), 1, 102, false, 1);
    At("read").Take([&] { Read(kPlain); });
  }

 private:
  Step At(const char* name) const { return {name, m_count, m_option}; }
  std::int64_t First() const { return static_cast<std::int64_t>(m_rank) * kRowsOfRank; }
  ORXSimRankTransfer Transfer() const { // what is moved counts on rank 0
    const bool here = m_rank == 0;
    const ORXSimContextID context = m_ranks.Context();
    const ORXSimDistributionID field = here ? ORXSimDistributionID(context, 1) : ORXSimDistributionID();
    ORXSimRankTransfer transfer(m_ranks, ORXSimDistributionRef(field));
    transfer.SetDim(0,
                    here ? ORXSimCollectionRef(ORXSimCollectionID(context, 1)).FullCSet() : ORXSimCSetID());
    return transfer;
  }
  static std::int64_t BytesOf(const std::vector<double>& values) {
    return static_cast<std::int64_t>(values.size() * sizeof values[0]);
  }

  void Write(int drawer, bool list) {
    ORXSimRankTransfer transfer = Transfer();
    transfer.SetWrite();
    const std::vector<double>& values = list ? m_listed : m_piece;
    if (list)
      transfer.SetRows(m_list);
    else
      transfer.SetRows(First(), kRowsOfRank);
    transfer.SetBuffer(drawer, static_cast<const void*>(values.data()), BytesOf(values));
    require(transfer.ExecWrite(), "write");
  }

  void Read(int drawer) {
    std::vector<double> got(m_piece.size());
    ORXSimRankTransfer transfer = Transfer();
    transfer.SetRead();
    transfer.SetRows(First(), kRowsOfRank);
    transfer.SetBuffer(drawer, got.data(), BytesOf(got));
    require(transfer.ExecRead(), "read");
    require(got == m_piece, "read: other numbers than were written");
  }

  int m_rank, m_count, m_option;
  std::vector<std::int32_t> m_list;
  std::vector<double> m_piece, m_listed;
  ORXSimRanks m_ranks;
};
} // namespace

int main(int argc, char** argv) {
  require(argc >= 4, "Usage: mpi_cost FOLDER OPTION RANKS...");
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max; // each rank has the file open
  setrlimit(RLIMIT_NOFILE, &files);
  const std::string path = (std::filesystem::path(argv[1]) / "cost.pdm").string();
  const int option = std::atoi(argv[2]);
  for (int i = 3; i < argc; ++i) {
    const int ranks = std::atoi(argv[i]);
    make(path, ranks);
    job_Ranks::Run(ranks, [&](int rank) { Rank(rank, ranks, option).Run(path); });
    std::filesystem::remove(path);
  }
  return 0;
}
