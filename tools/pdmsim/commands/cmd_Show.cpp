#include <pdmsim/commands/cmd_Show.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Guess.h>
#include <pdmsim/commands/cmd_Opening.h>
#include <pdmsim/show/show_Data.h>
#include <pdmsim/show/show_Names.h>
#include <pdmsim/show/show_Objects.h>
#include <pdmsim/show/show_Summary.h>
#include <pdmsim/show/show_Text.h>
#include <pdmsim/stored/sto_File.h>

#include <PDM_Core.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

namespace {

struct Options {
  sto_Opening opening;
  std::string path;
  show_Choice choice;
  show_Format format;
  std::optional<int> most;
  bool json = false, all = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim show beam.pdm                        the whole tree, without reading bulk data
  pdmsim show beam.pdm discreteModel/mesh     one object
  pdmsim show beam.pdm discreteModel/mesh/nodeFields/coordinates --head 3
  pdmsim show beam.pdm discreteModel/mesh/nodeFields/temperature --step 2
  pdmsim show beam.pdm discreteModel/mesh/nodeSets/inlet
  pdmsim show beam.pdm discreteModel/mesh/surfaces/wall
  pdmsim show beam.pdm discreteModel/mesh/systems/0 --json

PATH descends by member name; an array takes an element's number. In a map the whole rest of PATH is
the key, so names with '/' in them need no quoting of their own. Items, drawers and steps are numbered from
0; the user's own numbers are the field 'label' and stand beside the items. A field's values lie in drawers:
one for each step, or for each block or part of a set that has the field.)";

constexpr char kModel[] = "discreteModel/", kMesh[] = "discreteModel/mesh/";

show_Json DescribeAll(const Options& options, std::uintmax_t bytes, show_Objects& objects,
                      ORXSimContextID context) {
  show_Json description{{"file", options.opening.file}, {"bytes", bytes}};
  const show_Json simulation = objects.Describe();
  description["summary"] = show_Summarize(simulation, context);
  description.update(simulation);
  return description;
}

/// Where the path ends and what is there instead; or the whole path, when only its beginning is missing.
[[noreturn]] void FailToFind(const Options& options, show_Objects& objects) {
  const auto stop = objects.Stopped();
  std::string where;
  const std::string rest = options.path.substr(options.path[0] == '/');
  for (const char* const above : {kModel, kMesh})
    if (where.empty() && !rest.starts_with("discreteModel") && objects.Find(above + rest))
      where = ": did you mean '" + (above + rest) + "'?";
  if (where.empty() && stop)
    where = ": " + (stop->at.empty() ? "the simulation" : "'" + stop->at + "'") + " has " +
            (stop->names.empty() ? "nothing in it"
                                 : "no '" + stop->name + "'" + cli_Guess(stop->name, stop->names));
  throw cli_Failure(cli_Exit::kNotThere, options.opening.file + ": expected '" + options.path +
                                             "' in the simulation, found nothing of that name" + where);
}

show_Json DescribeOne(const Options& options, show_Objects& objects, const sto_File& file) {
  std::optional<show_Target> target =
      objects.Find(std::string_view(options.path).substr(options.path[0] == '/'));
  file.Check(); // what cannot be read is not what is not there
  if (!target)
    FailToFind(options, objects);
  const bool isField = target->distribution && !target->distribution->IsNull();
  if (target->description.is_object() && target->description.value("kind", "") == "missing")
    return target->description;
  if ((options.choice.drawer || options.choice.step) && !isField)
    throw cli_Failure(cli_Exit::kNotThere, options.opening.file +
                                               ": expected a field for --drawer and --step, found '" +
                                               options.path + "', which is none");
  if (isField) {
    if (target->member == "surfaces")
      show_AddSides(*target->distribution, target->description);
    show_FieldData(options.opening.file + ": " + options.path, *target->distribution, options.choice,
                   target->description);
  }
  if (target->set && !target->set->IsNull())
    show_SetData(*target->set, options.choice.head, target->description);
  return target->description;
}

void Print(const Options& options, const show_Json& description) {
  if (options.path.empty()) {
    std::cout << show_Printable(options.opening.file) << ": " << show_SummaryLine(description["summary"])
              << " (" << show_Size(description["bytes"].get<unsigned long long>()) << ")\n";
    show_Write(std::cout, "simulation", description, 0, options.format);
  } else if (description.is_null()) {
    std::cout << show_Printable(options.path) << ": nothing is set\n";
  } else {
    show_Write(std::cout, options.path, description, 0, options.format);
  }
}

void Show(Options options) {
  constexpr int kMostInJson = 100;
  const int elements =
      options.all ? 0 : options.most.value_or(options.json ? kMostInJson : options.format.most);
  options.format.most = elements;
  options.choice.most = options.json ? 0 : options.format.most;
  const sto_File file(options.opening);
  std::error_code unknown;
  const auto size = std::filesystem::file_size(options.opening.file, unknown), bytes = unknown ? 0 : size;
  const show_Names names(file.Sim().discreteModel(), file.Context());
  file.Check();
  const show_NamesInUse inUse(names);
  show_Objects objects(options.opening.file, bytes, file.Context(), elements);
  const show_Json description = options.path.empty() ? DescribeAll(options, bytes, objects, file.Context())
                                                     : DescribeOne(options, objects, file);
  file.Check();
  if (options.json)
    show_PrintJson(description);
  else
    Print(options, description);
  show_Flush();
}

} // namespace

void cmd_AddShow(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("show", "Print what is in a simulation file");
  cmd_AddOpening(*command, options->opening);
  command->add_option("PATH", options->path, "an object, a set or a field in it");
  command->add_option("--head", options->choice.head, "rows of a field, or members of a set, to print")
      ->check(cmd_Whole(0))
      ->capture_default_str()
      ->type_name("N");
  CLI::Option* drawer = command
                            ->add_option("--drawer", options->choice.drawer,
                                         "the only drawer of a field to look at (default: all)")
                            ->type_name("N")
                            ->check(cmd_Whole(0));
  command->add_option("--step", options->choice.step, "the only step of a field to look at (default: all)")
      ->type_name("N")
      ->check(cmd_Whole(0))
      ->excludes(drawer);
  command->add_option("--digits", options->format.digits, "digits of a real number")
      ->check(cmd_Whole(1, 17))
      ->capture_default_str()
      ->type_name("N");
  command
      ->add_option(
          "--most", options->most,
          "lines of a list before the rest is counted, ten times as many of named things (default: 10); "
          "elements of an array in JSON (default: 100)")
      ->check(cmd_Whole(1))
      ->type_name("N");
  command->add_flag("--all", options->all, "print lists to their end");
  cmd_AddJson(*command, options->json);
  command->footer(kFooter);
  command->callback([options] { Show(*options); });
}
