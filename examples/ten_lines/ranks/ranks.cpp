// The ranks of an MPI job write one field of a file together, and read it back: mpirun -np 3 ranks FILE
#include <mpi/ORXSim_RankTransfer.h>
#include <mpi/ORXSim_RankUpdate.h>

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <algorithm>
#include <cstdio>
#include <vector>

int main(int argc, char** argv) {
  MPI_Init(&argc, &argv);
  bool good = false;
  {
    constexpr int kNodes = 1000;
    ORXSimRanks ranks =
        ORXSimRanks::Create(MPI_COMM_WORLD, cow_String(argc > 1 ? argv[1] : "ranks.pdm"), 0, 102, false, 1);
    const int first = kNodes * ranks.Rank() / std::max(ranks.Size(), 1);
    const int count = kNodes * (ranks.Rank() + 1) / std::max(ranks.Size(), 1) - first;
    std::vector<double> temperature(static_cast<std::size_t>(count)), back(temperature.size());
    for (int i = 0; i < count; ++i)
      temperature[static_cast<std::size_t>(i)] = 20 + 0.1 * (first + i);
    const std::int64_t bytes = count * std::int64_t{sizeof(double)};

    ORXSimRankUpdate update(ranks);
    ORXSimDistributionRef field{ORXSimDistributionID()};
    ORXSimCSetID nodes;
    if (ranks.Rank() == 0) { // objects and names are rank 0's
      nodes = ORXSimCollectionRef(ORXSimCollectionRef::Create(ranks.Context(), "nodes", kNodes)).FullCSet();
      const ORXSimDrawerDescription drawer{nodes};
      field = ORXSimDistributionRef(
          ORXSimDistributionRef::Create(ranks.Context(), "temperature", "K", &drawer, 1));
    }
    ORXSimRankTransfer transfer(ranks, field);
    transfer.SetDim(0, nodes);
    transfer.SetRows(first, count);
    transfer.SetWrite();
    transfer.SetBuffer(0, temperature.data(), bytes);
    good = transfer.ExecWrite() && update.Commit(); // the same answer on every rank
    transfer.SetRead();
    transfer.SetBuffer(0, back.data(), bytes);
    good = good && transfer.ExecRead() && back == temperature;
    if (!good)
      std::fprintf(stderr, "rank %d: %s\n", ranks.Rank(), ORXSimRanks::LastError());
    else if (ranks.Rank() == 0)
      std::printf("%d ranks wrote %d rows and read them back\n", ranks.Size(), kNodes);
    good = ranks.Close() && good;
  }
  MPI_Finalize();
  return good ? 0 : 1;
}
