#include <pdmsim/commands/cmd_Import.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Input.h>
#include <pdmsim/cli/cli_Library.h>
#include <pdmsim/cli/cli_NewFile.h>
#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/import/imp_Formats.h>
#include <pdmsim/import/imp_Model.h>
#include <pdmsim/show/show_Text.h>

#include <filesystem>
#include <iostream>
#include <memory>

namespace {

struct Options {
  std::string mesh, file;
  mesh_Reading reading;
  std::vector<std::string> units;
  bool force = false, quiet = false, json = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim import beam.exo beam.pdm
  pdmsim import beam.exo beam.pdm --force --quiet && pdmsim show beam.pdm
  pdmsim import beam.exo beam.pdm --unit LENGTH=mm --unit temperature=K
  pdmsim import beam.exo beam.pdm --json | jq .nodes
  pdmsim import parts.vtu parts.pdm --sets-from material

MESH is Exodus II in any netCDF format, Gmsh 2.2 or 4.1, Medit, VTK legacy, .vtu, XDMF or MED; Abaqus and
Nastran, which Debian's python3-meshio reads, are experimental. Blocks become element sets and regions, side
sets surfaces, result variables fields with one drawer a step; node and element numbers are kept in the fields
'label'.
FILE appears only when it is whole and on the disk; until then its bytes are in FILE.new-PID. --force replaces
a simulation file, with what its journal holds, unless a program has it open, and nothing that is no HDF5
file.)";

/// Refuses what is no mesh but a simulation file already.
void CheckKind(const Options& options) {
  cli_ExpectFile(options.mesh, "a mesh");
  const cli_Library library;
  cli_RefuseSimulation(options.mesh);
}

/// Gives coordinates and variables the units that the command line names, as LENGTH=mm.
void SetUnits(const Options& options, mesh_Source& mesh) {
  for (const std::string& unit : options.units) {
    const std::size_t at = unit.rfind('=');
    const std::string what = unit.substr(0, at);
    if (at == std::string::npos || at + 1 == unit.size())
      throw cli_Failure(cli_Exit::kNotThere,
                        "--unit: expected WHAT=UNIT, as LENGTH=mm, found '" + unit + "'");
    if (!mesh.SetUnit(what, unit.substr(at + 1)))
      throw cli_Failure(cli_Exit::kNotThere, options.mesh +
                                                 ": expected LENGTH or a variable of the mesh for "
                                                 "--unit, found '" +
                                                 what + "'");
  }
}

show_Json Summary(const Options& options, const imp_Counts& counts, unsigned long long bytes,
                  double seconds) {
  show_Json renamed = show_Json::array();
  for (const imp_Renamed& one : counts.renamed)
    renamed.push_back({{"what", one.what}, {"from", one.from}, {"to", one.to}});
  return {{"mesh", options.mesh},
          {"file", options.file},
          {"nodes", counts.nodes},
          {"elements", counts.elements},
          {"blocks", counts.blocks},
          {"nodeSets", counts.nodeSets},
          {"elementSets", counts.elementSets},
          {"sideSets", counts.sideSets},
          {"fields", counts.fields},
          {"results", counts.results},
          {"steps", counts.steps},
          {"bytes", bytes},
          {"seconds", seconds},
          {"renamed", std::move(renamed)},
          {"notImported", counts.notImported}};
}

void Print(const show_Json& s) {
  const auto n = [&](const char* key, const std::string& what) {
    const auto count = s[key].get<unsigned long long>();
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
  };
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%.2f s", s["seconds"].get<double>());
  std::cout << show_Printable(s["file"].get<std::string>()) << ": " << n("nodes", "node") << ", "
            << n("elements", "element") << " in " << n("blocks", "block") << "\n  "
            << n("nodeSets", "node set") << ", " << n("elementSets", "element set") << " beside the blocks, "
            << n("sideSets", "surface") << ", " << n("results", "field") << " beside coordinates and labels, "
            << n("steps", "step") << "\n  " << show_Size(s["bytes"].get<unsigned long long>()) << " in "
            << seconds << "\n";
}

void Warn(const Options& options, const imp_Counts& counts) {
  for (const imp_Renamed& one : counts.renamed)
    std::cerr << show_Printable(options.mesh + ": the name '" + one.from + "' of " + one.what +
                                " is taken; it is called '" + one.to + "'")
              << '\n';
  for (const std::string& note : counts.notImported)
    std::cerr << show_Printable(options.mesh + ": not imported: " + note) << '\n';
}

void Import(const Options& options) {
  cli_CatchSignals();
  cli_CheckOutput(options.file, options.mesh);
  CheckKind(options);
  const std::unique_ptr<mesh_Source> mesh = imp_OpenMesh(options.mesh, options.reading);
  for (const std::string& other : mesh->OtherFiles())
    cli_CheckOutput(options.file, other);
  SetUnits(options, *mesh);
  imp_Counts counts;
  double seconds = 0;
  {
    cli_Progress progress("importing " + options.mesh, !options.quiet);
    const cli_Library library;
    counts = imp_WriteModel(*mesh, options.file, options.force, library, progress);
    seconds = progress.Seconds();
  }
  const unsigned long long bytes = std::filesystem::file_size(options.file);
  if (!options.quiet)
    Warn(options, counts);
  const show_Json summary = Summary(options, counts, bytes, seconds);
  if (options.json)
    show_PrintJson(summary);
  else if (!options.quiet)
    Print(summary);
}

} // namespace

void cmd_AddImport(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("import", "Turn a mesh into a simulation file");
  command->add_option("MESH", options->mesh, "mesh to read")->required();
  command->add_option("FILE", options->file, "simulation file to write")->required();
  std::vector<std::string> formats;
  for (const mesh_Format& format : imp_Formats())
    formats.emplace_back(format.name);
  command->add_option("--format", options->reading.format, "what MESH is (default: its content tells)")
      ->check(CLI::IsMember(formats));
  command
      ->add_option("--sets-from", options->reading.setsFrom,
                   "an array of integers on nodes or cells: a set NAME_VALUE for each of its values")
      ->type_name("NAME");
  command
      ->add_option("--unit", options->units,
                   "the unit of the coordinates (LENGTH=mm) or of a variable (NAME=UNIT); may be repeated")
      ->type_name("WHAT=UNIT")
      ->expected(1)
      ->take_all();
  command->add_flag("--force", options->force, "replace FILE if it is there");
  command->add_flag("--quiet", options->quiet, "no progress, notes and summary; errors only");
  command->add_flag("--json", options->json, "print the summary as JSON");
  command->footer(kFooter);
  command->callback([options] { Import(*options); });
}
