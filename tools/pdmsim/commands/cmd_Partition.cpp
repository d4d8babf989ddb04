#include <pdmsim/commands/cmd_Partition.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/commands/cmd_Opening.h>
#include <pdmsim/partition/part_Field.h>
#include <pdmsim/partition/part_Metis.h>
#include <pdmsim/show/show_Text.h>

#include <algorithm>
#include <iostream>
#include <memory>

namespace {

// What METIS takes is guessed, since it does not tell how far it is: this many times the making of the graph.
constexpr double kMetis = 5;

struct Options {
  sto_Opening opening;
  int parts = 0;
  bool quiet = false, json = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim partition beam.pdm 8                 elementFields/partition: 0 to 7, one for each element
  pdmsim draw beam.pdm partition -o parts.png a picture of the parts
  pdmsim partition beam.pdm 64 --json | jq .imbalance

Solids are neighbours that share a face, surfaces that share an edge; lines and points are neighbours of all
that share a node of theirs. METIS makes parts of equally many elements with few neighbours in two parts, each
in one piece where the mesh is. The same file and N give the same parts. The field is written in one commit
point, over the one of an earlier run; solvers that know no such field are not concerned.)";

show_Json Describe(const Options& options, const std::vector<int>& parts, const part_Quality& quality,
                   bool replaced, double seconds) {
  return {{"file", options.opening.file},
          {"field", std::string("elementFields/") + part_kField},
          {"elements", parts.size()},
          {"parts", options.parts},
          {"min", quality.least},
          {"max", quality.greatest},
          {"imbalance", quality.imbalance},
          {"pairs", quality.pairs},
          {"cut", quality.cut},
          {"replaced", replaced},
          {"seconds", seconds}};
}

void Print(const show_Json& json) {
  const auto number = [&](const char* key, int digits) {
    return show_Number(json[key].get<double>(), digits);
  };
  std::cout << show_Printable(json["file"].get<std::string>()) << ": " << json["elements"] << " elements in "
            << show_Counted(json["parts"].get<int>(), "part", "parts") << ", "
            << json["field"].get<std::string>() << (json["replaced"].get<bool>() ? ", written anew" : "")
            << '\n'
            << "  elements a part         " << json["min"] << " to " << json["max"] << ", imbalance "
            << number("imbalance", 3) << " %\n"
            << "  sides between parts     " << json["cut"] << " of " << json["pairs"] << "\n"
            << "  seconds                 " << number("seconds", 3) << '\n';
}

/// The number of elements to share out.
int ExpectElements(const Options& options, const msfD_Mesh& mesh) {
  const std::string& file = options.opening.file;
  const int items = mesh.elements().IsNull() ? 0 : ORXSimCollectionRef(mesh.elements()).NumItems();
  if (items <= 0)
    throw cli_Failure(cli_Exit::kUnusable, file + ": expected elements to share out, found none");
  if (options.parts > items)
    throw cli_Failure(cli_Exit::kNotThere, file + ": expected at most as many parts as elements, " +
                                               std::to_string(items) + ", found " +
                                               std::to_string(options.parts));
  return items;
}

void Partition(const Options& options) {
  cli_CatchSignals();
  cli_Progress progress("sharing out " + show_Printable(options.opening.file), !options.quiet);
  const sto_File file(options.opening);
  const msfD_Mesh mesh = file.Mesh();
  const auto items = static_cast<std::size_t>(ExpectElements(options, mesh));
  const bool replaced = part_HasField(options.opening.file, mesh);
  const sto_Mesh source(options.opening.file, mesh);
  const double forGraph = 3.0 * static_cast<double>(items);
  progress.TotalWork((1 + kMetis) * forGraph);
  const part_Graph graph = part_MakeGraph(source, items, progress);
  file.Check();
  const double pace = 0.1 * forGraph / std::max(progress.Seconds(), 0.1);
  double left = 0.9 * kMetis * forGraph;
  const std::vector<int> parts = part_Split(options.opening.file, graph, options.parts, [&] {
    progress.Advance(std::min(left, pace));
    left -= std::min(left, pace);
  });
  const part_Quality quality = part_Measure(graph, parts, options.parts);
  part_WriteField(file, mesh, parts);
  const show_Json json = Describe(options, parts, quality, replaced, progress.Seconds());
  if (!options.quiet || options.json)
    cmd_PrintFound(json, options.json, Print);
}

} // namespace

void cmd_AddPartition(CLI::App& program) {
  auto options = std::make_shared<Options>();
  options->opening.write = true;
  CLI::App* command =
      program.add_subcommand("partition", "Share the elements out into N parts, for a parallel run");
  command->add_option("FILE", options->opening.file, "simulation file, in which the parts are stored")
      ->required();
  command->add_option("N", options->parts, "number of parts")->required()->check(cmd_Whole(1));
  cmd_AddWaiting(*command, options->opening.wait);
  command->add_flag("--quiet", options->quiet, "no progress and summary; errors only");
  cmd_AddJson(*command, options->json);
  command->footer(kFooter);
  command->callback([options] { Partition(*options); });
}
