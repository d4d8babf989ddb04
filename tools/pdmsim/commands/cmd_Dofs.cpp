#include <pdmsim/commands/cmd_Dofs.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/commands/cmd_Opening.h>
#include <pdmsim/commands/cmd_System.h>
#include <pdmsim/dofs/dofs_Numbering.h>
#include <pdmsim/show/show_Text.h>
#include <pdmsim/stored/sto_File.h>

#include <algorithm>
#include <iostream>
#include <limits>

namespace {

struct Options {
  sto_Opening opening;
  std::string system;
  std::optional<int> node;
  bool json = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim dofs beam.pdm                        the numbering of the mesh's only system
  pdmsim dofs beam.pdm 0                      the same of its first one
  pdmsim dofs beam.pdm "modal analysis" --node 17
  pdmsim dofs beam.pdm 0 --json | jq .bandwidth

Labels are 1 to 31, as in the activity masks; DOFs and nodes are numbered from 0 inside, nodes by the
user's labels for --node. Bandwidth is the greatest distance from the diagonal, in DOFs, of a matrix that
couples all DOFs of each element: the solver's DOFs as the system numbers them, then in the solver's order.
A bandwidth that grows is no failure: orders are chosen for few entries in the factored matrix, or for one
solver's own needs, and a mesh that was numbered along its length has little bandwidth to begin with.)";

show_Json LabelsOf(const fesD_NodalDofDefinition& dofs) {
  show_Json labels = show_Json::array();
  for (int id = 0; id < dofs.MaxNodalDof(); ++id)
    labels.push_back(dofs.DofLabel(id));
  return labels;
}

show_Json DescribeNode(const Options& options, const dofs_Numbering& numbering) {
  const auto& labels = numbering.labels;
  const auto found = std::find(labels.begin(), labels.end(), *options.node);
  if (found == labels.end())
    throw cli_Failure(cli_Exit::kNotThere, options.opening.file + ": expected a node with the label " +
                                               std::to_string(*options.node) + ", found " +
                                               (labels.empty() ? "no labels in the system" : "none"));
  const fesD_NodalDofDefinition& dofs = *numbering.dofs;
  const auto node = static_cast<int>(found - labels.begin());
  show_Json list = show_Json::array();
  int count = 0;
  const int* ids = dofs.NodalDofIds(node, count);
  for (int i = 0; i < count; ++i) {
    const int dof = dofs.SystemOrdinal(node, ids[i]);
    const int place = numbering.hasOrder ? numbering.places[static_cast<std::size_t>(dof)] : -1;
    list.push_back({{"label", dofs.DofLabel(ids[i])},
                    {"systemDof", dof},
                    {"solverDof", place < 0 ? show_Json() : show_Json(place)}});
  }
  return {{"label", *options.node}, {"item", node}, {"mask", dofs.ActivityMasks()[node]}, {"dofs", list}};
}

show_Json Describe(const Options& options, const msfD_Mesh& mesh, const fesD_FESystem& system) {
  const dofs_Numbering numbering = dofs_Number(options.opening.file, system);
  const fesD_NodalDofDefinition& dofs = *numbering.dofs;
  const auto bandwidth = dofs_FindBandwidth(options.opening.file, mesh, numbering);
  const auto number = [](const std::optional<int>& value) { return value ? show_Json(*value) : show_Json(); };
  show_Json json{
      {"file", options.opening.file},
      {"system", system.systemName().cStr()},
      {"nodes", dofs.NumberOfNodes()},
      {"labels", LabelsOf(dofs)},
      {"dofs", dofs.NumberOfDofs()},
      {"solverDofs", numbering.hasOrder ? show_Json(dofs.NumberOfSolverDofs()) : show_Json()},
      {"acousticDofs", numbering.hasOrder ? show_Json(dofs.NumberOfSolverAcousticDofs()) : show_Json()},
      {"bandwidth", bandwidth
                        ? show_Json{{"system", bandwidth->system}, {"solver", number(bandwidth->solver)}}
                        : show_Json()}};
  if (options.node)
    json["node"] = DescribeNode(options, numbering);
  return json;
}

/// A number, or what stands for one that is not there.
std::string Text(const show_Json& value, const char* without) {
  return value.is_null() ? without : value.dump();
}

template <class Line>
void PrintBandwidth(const show_Json& bandwidth, const Line& line) {
  if (bandwidth.is_null())
    return line("bandwidth", "the mesh has no connectivity");
  const show_Json &numbered = bandwidth["system"], &ordered = bandwidth["solver"];
  line("bandwidth", numbered.dump() + " as numbered" +
                        (ordered.is_null() ? "" : ", " + ordered.dump() + " in solver order"));
  if (!ordered.is_null() && ordered.get<int>() > numbered.get<int>())
    line("", "(no failure: an order may serve the factored matrix rather than the bandwidth)");
}

void Print(const show_Json& json) {
  const auto line = [](const char* name, const std::string& text) {
    std::cout << "  " << name << std::string(24 - std::string(name).size(), ' ') << text << '\n';
  };
  std::cout << show_Printable(json["file"].get<std::string>() + ": " + json["system"].get<std::string>())
            << '\n';
  std::string labels;
  for (const show_Json& label : json["labels"])
    labels += (labels.empty() ? "" : " ") + label.dump();
  line("nodes", json["nodes"].dump());
  line("labels used", labels.empty() ? "none" : labels);
  line("DOFs", json["dofs"].dump());
  line("solver DOFs", Text(json["solverDofs"], "no solver order"));
  line("acoustic solver DOFs", Text(json["acousticDofs"], "-"));
  PrintBandwidth(json["bandwidth"], line);
  if (!json.contains("node"))
    return;
  const show_Json& node = json["node"];
  line("node",
       node["label"].dump() + " (item " + node["item"].dump() + ", mask " + node["mask"].dump() + ")");
  for (const show_Json& dof : node["dofs"])
    line("", "label " + dof["label"].dump() + ": system DOF " + dof["systemDof"].dump() + ", solver DOF " +
                 Text(dof["solverDof"], "-"));
}

void Dofs(const Options& options) {
  const sto_File file(options.opening);
  const msfD_Mesh mesh = file.Mesh();
  const show_Json json = Describe(options, mesh, cmd_FindSystem(options.opening.file, options.system, mesh));
  file.Check();
  cmd_PrintFound(json, options.json, Print);
}

} // namespace

void cmd_AddDofs(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("dofs", "Print how a system numbers its degrees of freedom");
  cmd_AddOpening(*command, options->opening);
  command->add_option("SYSTEM", options->system, "name or number of the system (default: the only one)");
  command->add_option("--node", options->node, "label of a node whose DOFs to print")
      ->check(cmd_Whole(std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
  cmd_AddJson(*command, options->json);
  command->footer(kFooter);
  command->callback([options] { Dofs(*options); });
}
