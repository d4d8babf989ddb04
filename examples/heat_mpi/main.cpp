// The bar of ../heat by the ranks of an MPI job. Every step is one commit point of all ranks: each writes the
// temperatures of its own nodes, rank 0 the step's time. Whoever looks at the file sees whole steps only, and
// after a death the next job goes on where the last one was, with as many ranks as it has.
#include "heat_Halo.h"
#include "heat_Options.h"
#include "heat_RankSolver.h"
#include "heat_Result.h"
#include "heat_Share.h"

#include <iostream>
#include <limits>
#include <optional>

namespace {
void tell(const heat_Team& team, const heat_Options& options, const heat_Share& share) {
  const int least = static_cast<int>(team.Least(share.Elements()));
  const int most = static_cast<int>(team.Greatest(share.Elements()));
  if (!team.IsRoot())
    return;
  const std::string low = std::to_string(least), high = std::to_string(most);
  if (team.Size() == 1)
    std::printf("%s: 1 rank with all %s elements\n", options.file.c_str(), high.c_str());
  else
    std::printf("%s: %d ranks with %s %s each, %s\n", options.file.c_str(), team.Size(),
                (least < most ? low + " to " + high : high).c_str(), most == 1 ? "element" : "elements",
                share.told.c_str());
}

void solve(const heat_Team& team, const heat_Options& options, const heat_File& file) {
  const heat_Share share = heat_ReadShare(team, file);
  const heat_Halo halo(team, share.nodes, share.allNodes);
  tell(team, options, share);
  if (team.IsRoot() && file.Ranks().Funnelled())
    std::printf("%s: all data goes through rank 0: %s\n", options.file.c_str(), file.Ranks().FunnelCause());
  double low = std::numeric_limits<double>::infinity(), high = -low;
  if (!share.nodes.empty()) {
    low = share.points.row(0).minCoeff();
    high = share.points.row(0).maxCoeff();
  }
  low = team.Least(low);
  high = team.Greatest(high);
  std::optional<heat_Bar> bar;
  heat_Matrices matrices;
  team.Together([&] {
    bar.emplace(share.points, low, high, options.problem);
    matrices = heat_Assemble(share.blocks, share.points);
  });
  const heat_RankSolver solver(halo, matrices, *bar);

  heat_Result result(team, file);
  if (result.Steps() > 0 && team.IsRoot())
    heat_TellGoingOn(options, result.Steps());
  Eigen::VectorXd now = result.Steps() > 0 ? result.Last(share.nodes) : bar->Begin();
  std::vector<int> owned; // nodes of the mesh
  for (const int node : halo.Owned())
    owned.push_back(share.nodes[static_cast<std::size_t>(node)]);
  for (int step = result.Steps(); step <= options.problem.steps; ++step) {
    if (step > 0)
      now = solver.Next(now);
    result.Append(options.problem.Time(step), owned, now(halo.Owned()));
    const double warmest = team.Greatest(now.size() > 0 ? now.maxCoeff() : 0);
    if (team.IsRoot())
      heat_TellStep(options, step, warmest);
    heat_Pause(options);
  }
}

// A failure that the others do not know of ends the job: they would wait for this rank.
void run(const heat_Team& team, const heat_Options& options) {
  const heat_File file(team, options.file);
  try {
    solve(team, options, file);
  } catch (const heat_Failure&) {
    throw;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "heat_mpi: rank %d: %s\n", team.Rank(), error.what());
    MPI_Abort(team.Comm(), 1);
  }
}

int start(const heat_Team& team, int argc, char** argv) {
  CLI::App app("Heat conduction along a bar, insulated at its sides and kept at 0 K at its two ends,\n"
               "by the ranks of an MPI job: mpirun -n 4 heat_mpi FILE");
  heat_Options options;
  heat_AddOptions(app, options);
  app.footer(
      "The elements go to the ranks by the parts of pdmsim partition FILE 4, where there are as many parts "
      "as\n"
      "ranks or a multiple of them; else in slices.\n"
      "Run it again after a death, with any number of ranks, or with more --steps and a later --end of the\n"
      "same step length: it goes on where it was. The result is that of heat FILE, but for round-off.\n"
      "Follow it from another terminal: pdmsim watch FILE");
  std::ostream silent(nullptr); // every rank has the same words to say
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error, team.IsRoot() ? std::cout : silent, team.IsRoot() ? std::cerr : silent);
  }
  try {
    run(team, options);
    return 0;
  } catch (const heat_Failure& failure) {
    if (team.IsRoot())
      std::fprintf(stderr, "heat_mpi: %s\n", failure.what());
    return 1;
  }
}
} // namespace

int main(int argc, char** argv) {
  MPI_Init(&argc, &argv);
  const int code = start(heat_Team(MPI_COMM_WORLD), argc, argv);
  MPI_Finalize();
  return code;
}
