// One way of writing and reading a large drawer, once: raw MPI-IO, ranks together, everything through rank 0.
// Usage: mpi_bulk raw|ranks|funnel|commits FILE MEGABYTES [OPTION]

#include "mpi_Clock.h"

#include <mpi/ORXSim_RankTransfer.h>
#include <mpi/ORXSim_RankUpdate.h>

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

void raw(mpi_Share& share, const char* name) {
  MPI_File file;
  MPI_File_open(MPI_COMM_WORLD, name, MPI_MODE_CREATE | MPI_MODE_RDWR, MPI_INFO_NULL, &file);
  const double wrote = mpi_Share::Time([&] {
    return MPI_File_write_at(file, 24 * share.first, share.numbers.data(), static_cast<int>(share.Bytes()),
                             MPI_BYTE, MPI_STATUS_IGNORE) == MPI_SUCCESS;
  });
  const double read = share.TimeReading([&](double* back) {
    return MPI_File_read_at(file, 24 * share.first, back, static_cast<int>(share.Bytes()), MPI_BYTE,
                            MPI_STATUS_IGNORE) == MPI_SUCCESS;
  });
  MPI_File_close(&file);
  if (share.rank == 0)
    std::printf("%.6f %.6f\n", wrote, read);
}

ORXSimDistributionID makeModel(ORXSimContextID context, std::int64_t rows, int drawers) {
  const ORXSimCollectionRef nodes(
      ORXSimCollectionRef::Create(context, cow_String("nodes"), static_cast<int>(rows)));
  ORXSimDrawerDescription drawer;
  drawer.members = nodes.FullCSet();
  drawer.components = 3;
  const std::vector<ORXSimDrawerDescription> all(static_cast<std::size_t>(drawers), drawer);
  return ORXSimDistributionRef::Create(context, cow_String("field"), cow_String(""), all.data(), drawers);
}

bool move(const ORXSimRanks& ranks, ORXSimDistributionID field, bool writes, const mpi_Share& share,
          double* numbers) {
  ORXSimRankTransfer transfer(ranks, ORXSimDistributionRef(field));
  if (share.rank == 0)
    transfer.SetDim(0, ORXSimDistributionRef(field).Drawer(0).CSet());
  transfer.SetRows(share.first, share.count);
  transfer.SetBuffer(0, numbers, share.Bytes());
  writes ? transfer.SetWrite() : transfer.SetRead();
  return writes ? transfer.ExecWrite() : transfer.ExecRead();
}

void ranks(mpi_Share& share, const char* name, int option) {
  ORXSimRanks all = ORXSimRanks::Create(MPI_COMM_WORLD, cow_String(name), 0, 102, false, option);
  if (!all || all.Funnelled())
    mpi_Share::Fail(!all ? ORXSimRanks::LastError() : all.FunnelCause());
  ORXSimDistributionID field;
  {
    ORXSimRankUpdate update(all); // the file has its name before the clock starts
    if (share.rank == 0)
      ORXSimCollectionRef::Create(all.Context(), cow_String("first"), 1);
    update.Commit();
  }
  const double wrote = mpi_Share::Time([&] {
    ORXSimRankUpdate update(all);
    if (share.rank == 0)
      field = makeModel(all.Context(), share.rows, 1);
    return move(all, field, true, share, share.numbers.data()) && update.Commit();
  });
  const double read = share.TimeReading([&](double* back) { return move(all, field, false, share, back); });
  all.Close();
  if (share.rank == 0)
    std::printf("%.6f %.6f\n", wrote, read);
}

// What a program does without a library for ranks: all rows go to rank 0.
void funnel(mpi_Share& share, const char* name, int option) {
  ORXSimContextID context;
  ORXSimDistributionRef field{ORXSimDistributionID()};
  if (share.rank == 0)
    context = ORXSimManager::CreateContext(cow_String(name), 0, 102, false, option);
  std::vector<double> whole(share.rank == 0 ? static_cast<std::size_t>(3 * share.rows) : 0);
  std::vector<int> counts, places;
  for (std::int64_t rank = 0, at = 0; rank < share.size; at += counts[static_cast<std::size_t>(rank++)]) {
    counts.push_back(
        static_cast<int>(3 * (share.rows * (rank + 1) / share.size - share.rows * rank / share.size)));
    places.push_back(static_cast<int>(at));
  }
  const int mine = static_cast<int>(share.numbers.size());
  const auto bytes = static_cast<std::int64_t>(whole.size() * sizeof(double));
  const double wrote = mpi_Share::Time([&] {
    MPI_Gatherv(share.numbers.data(), mine, MPI_DOUBLE, whole.data(), counts.data(), places.data(),
                MPI_DOUBLE, 0, MPI_COMM_WORLD);
    if (share.rank != 0)
      return true;
    ORXSimUpdate update(context);
    field = ORXSimDistributionRef(makeModel(context, share.rows, 1));
    return field.WriteItems(0, 0, static_cast<int>(share.rows), whole.data(), bytes) && update.Commit();
  });
  const double read = share.TimeReading([&](double* back) {
    const bool good =
        share.rank != 0 || field.ReadItems(0, 0, static_cast<int>(share.rows), whole.data(), bytes);
    MPI_Scatterv(whole.data(), counts.data(), places.data(), MPI_DOUBLE, back, mine, MPI_DOUBLE, 0,
                 MPI_COMM_WORLD);
    return good;
  });
  ORXSimManager::CloseContext(context);
  if (share.rank == 0)
    std::printf("%.6f %.6f\n", wrote, read);
}

// The median of many commits of an update in which ranks write a drawer of that size, in microseconds.
void commits(mpi_Share& share, const char* name, int option) {
  ORXSimRanks all = ORXSimRanks::Create(MPI_COMM_WORLD, cow_String(name), 0, 102, false, option);
  ORXSimDistributionID field;
  std::vector<double> times;
  for (int step = 0; step < 300; ++step)
    times.push_back(1e6 * mpi_Share::Time([&] {
                      ORXSimRankUpdate update(all);
                      if (share.rank == 0 && step == 0)
                        field = makeModel(all.Context(), share.rows, 1);
                      return move(all, field, true, share, share.numbers.data()) && update.Commit();
                    }));
  std::nth_element(times.begin(), times.begin() + 150, times.end());
  all.Close();
  if (share.rank == 0)
    std::printf("%.1f 0\n", times[150]);
}

} // namespace

int main(int argc, char** argv) {
  MPI_Init(&argc, &argv);
  if (argc < 4)
    mpi_Share::Fail("usage: mpi_bulk raw|ranks|funnel|commits FILE MEGABYTES [OPTION]");
  const std::string way = argv[1];
  const int option = argc > 4 ? std::atoi(argv[4]) : 1;
  mpi_Share share(std::atoll(argv[3]));
  if (way == "raw")
    raw(share, argv[2]);
  else if (way == "ranks")
    ranks(share, argv[2], option);
  else if (way == "funnel")
    funnel(share, argv[2], option);
  else
    commits(share, argv[2], option);
  MPI_Finalize();
}
