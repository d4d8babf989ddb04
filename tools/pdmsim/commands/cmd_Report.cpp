#include <pdmsim/commands/cmd_Report.h>

#include <pdmsim/cli/cli_NewFile.h>
#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/commands/cmd_Opening.h>
#include <pdmsim/report/rep_Page.h>
#include <pdmsim/report/rep_Words.h>
#include <pdmsim/show/show_Text.h>
#include <pdmsim/stored/sto_File.h>

#include <filesystem>
#include <iostream>
#include <memory>

namespace {

constexpr std::string_view kBegins = "<!doctype html";

struct Options {
  sto_Opening opening;
  std::string out;
  rep_Choice choice;
  double most = 20;
  std::size_t steps = 0;
  std::vector<std::string> fields;
  bool force = false, quiet = false, json = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim report beam.pdm -o beam.html
  pdmsim report beam.pdm -o beam.html --fields stress,temperature --steps 5
  pdmsim report beam.pdm -o beam.html --force --most 60
  pdmsim report beam.pdm -o beam.html --json | jq .notDrawn

OUT is one page that needs no network and no other file: send it to somebody who has a browser. It tells what
FILE holds and has the mesh to turn: blocks and sets to switch on and off, fields in colours, steps and modes
in motion. Every control can be reached by the keyboard.
Of the mesh it has what can be seen: faces of one solid, faces between blocks, surfaces and lines; elements by
their corners. Coordinates and values have 16 bits between their least and their greatest. When not all fits
into --most, the last step of every field comes first, then modes, then more steps, evenly over the time; the
page and this command say what was left out. Least and greatest of a field are those of the steps in the page.
OUT appears only when it is whole. --force replaces a page, and nothing that is none.)";

show_Json SystemsOf(const msfD_Mesh& mesh, const std::vector<sto_ModalSystem>& modal) {
  show_Json list = show_Json::array();
  for (int i = 0; i < mesh.systems().count(); ++i) {
    const fesD_FESystem system = mesh.systems().get(i);
    show_Json one{{"number", i},
                  {"name", system.systemName().cStr()},
                  {"kind", fesD_ModalSystem(system)          ? "modal"
                           : fesD_SubstructureSystem(system) ? "substructure"
                                                             : "general"}};
    for (const sto_ModalSystem& shapes : modal)
      if (shapes.number == i)
        one["modes"] = shapes.Modes();
    list.push_back(std::move(one));
  }
  return list;
}

/// About what a page's tables and lists take.
std::size_t SizeOfWords(const mesh_Source& mesh, const std::vector<sto_ModalSystem>& modal) {
  std::size_t rows = mesh.Blocks().size(), modes = 0;
  for (const auto kind : {mesh_SetKind::kNodes, mesh_SetKind::kElements, mesh_SetKind::kSides})
    rows += mesh.Sets(kind).size();
  for (std::size_t place = 0; place < mesh_kPlaces; ++place)
    rows += 3 * mesh.Variables(static_cast<mesh_Place>(place)).names.size();
  for (const sto_ModalSystem& system : modal)
    modes += system.Modes();
  return 100'000 + 300 * rows + 40 * mesh.Times().size() + 100 * modes;
}

show_Json Summary(const Options& options, const sto_Mesh& mesh, const rep_Content& content, std::size_t bytes,
                  double seconds) {
  std::size_t faces = 0;
  for (const show_Json& group : content.about.value("faces", show_Json::array()))
    faces += group["count"].get<std::size_t>();
  return {{"file", options.opening.file},
          {"output", options.out},
          {"holds", content.about["headline"]},
          {"nodes", mesh.Nodes()},
          {"elements", mesh.Elements()},
          {"faces", faces},
          {"fields", content.about["fields"].size()},
          {"steps", content.about["kept"].size()},
          {"bytes", bytes},
          {"seconds", seconds},
          {"notDrawn", content.notes}};
}

void Print(const show_Json& s) {
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%.2f s", s["seconds"].get<double>());
  std::cout << show_Printable(s["output"].get<std::string>()) << ": " << s["holds"].get<std::string>()
            << "\n  " << show_Size(s["bytes"].get<unsigned long long>()) << " in " << seconds << "\n";
}

void Report(Options& options) {
  cli_CatchSignals();
  cli_CheckOutput(options.out, options.opening.file);
  cli_CheckNewFile(options.out, options.force, kBegins);
  options.choice.most = static_cast<std::size_t>(options.most * 1e6);
  if (options.steps > 0)
    options.choice.steps = options.steps;
  if (!options.fields.empty())
    options.choice.fields = options.fields;
  show_Json summary;
  {
    cli_Progress progress("reporting " + options.opening.file, !options.quiet);
    const sto_File file(options.opening);
    const msfD_Mesh stored = file.Mesh();
    const sto_Mesh mesh(options.opening.file, stored);
    const auto modal = sto_ModalSystems(options.opening.file, stored);
    const std::size_t fixed = rep_FixedSize() + SizeOfWords(mesh, modal);
    progress.Total(static_cast<double>(options.choice.most)); // what the page may have
    rep_Content content(options.choice.most - std::min(options.choice.most, fixed), progress);
    content.about = {{"dimension", mesh.Dimension()},
                     {"axes", mesh.AxisNames()},
                     {"unit", mesh.LengthUnit()},
                     {"headline", rep_Headline(mesh, modal)},
                     {"systems", SystemsOf(stored, modal)}};
    for (const std::string& note : mesh.Notes())
      content.Note(note);
    const rep_Drawn drawn = rep_AddMesh(mesh, content);
    rep_AddResults(mesh, modal, options.choice, drawn, content);
    file.Check();
    const std::string page =
        rep_MakePage(std::filesystem::path(options.opening.file).filename().string(), content);
    cli_CheckSignals();
    cli_WriteNewFile(options.out, page, options.force, kBegins);
    summary = Summary(options, mesh, content, page.size(), progress.Seconds());
  }
  if (!options.quiet)
    for (const show_Json& note : summary["notDrawn"])
      std::cerr << show_Printable(options.opening.file + ": " + note.get<std::string>()) << '\n';
  if (options.json)
    show_PrintJson(summary);
  else if (!options.quiet)
    Print(summary);
}

} // namespace

void cmd_AddReport(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("report", "Make one HTML page of a file, with its mesh to turn");
  cmd_AddOpening(*command, options->opening);
  command->add_option("-o,--output", options->out, "page to write, as OUT.html")->required();
  command->add_option("--steps", options->steps, "at most so many steps (default: as there is room for)")
      ->check(cmd_Whole(1));
  command->add_option("--fields", options->fields, "names of the fields to draw, with commas (default: all)")
      ->delimiter(',');
  command->add_option("--most", options->most, "greatest size of the page in MB")
      ->check(cmd_Between(1, 2000))
      ->capture_default_str();
  command->add_flag("--force", options->force, "replace OUT if it is a page");
  command->add_flag("--quiet", options->quiet, "no progress, notes and summary; errors only");
  command->add_flag("--json", options->json, "print the summary as JSON");
  command->footer(kFooter);
  command->callback([options] { Report(*options); });
}
