#include <pdmsim/commands/cmd_View.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_NewFile.h>
#include <pdmsim/commands/cmd_Opening.h>
#include <pdmsim/show/show_Text.h>
#include <pdmsim/view/view_Sidecar.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>

namespace {

struct Options {
  sto_Opening opening;
  std::string out, system;
  bool series = false, json = false, force = false, quiet = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim view beam.pdm                        writes beam.hdf; paraview beam.hdf opens it
  pdmsim view beam.pdm -o out/beam.hdf --force
  pdmsim view beam.pdm --series               beam_0.hdf, beam_1.hdf... and beam.hdf.series
  pdmsim view beam.pdm --system "modal analysis"
  pdmsim view beam.pdm --live                 beside the solver that writes it: a copy of its numbers
  pdmsim check beam.hdf                       is all that it shows still there?

A view holds next to nothing: VTK and ParaView read the numbers from FILE itself, so both files must stay
where they are to each other. Without FILE a viewer shows zeros, without a word; pdmsim check names what is
missing. Sets are cell or point arrays of 0 and 1 under their names, blocks the cell array 'block', labels
the arrays 'label', modes point arrays such as 'mode 1 (123.4 Hz)', to be warped by. Where a field has no
values there is NaN or -1. A mesh with steps needs VTK 9.3 or ParaView 5.12 to show them all; older ones
show the first one, or play the .series that --series makes.
Refused while a writer or its journal is beside FILE: viewers do not see the journal. With --live the view holds
copies of all numbers, as they are at the writer's last commit, and needs FILE no more.)";

show_Json Summary(const Options& options, const view_Summary& view, double seconds) {
  show_Json arrays = show_Json::array();
  for (const view_Array& array : view.arrays)
    arrays.push_back(
        {{"path", array.path}, {"mapped", array.mapped}, {"shows", array.origin}, {"unit", array.unit}});
  return {{"file", options.opening.file}, {"views", view.files}, {"arrays", std::move(arrays)},
          {"bytes", view.bytes},          {"seconds", seconds},  {"notes", view.notes}};
}

void Print(const view_Summary& view, double seconds) {
  std::size_t copied = 0;
  for (const view_Array& array : view.arrays)
    copied += array.mapped || array.path.starts_with("Steps") || array.path.starts_with("Number") ? 0 : 1;
  char time[32];
  std::snprintf(time, sizeof time, "%.2f s", seconds);
  std::cout << show_Printable(view.files.front()) << ": ";
  if (view.files.size() > 1)
    std::cout << view.files.size() - 1 << " files, ";
  std::cout << view.arrays.size() << " arrays, " << copied << " of them made or copied, "
            << show_Size(view.bytes) << " in " << time << '\n';
}

void View(const Options& options) {
  cli_CatchSignals();
  view_Request request;
  request.out = options.out;
  if (request.out.empty())
    request.out = std::filesystem::path(options.opening.file).replace_extension(".hdf").string();
  if (!request.out.ends_with(".hdf") && !request.out.ends_with(".vtkhdf"))
    throw cli_Failure(cli_Exit::kNotThere, request.out + ": expected a name that ends with .hdf, by which "
                                                         "ParaView knows a view");
  cli_CheckOutput(request.out, options.opening.file);
  request.numbers = options.opening.live ? view_Numbers::kCopied : view_Numbers::kMapped;
  request.series = options.series;
  request.force = options.force;
  const sto_File file(options.opening);
  const std::vector<sto_ModalSystem> systems = sto_ModalSystems(options.opening.file, file.Mesh());
  request.system = view_FindSystem(options.opening.file, systems, options.system);
  const auto withShapes = std::count_if(systems.begin(), systems.end(),
                                        [](const sto_ModalSystem& system) { return system.shapeCount > 0; });
  view_Summary view;
  double seconds = 0;
  {
    cli_Progress progress("making a view of " + show_Printable(options.opening.file), !options.quiet);
    view = view_Write(file, request, progress);
    seconds = progress.Seconds();
  }
  if (request.system == nullptr && withShapes > 1)
    view.notes.push_back("modes are not shown, since " + std::to_string(withShapes) +
                         " systems have some; --system chooses one");
  if (!options.quiet)
    for (const std::string& note : view.notes)
      std::cerr << show_Printable(options.opening.file + ": " + note) << '\n';
  if (options.json)
    show_PrintJson(Summary(options, view, seconds));
  else if (!options.quiet)
    Print(view, seconds);
  show_Flush();
}

} // namespace

void cmd_AddView(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("view", "Make a small file that VTK and ParaView show FILE by");
  cmd_AddOpening(*command, options->opening);
  command->add_option("-o,--out", options->out, "file to write (default: FILE with the ending .hdf)");
  command->add_flag("--series", options->series, "a file for each step, and a list of them");
  command->add_option("--system", options->system,
                      "name or number of the system whose modes to show (default: the only one)");
  command->add_flag("--force", options->force, "replace a view that is there");
  command->add_flag("--quiet", options->quiet, "no progress, notes and summary; errors only");
  command->add_flag("--json", options->json, "print the summary as JSON");
  command->footer(kFooter);
  command->callback([options] { View(*options); });
}
