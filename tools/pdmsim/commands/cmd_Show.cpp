#include <pdmsim/commands/cmd_Show.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Library.h>
#include <pdmsim/show/show_Data.h>
#include <pdmsim/show/show_Objects.h>
#include <pdmsim/show/show_Text.h>

#include <PDM_Core.h>

#include <filesystem>
#include <iostream>
#include <memory>

namespace {

struct Options {
  std::string file, path;
  int head = 10, drawer = -1;
  bool json = false;
};

constexpr char kWhole[] = "a whole simulation file";
constexpr char kFooter[] = R"(Examples:
  pdmsim show beam.pdm                        the whole tree, without reading bulk data
  pdmsim show beam.pdm discreteModel/mesh     one object
  pdmsim show beam.pdm discreteModel/mesh/nodeFields/coordinates --head 3
  pdmsim show beam.pdm discreteModel/mesh/nodeSets/inlet
  pdmsim show beam.pdm discreteModel/mesh/systems/0 --json

PATH descends by member name; an array takes an element's number. In a map the whole rest of PATH is
the key, so names with '/' in them need no quoting of their own. Items are numbered from 0; the user's
own numbers are the field 'label'.)";

/// Refuses a file that is HDF5 but holds no simulation.
void CheckSim(const Options& options, ORXSimContextID context) {
  const hdf_Group root = ORXSimContextRef(context).File().RootGroup();
  const auto refuse = [&](const char* found) {
    throw cli_Failure(cli_Exit::kUnusable,
                      options.file + ": expected a simulation file, found an HDF5 file " + found);
  };
  if (!root.GetObjinfoExists("sim"))
    refuse("without a group 'sim'");
  const hdf_Group sim = root.GroupOpen("sim");
  gbb_ClassID id;
  if (!sim || !sim.AttributeExists("class") ||
      !sim.AttributeOpen("class").Read(hdf_Datatype::NATIVE_UCHAR, id.text, gbb_ClassID::kSize))
    refuse("whose 'sim' is no object");
  if (!(id == gbb_ClassID("com.vertana.Sim")))
    refuse("whose 'sim' is of another class");
}

show_Json DescribeAll(const Options& options, std::uintmax_t bytes, show_Objects& objects) {
  show_Json description{{"file", options.file}, {"bytes", bytes}};
  description.update(objects.Describe());
  return description;
}

show_Json DescribeOne(const Options& options, show_Objects& objects, const cli_Library& library) {
  std::optional<show_Target> target =
      objects.Find(std::string_view(options.path).substr(options.path[0] == '/'));
  library.Check(options.file, kWhole); // what cannot be read is not what is not there
  if (!target)
    throw cli_Failure(cli_Exit::kNotThere, options.file + ": expected '" + options.path +
                                               "' in the simulation, found nothing of that name");
  if (target->description.is_object() && target->description.value("kind", "") == "missing")
    return target->description;
  if (target->distribution && !target->distribution->IsNull())
    show_FieldData(*target->distribution, options.head,
                   options.drawer < 0 ? std::nullopt : std::optional(options.drawer), target->description);
  if (target->set && !target->set->IsNull())
    show_SetData(*target->set, options.head, target->description);
  return target->description;
}

void Show(const Options& options) {
  const cli_Library library;
  msfD_Root root(0);
  const msfD_Sim sim = root.openSimReadOnly(options.file.c_str(), "", -1);
  library.Check(options.file, "a simulation file");
  if (!sim)
    throw cli_Failure(cli_Exit::kUnusable, options.file + ": expected a simulation file, found none");
  const ORXSimContextID context = sim.distributionService().Context();
  CheckSim(options, context);
  std::error_code unknown;
  const auto size = std::filesystem::file_size(options.file, unknown), bytes = unknown ? 0 : size;
  show_Objects objects(options.file, bytes, context);
  const show_Json description =
      options.path.empty() ? DescribeAll(options, bytes, objects) : DescribeOne(options, objects, library);
  library.Check(options.file, kWhole);
  if (options.json)
    show_PrintJson(description);
  else if (options.path.empty())
    show_Write(std::cout,
               options.file + " (" + show_Size(description["bytes"].get<unsigned long long>()) + ")",
               description, 0);
  else
    show_Write(std::cout, options.path, description, 0);
  show_Flush();
}

} // namespace

void cmd_AddShow(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("show", "Print what is in a simulation file");
  command->add_option("FILE", options->file, "simulation file")->required();
  command->add_option("PATH", options->path, "an object, a set or a field in it");
  command->add_option("--head", options->head, "rows of a field, or members of a set, to print")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  command->add_option("--drawer", options->drawer, "the only drawer of a field to look at (default: all)")
      ->check(CLI::NonNegativeNumber);
  command->add_flag("--json", options->json, "print JSON, complete and for scripts");
  command->footer(kFooter);
  command->callback([options] { Show(*options); });
}
