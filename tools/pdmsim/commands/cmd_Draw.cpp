#include <pdmsim/commands/cmd_Draw.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Numbers.h>
#include <pdmsim/cli/cli_Program.h>
#include <pdmsim/dofs/dofs_Numbering.h>
#include <pdmsim/draw/draw_Script.h>
#include <pdmsim/draw/draw_Spy.h>
#include <pdmsim/show/show_Text.h>
#include <pdmsim/view/view_Sidecar.h>

#include <cmath>
#include <filesystem>
#include <iostream>
#include <memory>

namespace {

struct Options {
  std::string file, path, out, system, spy, with = "auto", size = "1200x900";
  std::optional<int> mode, step, component;
  std::optional<double> scale;
  bool force = false, quiet = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim draw beam.pdm -o mesh.png                    the mesh, coloured by block
  pdmsim draw beam.pdm temperature -o heat.png        a field at the last step
  pdmsim draw beam.pdm temperature --step 0 -o heat0.png
  pdmsim draw beam.pdm discreteModel/mesh/nodeFields/temperature -o heat.png
  pdmsim draw beam.pdm surfaces/wall -o wall.png      a set
  pdmsim draw beam.pdm --mode 3 -o mode3.png          a mode, deformed
  pdmsim draw beam.pdm --mode 3 --system "modal analysis" --scale 500 -o mode3.png
  pdmsim draw beam.pdm --spy "modal analysis" -o matrix.png

A name alone means a field before a set of that name. Of a vector the length is shown, or --component.
Drawn by VTK in Python where that is there, on a display or under xvfb-run, and by Matplotlib and h5py
otherwise; PDM_PYTHON names the Python to ask first.)";

[[noreturn]] void Fail(const Options& options, const std::string& expected, const std::string& found) {
  throw cli_Failure(cli_Exit::kNotThere, options.file + ": expected " + expected + ", found " + found);
}

/// The array of a view that a path or a short name means.
const view_Array& FindArray(const Options& options, const std::vector<view_Array>& arrays) {
  std::string wanted = options.path.empty() ? "block" : options.path;
  for (const char* prefix : {"/", "discreteModel/mesh/", "mesh/"})
    if (wanted.starts_with(prefix))
      wanted.erase(0, std::string(prefix).size());
  for (const char* group : {"", "nodeFields/", "elementFields/", "nodeSets/", "elementSets/", "surfaces/"})
    for (const view_Array& array : arrays)
      if (array.origin == group + wanted)
        return array;
  std::string names;
  constexpr std::size_t kMost = 12;
  std::size_t count = 0;
  for (const view_Array& array : arrays)
    if (!array.origin.empty() && ++count <= kMost)
      names += (names.empty() ? "" : ", ") + array.origin;
  if (count > kMost)
    names += "... " + std::to_string(count - kMost) + " more";
  Fail(options, "a field or set '" + options.path + "'", names.empty() ? "none at all" : names);
}

std::size_t Step(const Options& options, const sto_Mesh& mesh) {
  const std::size_t steps = mesh.Times().size();
  if (!options.step)
    return steps - 1;
  if (static_cast<std::size_t>(*options.step) >= steps)
    Fail(options, "a step below " + std::to_string(steps), std::to_string(*options.step));
  return static_cast<std::size_t>(*options.step);
}

/// What every picture of the mesh has.
show_Json Job(const Options& options, const sto_Mesh& mesh) {
  show_Json blocks = show_Json::array();
  for (const mesh_Block& block : mesh.Blocks())
    blocks.push_back({{"id", block.id}, {"name", block.name}});
  return {{"out", options.out},
          {"file", std::filesystem::path(options.file).filename().string()},
          {"with", options.with},
          {"size", options.size},
          {"lengthUnit", mesh.LengthUnit()},
          {"dimension", mesh.Dimension()},
          {"axes", mesh.AxisNames()},
          {"component", options.component ? show_Json(*options.component) : show_Json()},
          {"scale", options.scale ? show_Json(*options.scale) : show_Json()},
          {"blocks", std::move(blocks)}};
}

void DrawMesh(const Options& options, const sto_File& file, const sto_Mesh& mesh) {
  const std::vector<sto_ModalSystem> systems = sto_ModalSystems(options.file, file.Mesh());
  view_Request request;
  const cli_Scratch scratch;
  request.out = scratch.At("view.hdf");
  const bool mode = options.mode || !options.system.empty();
  if (mode)
    request.system = view_FindSystem(options.file, systems, options.system);
  if (mode && (request.system == nullptr || request.system->shapeCount == 0))
    Fail(options, "one system with mode shapes", std::to_string(systems.size()) + " modal systems");
  const auto number = static_cast<std::size_t>(options.mode.value_or(1));
  if (mode && (number < 1 || number > request.system->shapeCount))
    Fail(options, "a mode from 1 to " + std::to_string(request.system->shapeCount), std::to_string(number));
  show_Json job = Job(options, mesh);
  if (!mesh.Times().empty()) {
    request.step = Step(options, mesh);
    job["step"] = *request.step;
    job["time"] = mesh.Times()[*request.step];
  }
  cli_Progress progress("drawing " + show_Printable(options.file), !options.quiet);
  const view_Summary view = view_Write(file, request, progress);
  Options wanted = options;
  if (mode)
    wanted.path = "modes/" + std::to_string(number);
  const view_Array& array = FindArray(wanted, view.arrays);
  job["view"] = request.out;
  job["array"] = array.path;
  job["shows"] = array.origin;
  job["unit"] = array.unit;
  if (mode)
    job["mode"] = {{"system", request.system->name}, {"title", sto_ModeTitle(*request.system, number - 1)}};
  draw_Run(job);
}

void DrawSpy(const Options& options, const sto_File& file, const sto_Mesh& mesh) {
  const auto systems = file.Mesh().systems();
  for (int i = 0; i < systems.count(); ++i) {
    const fesD_FESystem system = systems.get(i);
    if (options.spy != system.systemName().cStr() && options.spy != std::to_string(i))
      continue;
    show_Json job = Job(options, mesh);
    job["spy"] = draw_Spy(mesh, dofs_Number(options.file, system));
    job["spy"]["system"] = system.systemName().cStr();
    return draw_Run(job);
  }
  Fail(options, "a system '" + options.spy + "'",
       "none of that name among " + std::to_string(systems.count()));
}

void Draw(const Options& options) {
  cli_CatchSignals();
  if (!options.out.ends_with(".png"))
    throw cli_Failure(cli_Exit::kNotThere, options.out + ": expected a name that ends with .png");
  if (std::filesystem::exists(options.out) && !options.force)
    throw cli_Failure(cli_Exit::kUnusable,
                      options.out + ": expected no file of that name, found one; --force replaces it");
  const sto_File file({options.file, 0, false});
  const sto_Mesh mesh(options.file, file.Mesh());
  if (options.spy.empty())
    DrawMesh(options, file, mesh);
  else
    DrawSpy(options, file, mesh);
  file.Check();
}

} // namespace

void cmd_AddDraw(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("draw", "Draw the mesh, a field, a set, a mode or a matrix");
  command->add_option("FILE", options->file, "simulation file")->required();
  command->add_option("PATH", options->path, "field or set to colour by (default: the blocks)");
  command->add_option("-o,--out", options->out, "picture to write, a .png")->required();
  command->add_option("--step", options->step, "step to show, from 0 (default: the last)")
      ->check(cli_AtLeast(0));
  command->add_option("--component", options->component, "of a vector, from 0 (default: its length)")
      ->check(cli_AtLeast(0));
  command->add_option("--system", options->system, "name or number of the system whose mode to show");
  command->add_option("--mode", options->mode, "mode to show, from 1, deformed")->check(cli_AtLeast(1));
  command->add_option("--scale", options->scale, "factor of the deformation (default: a tenth of the mesh)");
  command->add_option("--spy", options->spy, "draw the pattern of this system's matrix instead");
  command->add_option("--with", options->with, "what draws: auto, vtk, matplotlib")
      ->check(CLI::IsMember({"auto", "vtk", "matplotlib"}));
  command->add_option("--size", options->size, "of the picture in pixels")->capture_default_str();
  command->add_flag("--force", options->force, "replace the picture if it is there");
  command->add_flag("--quiet", options->quiet, "no progress; errors only");
  command->footer(kFooter);
  command->callback([options] { Draw(*options); });
}
