#include <pdmsim/commands/cmd_Export.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Input.h>
#include <pdmsim/cli/cli_NewFile.h>
#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/commands/cmd_Opening.h>
#include <pdmsim/export/exp_Formats.h>
#include <pdmsim/export/out/exp_OneStep.h>
#include <pdmsim/show/show_Text.h>
#include <pdmsim/stored/sto_File.h>
#include <pdmsim/stored/sto_Mesh.h>
#include <pdmsim/stored/sto_Rest.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>

namespace {

struct Options {
  sto_Opening opening;
  exp_Wanted wanted;
  std::string format;
  std::optional<int> step;
  bool lossy = false, force = false, quiet = false, json = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim export beam.pdm beam.exo                  Exodus II, with all sets and results
  pdmsim export beam.pdm beam.vtu --step 3         one step for VTK and ParaView
  pdmsim export beam.pdm beam.pvd                  all steps: beam.pvd, beam_0.vtu, beam_1.vtu...
  pdmsim export beam.pdm beam.pvd --compress       the same, smaller and slower
  pdmsim export beam.pdm beam.hdf                  VTKHDF: all steps in one file
  pdmsim export beam.pdm beam.msh --lossy          Gmsh 4.1; what it does not hold is said and left out
  pdmsim export beam.pdm t.csv --field temperature
  pdmsim export beam.pdm t.csv --field elementFields/stress --step 0
  pdmsim export beam.pdm last.exo --step 9         a mesh with only the tenth step
  pdmsim export beam.pdm beam.exo --json | jq .losses

The name of OUT tells the format, or --format does. Nodes and elements keep the user's numbers, blocks and
sets their names and numbers, values their type. What OUT's format does not hold ends the export with one
line that lists it; --lossy exports the rest and says each loss in a line on standard error and in "losses"
of --json. Imported again, an Exodus II file gives what was exported. Steps are counted from 0.
OUT appears only when it is whole and on the disk; until then its bytes are in OUT.new-PID. --force replaces
a file of that name, and no simulation file.)";

/// Refuses options that mean nothing to the format.
void CheckOptions(const Options& options, const exp_Format& format) {
  if (format.oneField == options.wanted.field.empty())
    throw cli_Failure(cli_Exit::kNotThere,
                      options.wanted.out + ": expected --field NAME with csv and no other format, found " +
                          (format.oneField ? "none" : "it with " + std::string(format.name)));
  const auto only = [&](bool given, const char* option, const char* name) {
    if (given && std::string(format.name) != name)
      throw cli_Failure(cli_Exit::kNotThere, options.wanted.out + ": expected " + option + " with " + name +
                                                 " only, found it with " + format.name);
  };
  only(options.wanted.ascii, "--ascii", "gmsh");
  only(options.wanted.packed, "--compress", "vtu");
}

/// Ends the export with what would be lost, in one line.
[[noreturn]] void Refuse(const Options& options, const exp_Format& format,
                         const std::vector<std::string>& losses) {
  constexpr std::size_t kMostListed = 100;
  std::string list;
  for (std::size_t i = 0; i < std::min(losses.size(), kMostListed); ++i)
    list += (i == 0 ? "" : "; ") + losses[i];
  if (losses.size() > kMostListed)
    list += "; and " + std::to_string(losses.size() - kMostListed) + " more";
  throw cli_Failure(cli_Exit::kUnusable, options.opening.file + ": expected only what " + format.title +
                                             " holds, found " + list + " (--lossy leaves that out)");
}

/// A rough number of bytes to be moved.
double Work(const mesh_Source& mesh) {
  double numbers = 4.0 * static_cast<double>(mesh.Nodes());
  for (const mesh_Block& block : mesh.Blocks())
    numbers += static_cast<double>(block.elements * (block.nodesPerElement / 2 + 1));
  for (std::size_t place = 1; place < mesh_kPlaces; ++place) {
    const mesh_Variables& variables = mesh.Variables(static_cast<mesh_Place>(place));
    for (std::size_t entity = 0; entity < variables.present.size(); ++entity)
      for (std::size_t i = 0; i < variables.names.size(); ++i)
        if (variables.present[entity][i])
          numbers += static_cast<double>(variables.entitySizes[entity] * variables.Components(i) *
                                         std::max<std::size_t>(1, mesh.Times().size()));
  }
  return 8.0 * numbers;
}

show_Json Summary(const Options& options, const exp_Format& format, const mesh_Source& mesh,
                  unsigned long long bytes, double seconds, const std::vector<std::string>& losses) {
  return {{"file", options.opening.file}, {"output", options.wanted.out},
          {"format", format.name},        {"nodes", mesh.Nodes()},
          {"elements", mesh.Elements()},  {"blocks", mesh.Blocks().size()},
          {"steps", mesh.Times().size()}, {"bytes", bytes},
          {"seconds", seconds},           {"losses", losses}};
}

void Print(const show_Json& s) {
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%.2f s", s["seconds"].get<double>());
  std::cout << show_Printable(s["output"].get<std::string>()) << ": " << s["format"].get<std::string>()
            << ", " << show_Size(s["bytes"].get<unsigned long long>()) << " in " << seconds << "\n";
}

void Tell(const Options& options, const std::vector<std::string>& losses, const show_Json& summary) {
  for (const std::string& line : losses)
    if (!options.quiet)
      std::cerr << show_Printable(options.wanted.out + ": not exported: " + line) << '\n';
  if (options.json)
    show_PrintJson(summary);
  else if (!options.quiet)
    Print(summary);
  show_Flush();
}

void Export(const Options& options) {
  cli_CatchSignals();
  cli_CheckOutput(options.wanted.out, options.opening.file);
  const exp_Format& format = exp_FormatOf(options.wanted.out, options.format);
  CheckOptions(options, format);
  const auto isOther = [](const std::string& path) { return !cli_IsSimulation(path); };
  exp_Files files(options.force, {"a file that is no simulation file", isOther});
  files.Spare(options.opening.file);
  files.CheckName(options.wanted.out);
  std::vector<std::string> losses;
  show_Json summary;
  {
    cli_Progress progress("exporting " + options.opening.file, !options.quiet);
    const sto_File file(options.opening);
    const msfD_Mesh stored = file.Mesh();
    const sto_Mesh all(file.Path(), stored);
    file.Check();
    std::optional<exp_OneStep> one;
    if (options.step)
      one.emplace(all, static_cast<std::size_t>(*options.step));
    const mesh_Source& mesh = one ? static_cast<const mesh_Source&>(*one) : all;
    const exp_Task task{mesh, options.wanted, progress};
    if (!format.oneField)
      losses = sto_Rest(file);
    for (std::string& line : format.losses(task))
      losses.push_back(std::move(line));
    if (!options.lossy && !losses.empty())
      Refuse(options, format, losses);
    progress.Total(Work(mesh));
    format.write(task, files);
    file.Check();
    cli_CheckSignals();
    files.Commit();
    summary = Summary(options, format, mesh, files.Bytes(), progress.Seconds(), losses);
  }
  Tell(options, losses, summary);
}

} // namespace

void cmd_AddExport(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command =
      program.add_subcommand("export", "Turn a simulation file into a mesh of another format");
  cmd_AddOpening(*command, options->opening);
  command->add_option("OUT", options->wanted.out, "file to write")->required();
  std::vector<std::string> formats;
  for (const exp_Format& format : exp_Formats())
    formats.emplace_back(format.name);
  command->add_option("--format", options->format, "what OUT becomes (default: its ending tells)")
      ->check(CLI::IsMember(formats));
  command->add_option("--field", options->wanted.field, "csv: the field to write, NAME or PLACE/NAME");
  command->add_option("--step", options->step, "only this step, counted from 0")->check(cmd_Whole(0));
  command->add_flag("--ascii", options->wanted.ascii, "gmsh: text instead of binary numbers");
  command->add_flag("--compress", options->wanted.packed, "vtu: numbers packed by zlib");
  command->add_flag("--lossy", options->lossy, "leave out what the format does not hold, and say it");
  command->add_flag("--force", options->force, "replace OUT if it is there");
  command->add_flag("--quiet", options->quiet, "no progress, losses and summary; errors only");
  command->add_flag("--json", options->json, "print the summary as JSON");
  command->footer(kFooter);
  command->callback([options] {
    options->wanted.firstStep = static_cast<std::size_t>(options->step.value_or(0));
    Export(*options);
  });
}
