// Numbering by all ranks of a job beside its rank 0 alone, and beside the numbering of one process: medians
// of interleaved rounds in one run. Usage: mpirun -np 2 mpi_numbering [NODES [ROUNDS]]

#include <mpi/ORXSim_RankNumbering.h>

#include <PDM_Core.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Times = std::map<std::string, std::vector<double>>;

void must(bool good) {
  if (!good) {
    std::fprintf(stderr, "%s\n", ORXSimRanks::LastError());
    MPI_Abort(MPI_COMM_WORLD, 1);
  }
}

// All ranks of the communicator begin together; the time is that of the last.
template <class Work>
double seconds(MPI_Comm comm, Work work) {
  MPI_Barrier(comm);
  const auto begin = Clock::now();
  work();
  MPI_Barrier(comm);
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

// Half of the nodes have three DOFs, half six, as in solids with shells on them.
int maskOf(std::int64_t node) {
  return node / 64 % 2 == 0 ? 7 : 63;
}

// A block of hexahedra, n nodes a side: this rank's share of its layers and the nodes that begin there.
struct Block {
  Block(MPI_Comm comm, std::int64_t wanted) {
    while ((n + 1) * (n + 1) * (n + 1) <= wanted)
      ++n;
    int rank = 0, size = 1;
    MPI_Comm_rank(comm, &rank);
    MPI_Comm_size(comm, &size);
    const std::int64_t from = n * rank / size, to = n * (rank + 1) / size;
    first = from * n * n, count = (to - from) * n * n;
    for (std::int64_t z = from; z < std::min(to, n - 1); ++z)
      for (std::int64_t y = 0; y < n - 1; ++y)
        for (std::int64_t x = 0; x < n - 1; ++x)
          for (const std::int64_t corner : {z * n * n, (z + 1) * n * n})
            for (const std::int64_t side : {y * n, (y + 1) * n})
              elements.insert(elements.end(), {corner + side + x, corner + side + x + 1});
  }
  std::int64_t n = 1, first = 0, count = 0;
  std::vector<std::int64_t> elements;
};

void numberByRanks(MPI_Comm comm, std::int64_t nodes, const std::string& who, Times& times) {
  int rank = 0, size = 1;
  MPI_Comm_rank(comm, &rank);
  MPI_Comm_size(comm, &size);
  const std::int64_t first = nodes * rank / size, count = nodes * (rank + 1) / size - first;
  std::vector<int> masks(static_cast<std::size_t>(count));
  std::vector<std::int64_t> near(masks.size()), far(masks.size());
  for (std::int64_t i = 0; i < count; ++i) {
    const auto at = static_cast<std::size_t>(i);
    masks[at] = maskOf(first + i);
    near[at] = first + count - i;  // backwards within the rank
    far[at] = nodes - (first + i); // backwards, so that most places are another rank's
  }
  ORXSimRankNumbering numbering;
  times["number/" + who].push_back(seconds(comm, [&] {
    must(numbering.SetNodes(comm, first, count) && numbering.AddMasks(masks.data()) &&
         numbering.Number(0, false));
  }));
  for (const auto& [name, places] : {std::pair("order/", &near), std::pair("far/", &far)})
    times[name + who].push_back(
        seconds(comm, [&] { must(numbering.SetupSolverDofs(places->data(), masks.data())); }));
}

void patternByRanks(MPI_Comm comm, std::int64_t nodes, const std::string& who, Times& times) {
  const Block block(comm, nodes);
  const ORXSimRankElements elements{block.elements.data(),
                                    static_cast<std::int64_t>(block.elements.size()) / 8, 8};
  const std::vector<int> masks(static_cast<std::size_t>(elements.count), 1);
  ORXSimRankNumbering numbering;
  ORXSimRankPattern pattern;
  times["pattern/" + who].push_back(seconds(comm, [&] {
    must(numbering.SetNodes(comm, block.first, block.count) &&
         numbering.AddElementMasks(elements, masks.data()) && numbering.Number(0, false) &&
         numbering.Pattern(&elements, 1, pattern));
  }));
}

void numberByOne(std::int64_t nodes, Times& times) {
  const int n = static_cast<int>(nodes);
  auto* const masks =
      static_cast<int*>(mem_OperatorNewThrowBuiltin(static_cast<std::size_t>(n) * sizeof(int)));
  std::vector<int> chosen, places;
  for (int i = 0; i < n; ++i) {
    masks[i] = maskOf(i);
    chosen.push_back(masks[i]);
    places.push_back(n - i);
  }
  std::unique_ptr<fesD_NodalDofDefinition> numbering;
  times["number/process"].push_back(seconds(
      MPI_COMM_SELF, [&] { numbering = std::make_unique<fesD_NodalDofDefinition>(masks, n, 0, false); }));
  times["order/process"].push_back(
      seconds(MPI_COMM_SELF, [&] { numbering->SetupSolverDofs(places.data(), chosen.data()); }));
}

// The other ranks leave the machine to rank 0.
template <class Work>
void onRankZero(int rank, Work work) {
  if (rank == 0)
    work();
  MPI_Request request = MPI_REQUEST_NULL;
  MPI_Ibarrier(MPI_COMM_WORLD, &request);
  for (int done = 0; done == 0; MPI_Test(&request, &done, MPI_STATUS_IGNORE))
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

double median(std::vector<double> times) {
  std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
  return times[times.size() / 2];
}

double best(const std::vector<double>& times) {
  return *std::min_element(times.begin(), times.end());
}

void tell(const std::string& work, int size, Times& times) {
  const std::vector<double>&one = times[work + "/one"], &all = times[work + "/all"];
  std::printf("%-8s 1 rank %.3f (%.3f)   %d ranks %.3f (%.3f)   ratio %.2f (%.2f)", work.c_str(), median(one),
              best(one), size, median(all), best(all), median(all) / median(one), best(all) / best(one));
  if (const auto process = times.find(work + "/process"); process != times.end())
    std::printf("   without ranks %.3f (%.3f)", median(process->second), best(process->second));
  std::printf("\n");
}

} // namespace

int main(int argc, char** argv) {
  MPI_Init(&argc, &argv);
  const std::int64_t nodes = argc > 1 ? std::atoll(argv[1]) : 10'000'000;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 9;
  int rank = 0, size = 1;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  MPI_Comm_size(MPI_COMM_WORLD, &size);
  Times times;
  for (int round = 0; round < rounds; ++round) {
    onRankZero(rank, [&] { numberByOne(nodes, times); });
    onRankZero(rank, [&] {
      numberByRanks(MPI_COMM_SELF, nodes, "one", times);
      patternByRanks(MPI_COMM_SELF, nodes / 10, "one", times);
    });
    numberByRanks(MPI_COMM_WORLD, nodes, "all", times);
    patternByRanks(MPI_COMM_WORLD, nodes / 10, "all", times);
  }
  if (rank == 0) {
    std::printf("%lld nodes (pattern: a tenth, in hexahedra), seconds: medians (best) of %d rounds\n",
                static_cast<long long>(nodes), rounds);
    for (const char* work : {"number", "order", "far", "pattern"})
      tell(work, size, times);
  }
  MPI_Finalize();
}
