#include <pdmsim/commands/cmd_Dofs.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Library.h>
#include <pdmsim/dofs/dofs_Numbering.h>
#include <pdmsim/show/show_Text.h>

#include <algorithm>
#include <iostream>

namespace {

struct Options {
  std::string file, system;
  std::optional<int> node;
  bool json = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim dofs beam.pdm 0                      the numbering of the mesh's first system
  pdmsim dofs beam.pdm "modal analysis" --node 17
  pdmsim dofs beam.pdm 0 --json | jq .bandwidth

Labels are 1 to 31, as in the activity masks; DOFs and nodes are numbered from 0 inside, nodes by the
user's labels for --node. Bandwidth is the greatest distance from the diagonal, in DOFs, of a matrix that
couples all DOFs of each element: the solver's DOFs as the system numbers them, then in the solver's order.)";

/// The system of a name, or else of a number.
fesD_FESystem FindSystem(const Options& options, const msfD_Mesh& mesh) {
  const auto systems = mesh.systems();
  for (int i = 0; i < systems.count(); ++i)
    if (options.system == systems.get(i).systemName().cStr())
      return systems.get(i);
  const int number = std::atoi(options.system.c_str());
  if (std::to_string(number) == options.system && number >= 0 && number < systems.count())
    return systems.get(number);
  throw cli_Failure(cli_Exit::kNotThere, options.file + ": expected a system '" + options.system +
                                             "', found none of that name among " +
                                             std::to_string(systems.count()));
}

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
    throw cli_Failure(cli_Exit::kNotThere, options.file + ": expected a node with the label " +
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
  const dofs_Numbering numbering = dofs_Number(options.file, system);
  const fesD_NodalDofDefinition& dofs = *numbering.dofs;
  const auto bandwidth = dofs_FindBandwidth(options.file, mesh, numbering);
  const auto number = [](const std::optional<int>& value) { return value ? show_Json(*value) : show_Json(); };
  show_Json json{
      {"file", options.file},
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
  const show_Json& bandwidth = json["bandwidth"];
  line("bandwidth", bandwidth.is_null() ? "the mesh has no connectivity"
                                        : bandwidth["system"].dump() + " as numbered" +
                                              (bandwidth["solver"].is_null()
                                                   ? ""
                                                   : ", " + bandwidth["solver"].dump() + " in solver order"));
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
  const cli_Library library;
  msfD_Root root(0);
  const msfD_Sim sim = root.openSimReadOnly(options.file.c_str(), "", -1);
  library.Check(options.file, "a simulation file");
  if (!sim)
    throw cli_Failure(cli_Exit::kUnusable, options.file + ": expected a simulation file, found none");
  const msfD_DiscreteModel model = sim.discreteModel();
  const msfD_Mesh mesh = !model ? msfD_Mesh() : model.mesh();
  library.Check(options.file, "a simulation with a mesh");
  if (!mesh)
    throw cli_Failure(cli_Exit::kUnusable,
                      options.file + ": expected a simulation with a mesh, found one without");
  const show_Json json = Describe(options, mesh, FindSystem(options, mesh));
  library.Check(options.file, "a whole simulation file");
  if (options.json)
    show_PrintJson(json);
  else
    Print(json);
  show_Flush();
}

} // namespace

void cmd_AddDofs(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("dofs", "Print how a system numbers its degrees of freedom");
  command->add_option("FILE", options->file, "simulation file")->required();
  command->add_option("SYSTEM", options->system, "name or number of the system")->required();
  command->add_option("--node", options->node, "label of a node whose DOFs to print");
  command->add_flag("--json", options->json, "print JSON, for scripts");
  command->footer(kFooter);
  command->callback([options] { Dofs(*options); });
}
