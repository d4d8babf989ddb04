// Opens a file with many objects and reads one drawer, to be watched by strace (opening.py): ranks of a job
// together, or each process by itself. Usage: mpi_open make|ranks|alone FILE

#include <mpi/ORXSim_RankTransfer.h>

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int kRows = 100000, kFields = 500;

bool make(const char* name) {
  const ORXSimContextID context = ORXSimManager::CreateContext(name, 0, 102, false, 1);
  ORXSimUpdate update(context);
  const ORXSimCollectionRef nodes(ORXSimCollectionRef::Create(context, "nodes", kRows));
  const std::vector<double> numbers(kRows);
  for (int field = 0; field < kFields; ++field) {
    ORXSimDrawerDescription drawer;
    drawer.members = nodes.FullCSet();
    const std::string title = "field " + std::to_string(field);
    const ORXSimDistributionRef made(ORXSimDistributionRef::Create(context, title.c_str(), "K", &drawer, 1));
    if (field == kFields - 1)
      made.WriteItems(0, 0, kRows, numbers.data(), 8 * kRows);
  }
  return update.Commit() && ORXSimManager::CloseContext(context);
}

ORXSimDistributionRef last(ORXSimContextID context) {
  return ORXSimDistributionRef(
      ORXSimStore(context).FindDistribution(("field " + std::to_string(kFields - 1)).c_str()));
}

bool readAlone(const char* name) {
  const ORXSimContextID context = ORXSimManager::OpenContext(name, 1, 102, false, 1);
  std::vector<double> numbers(kRows);
  return last(context).ReadItems(0, 0, kRows, numbers.data(), 8 * kRows) &&
         ORXSimManager::CloseContext(context);
}

bool readTogether(const char* name) {
  ORXSimRanks ranks = ORXSimRanks::Open(MPI_COMM_WORLD, name, 1, 102, false, 1);
  std::vector<double> numbers(kRows);
  ORXSimDistributionRef field{ORXSimDistributionID()};
  if (ranks.Rank() == 0)
    field = last(ranks.Context());
  ORXSimRankTransfer transfer(ranks, field);
  if (ranks.Rank() == 0)
    transfer.SetDim(0, field.Drawer(0).CSet());
  transfer.SetRead();
  transfer.SetRows(0, kRows);
  transfer.SetBuffer(0, numbers.data(), 8 * kRows);
  return transfer.ExecRead() && ranks.Close();
}

} // namespace

int main(int argc, char** argv) {
  const std::string way = argc > 2 ? argv[1] : "";
  bool good = false;
  if (way == "make")
    good = make(argv[2]);
  else if (way == "alone")
    good = readAlone(argv[2]);
  else if (way == "ranks") {
    MPI_Init(&argc, &argv);
    good = readTogether(argv[2]);
    MPI_Finalize();
  }
  if (!good)
    std::fprintf(stderr, "%s\n", ORXSimManager::LastError());
  return good ? 0 : 1;
}
