// The ranks of an MPI job write one field of a mesh together, and read it back: mpirun -np 3 ranks FILE
#include <mpi/ORXSim_RankTransfer.h>
#include <mpi/ORXSim_RankUpdate.h>
#include <pdm/pdm.hpp>

#include <cstdio>
#include <optional>
#include <vector>

static bool run(const char* file) {
  constexpr int kNodes = 1000;
  int rank = 0;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  std::optional<pdm::Sim> sim; // objects and names are rank 0's
  if (rank == 0)
    sim = pdm::create(file, {.replace = true});
  ORXSimRanks ranks = ORXSimRanks::Join(MPI_COMM_WORLD, sim ? sim->context() : ORXSimContextID());
  if (!ranks)
    return false;
  const int first = kNodes * rank / ranks.Size(), count = kNodes * (rank + 1) / ranks.Size() - first;
  std::vector<double> temperature(static_cast<std::size_t>(count)), back(temperature.size());
  for (int i = 0; i < count; ++i)
    temperature[static_cast<std::size_t>(i)] = 20 + 0.1 * (first + i);
  const std::int64_t bytes = count * std::int64_t{sizeof(double)};

  ORXSimRankUpdate update(ranks);
  ORXSimDistributionRef field{ORXSimDistributionID()};
  if (sim) {
    const auto empty = sim->create_mesh(kNodes, 0).node_fields().create_empty("temperature", {.unit = "K"});
    field = ORXSimDistributionRef(empty.append_unwritten(pdm::Type::float64).distribution());
  }
  ORXSimRankTransfer transfer(ranks, field);
  transfer.SetDim(0, field.Drawer(0).CSet());
  transfer.SetRows(first, count);
  transfer.SetWrite();
  transfer.SetBuffer(0, temperature.data(), bytes);
  if (!transfer.ExecWrite() || !update.Commit()) // the same answer on every rank
    return false;
  transfer.SetRead();
  transfer.SetBuffer(0, back.data(), bytes);
  if (!transfer.ExecRead() || back != temperature)
    return false;
  if (rank == 0)
    std::printf("%d ranks wrote %d rows and read them back\n", ranks.Size(), kNodes);
  return ranks.Close();
}

int main(int argc, char** argv) {
  MPI_Init(&argc, &argv);
  const bool good = run(argc > 1 ? argv[1] : "ranks.pdm");
  if (!good)
    std::fprintf(stderr, "%s\n", ORXSimRanks::LastError());
  MPI_Finalize();
  return good ? 0 : 1;
}
