// Transient heat conduction on an imported mesh. Every step is a commit point: whoever looks at the file sees
// whole steps only, and after a death the next run goes on where the last one was.
#include "heat_Options.h"
#include "heat_Solver.h"

namespace {
pdm::Field temperatureOf(const pdm::Mesh& mesh) {
  const pdm::Fields fields = mesh.node_fields();
  return fields.contains("temperature") ? fields["temperature"]
                                        : fields.create_empty("temperature", {.unit = "K"});
}

void run(const heat_Options& options, bool series) {
  const auto sim = pdm::open(options.file, pdm::write);
  const pdm::Mesh mesh = sim.model().mesh();
  heat_Solver solver(mesh, options.problem);
  const heat_Bar& bar = solver.Bar();
  const pdm::Field temperature = temperatureOf(mesh);
  Eigen::VectorXd now(mesh.node_count());
  int step = temperature.size();
  if (step > 0) {
    temperature[step - 1].read(std::span(now.data(), static_cast<std::size_t>(now.size())));
    heat_TellGoingOn(options, step);
  }
  for (; step <= options.problem.steps; ++step) {
    const double time = options.problem.Time(step);
    now = series ? bar.Series(time) : step == 0 ? bar.Begin() : solver.Next(now);
    auto update = sim.update();
    if (step == 0)
      mesh.set_times(std::span(&time, 1)); // those that came with the mesh are of no result
    else
      mesh.append_time(time);
    temperature.append(std::span<const double>(now.data(), static_cast<std::size_t>(now.size())));
    update.commit(); // from here on the step is there, whatever happens
    heat_TellStep(options, step, now.maxCoeff());
    heat_Pause(options);
  }
}
} // namespace

int main(int argc, char** argv) {
  CLI::App app("Heat conduction along a bar, insulated at its sides and kept at 0 K at its two ends");
  heat_Options options;
  bool series = false;
  heat_AddOptions(app, options);
  app.add_flag("--series", series, "write the exact temperatures instead of computing any");
  app.footer("Run it again after a death, or with more --steps and a later --end of the same step length: it "
             "goes on where it was.\n"
             "Follow it from another terminal: pdmsim watch FILE");
  CLI11_PARSE(app, argc, argv);
  try {
    run(options, series);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "heat: %s\n", error.what());
    return 1;
  }
}
