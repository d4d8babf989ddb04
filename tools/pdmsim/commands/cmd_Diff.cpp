#include <pdmsim/commands/cmd_Diff.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_NewFile.h>
#include <pdmsim/cli/cli_Numbers.h>
#include <pdmsim/commands/cmd_Opening.h>
#include <pdmsim/diff/diff_Objects.h>
#include <pdmsim/import/imp_Formats.h>
#include <pdmsim/show/show_Text.h>

#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

struct Options {
  sto_Opening files[2];
  std::string readTolerances, writeTolerances;
  std::vector<std::string> rules, ignored;
  double abs = 0, rel = 0, floor = 0, time = -1;
  bool nanEqual = false, byItem = false, json = false, quiet = false, summary = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim diff old.pdm new.pdm                            are they the same, number by number?
  pdmsim diff old.pdm new.pdm --rel 1e-6 --floor 1e-12
  pdmsim diff old.pdm new.pdm --tol 'displ*=rel:1e-4,abs:1e-9' --tol 'stress=rel:1e-3'
  pdmsim diff old.pdm new.pdm --ignore 'systems/*' --ignore '*/unit'
  pdmsim diff old.pdm new.pdm --write-tolerances ok.tol  then, for the next results:
  pdmsim diff old.pdm newer.pdm --tolerances ok.tol
  pdmsim diff old.pdm new.pdm --json | jq '.differences[] | select(.what == "values") | .path'
  pdmsim diff old.pdm new.pdm --quiet || echo "not the same"

Nodes and elements are compared by label, sets, fields and systems by name, steps by time. A value passes
when |a-b| <= max(abs, rel max(|a|,|b|)), or when |a| and |b| are both below the floor. Without tolerances
values must be equal. The rules of --tol win over those of --tolerances, and these over --abs, --rel and
--floor, which are for real numbers only: integers pass with a tolerance when a rule fits their name.
Patterns fit a path as `pdmsim show` takes it, or what of it follows 'discreteModel/mesh/', or its last
name; * goes over slashes.

Exit codes: 0 the same, 1 different, 2 one of them cannot be read.)";

/// The title of the format that knows a content as its own; HDF5 may be anything. None: "".
std::string MeshTitle(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  mesh_Head head{path, std::string(std::size_t{64} << 10, '\0')};
  file.read(head.bytes.data(), static_cast<std::streamsize>(head.bytes.size()));
  head.bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(0, file.gcount())));
  if (head.bytes.empty() || head.bytes.starts_with("\x89HDF"))
    return "";
  for (const mesh_Format& format : imp_Formats())
    if (format.isOne(head))
      return format.title;
  return "";
}

std::unique_ptr<sto_File> Open(const sto_Opening& opening, std::shared_ptr<const cli_Library> library) try {
  return std::make_unique<sto_File>(opening, std::move(library));
} catch (const cli_Failure& failure) {
  constexpr char kImport[] = "'pdmsim import' makes a simulation file of it";
  const std::string title = MeshTitle(opening.file), text = failure.what();
  if (!title.empty())
    throw cli_Failure(failure.Code(), opening.file + ": expected a simulation file, found a mesh (" + title +
                                          "); " + kImport);
  if (text.ends_with("without a group 'sim'"))
    throw cli_Failure(failure.Code(), text + "; if it is a mesh, " + kImport);
  throw;
}

diff_Wishes WishesOf(const Options& options) {
  diff_Wishes wishes;
  wishes.tolerances.others = {options.abs, options.rel, options.floor};
  if (!options.readTolerances.empty())
    wishes.tolerances.Read(options.readTolerances);
  for (const std::string& rule : options.rules)
    wishes.tolerances.Add("--tol", rule);
  for (const std::string& pattern : options.ignored)
    wishes.tolerances.Ignore(pattern);
  wishes.nanEqual = options.nanEqual;
  wishes.byItem = options.byItem;
  wishes.timeTolerance = options.time;
  return wishes;
}

double SizeOf(const std::string& path) {
  std::error_code unknown;
  const auto size = std::filesystem::file_size(path, unknown);
  return unknown ? 0 : static_cast<double>(size);
}

void Diff(const Options& options) {
  cli_CatchSignals();
  const diff_Wishes wishes = WishesOf(options);
  const std::string &a = options.files[0].file, &b = options.files[1].file;
  for (const std::string& file : {a, b})
    if (!options.writeTolerances.empty())
      cli_CheckOutput(options.writeTolerances, file);
  diff_Report report(a, b, wishes.tolerances);
  {
    const auto library = std::make_shared<const cli_Library>();
    const auto first = Open(options.files[0], library), second = Open(options.files[1], library);
    cli_Progress progress("comparing " + a + " and " + b, !options.quiet);
    progress.Total(SizeOf(a) + SizeOf(b));
    diff_Files files(*first, *second, wishes, report, progress);
    diff_Objects(files).Compare();
    first->Check();
    second->Check();
  }
  if (!options.writeTolerances.empty())
    report.WriteTolerances(options.writeTolerances);
  if (options.json)
    show_PrintJson(report.Json());
  else if (!options.quiet)
    report.Print(std::cout, options.summary);
  show_Flush();
  if (!report.Same())
    throw cli_Quiet(cli_Exit::kNotThere);
}

} // namespace

void cmd_AddDiff(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("diff", "Say in what two simulation files differ");
  command->add_option("A", options->files[0].file, "simulation file")->required();
  command->add_option("B", options->files[1].file, "simulation file to compare it with")->required();
  cmd_AddWaitingAndLive(*command, options->files[0]);
  command->add_option("--abs", options->abs, "difference that passes")->check(cli_AtLeast(0));
  command->add_option("--rel", options->rel, "difference that passes, as a part of the greater value")
      ->check(cli_AtLeast(0));
  command->add_option("--floor", options->floor, "values below this all pass")->check(cli_AtLeast(0));
  command->add_option("--tol", options->rules, "'PATTERN=rel:1e-4,abs:1e-9,floor:1e-12': for what fits")
      ->take_all()
      ->allow_extra_args(false);
  command->add_option("--tolerances", options->readTolerances, "file of such rules, one a line, or JSON");
  command->add_option("--write-tolerances", options->writeTolerances,
                      "write a file of rules with which the values pass");
  command->add_option("--ignore", options->ignored, "leave out what fits this pattern")
      ->take_all()
      ->allow_extra_args(false);
  command->add_option("--time-tolerance", options->time, "how far times of one step may be apart")
      ->check(cli_AtLeast(0));
  command->add_flag("--nan-equal", options->nanEqual, "NaN equals NaN");
  command->add_flag("--by-item", options->byItem, "nodes, elements and blocks by their place, not by label");
  cmd_AddJson(*command, options->json);
  command->add_flag("--quiet", options->quiet, "print nothing, the exit code tells");
  command->add_flag("--summary", options->summary, "print the last line only");
  command->footer(kFooter);
  command->callback([options] {
    sto_Opening& b = options->files[1];
    b = {b.file, options->files[0].wait, options->files[0].live, options->files[0].offer};
    Diff(*options);
  });
}
