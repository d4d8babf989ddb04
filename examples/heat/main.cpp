// Transient heat conduction on an imported mesh. Every step is a commit point: whoever looks at the file sees
// whole steps only, and after a death the next run goes on where the last one was.
#include "heat_Bar.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <thread>

namespace {
struct Options {
  std::string file;
  heat_Problem problem{.end = 600, .steps = 30};
  bool series = false;
  int pause = 0; // milliseconds after each step
};

pdm::Field temperatureOf(const pdm::Mesh& mesh) {
  const pdm::Fields fields = mesh.node_fields();
  return fields.contains("temperature") ? fields["temperature"]
                                        : fields.create_empty("temperature", {.unit = "K"});
}

void run(const Options& options) {
  const auto sim = pdm::open(options.file, pdm::write);
  const pdm::Mesh mesh = sim.model().mesh();
  heat_Bar bar(mesh, options.problem);
  const pdm::Field temperature = temperatureOf(mesh);
  Eigen::VectorXd now(mesh.node_count());
  int step = temperature.size();
  if (step > 0) {
    temperature[step - 1].read(std::span(now.data(), static_cast<std::size_t>(now.size())));
    std::printf("%s: %d steps are there, going on\n", options.file.c_str(), step);
  }
  for (; step <= options.problem.steps; ++step) {
    const double time = bar.Time(step);
    now = options.series ? bar.Series(time) : step == 0 ? bar.Begin() : bar.Next(now);
    auto update = sim.update();
    if (step == 0)
      mesh.set_times(std::span(&time, 1)); // those that came with the mesh are of no result
    else
      mesh.append_time(time);
    temperature.append(std::span<const double>(now.data(), static_cast<std::size_t>(now.size())));
    update.commit(); // from here on the step is there, whatever happens
    std::printf("step %d of %d, %g s: %.4f K at the warmest\n", step, options.problem.steps, time,
                now.maxCoeff());
    std::fflush(stdout);
    std::this_thread::sleep_for(std::chrono::milliseconds(options.pause));
  }
}
} // namespace

int main(int argc, char** argv) {
  CLI::App app("Heat conduction along a bar, insulated at its sides and kept at 0 K at its two ends");
  Options options;
  app.add_option("FILE", options.file, "simulation file with a mesh of HEX8 or TET4")->required();
  app.add_option("--end", options.problem.end, "time of the last step in s")->check(CLI::PositiveNumber);
  app.add_option("--steps", options.problem.steps, "number of steps")->check(CLI::PositiveNumber);
  app.add_option("--diffusivity", options.problem.diffusivity, "in square lengths of the mesh by s")
      ->check(CLI::PositiveNumber);
  app.add_option("--pause", options.pause, "milliseconds to wait after each step")
      ->check(CLI::NonNegativeNumber);
  app.add_flag("--series", options.series, "write the exact temperatures instead of computing any");
  app.footer("Run it again after a death, or with more --steps and a later --end of the same step length: it "
             "goes on where it was.\n"
             "Follow it from another terminal: pdmsim watch FILE");
  CLI11_PARSE(app, argc, argv);
  try {
    run(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "heat: %s\n", error.what());
    return 1;
  }
}
