#include <pdmsim/commands/cmd_Draw.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_NewFile.h>
#include <pdmsim/cli/cli_Program.h>
#include <pdmsim/cli/cli_Step.h>
#include <pdmsim/commands/cmd_Opening.h>
#include <pdmsim/commands/cmd_System.h>
#include <pdmsim/draw/draw_Choice.h>
#include <pdmsim/draw/draw_Script.h>
#include <pdmsim/draw/draw_Spy.h>
#include <pdmsim/show/show_Text.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>

namespace {

struct Options {
  sto_Opening opening;
  std::string path, out, system, spy, with = "auto", size = "1200x900";
  std::optional<int> mode, step, component;
  std::optional<double> scale;
  bool force = false, quiet = false, json = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim draw beam.pdm -o mesh.png                    the mesh, coloured by block
  pdmsim draw beam.pdm temperature -o heat.png        a field at the last step
  pdmsim draw beam.pdm temperature --step 0 -o heat0.png
  pdmsim draw beam.pdm discreteModel/mesh/nodeFields/temperature -o heat.png
  pdmsim draw beam.pdm surfaces/wall -o wall.png      a set, or elementSets/block_1: a block
  pdmsim draw beam.pdm --mode 3 -o mode3.png          a mode, deformed
  pdmsim draw beam.pdm --mode 3 --system "modal analysis" --scale 500 -o mode3.png
  pdmsim draw beam.pdm --spy "modal analysis" -o matrix.png

PATH is one of those that pdmsim show prints; its last name alone means a field before a set of that name.
systems/0, modes/3 and the paths of mode shapes mean modes. Of a vector the length is shown, or --component.
--live copies the numbers of the writer's last commit before it draws them.
Drawn by VTK in Python where that is there, on a display or under xvfb-run, and by Matplotlib and h5py
otherwise; PDM_PYTHON names the Python to ask first.)";

[[noreturn]] void Fail(const Options& options, const std::string& expected, const std::string& found) {
  throw cli_Failure(cli_Exit::kNotThere,
                    options.opening.file + ": expected " + expected + ", found " + found);
}

/// What every picture of the mesh has.
show_Json Job(const Options& options, const sto_Mesh& mesh) {
  show_Json blocks = show_Json::array();
  for (const mesh_Block& block : mesh.Blocks())
    blocks.push_back({{"id", block.id}, {"name", block.name}});
  return {{"out", options.out},
          {"file", std::filesystem::path(options.opening.file).filename().string()},
          {"with", options.with},
          {"size", options.size},
          {"lengthUnit", mesh.LengthUnit()},
          {"dimension", mesh.Dimension()},
          {"axes", mesh.AxisNames()},
          {"component", options.component ? show_Json(*options.component) : show_Json()},
          {"scale", options.scale ? show_Json(*options.scale) : show_Json()},
          {"blocks", std::move(blocks)}};
}

/// Refuses what would be an empty picture.
void ExpectElements(const Options& options, const sto_Mesh& mesh) {
  for (const mesh_Block& block : mesh.Blocks())
    if (block.elements > 0 && block.nodesPerElement > 0)
      return;
  throw cli_Failure(cli_Exit::kUnusable,
                    options.opening.file + ": expected elements with nodes to draw, found none");
}

/// Sets the mode that is meant, in the request and in the job, and the path of what shows it.
void ChooseMode(const Options& options, const std::vector<sto_ModalSystem>& systems, const draw_Mode& wanted,
                view_Request& request, show_Json& job, std::string& path) {
  request.system = view_FindSystem(options.opening.file, systems, wanted.system);
  if (request.system == nullptr || request.system->shapeCount == 0)
    Fail(options, "one system with mode shapes", std::to_string(systems.size()) + " modal systems");
  const std::size_t count = request.system->shapeCount;
  const int number = wanted.mode.value_or(1);
  if (number < 1 || static_cast<std::size_t>(number) > count)
    Fail(options, "a mode from 1 to " + std::to_string(count), std::to_string(number));
  path = "modes/" + std::to_string(number);
  job["mode"] = {{"system", request.system->name},
                 {"number", number},
                 {"title", sto_ModeTitle(*request.system, static_cast<std::size_t>(number - 1))}};
}

/// The mode that the options or the path mean; none: no mode is drawn.
std::optional<draw_Mode> WantedMode(const Options& options) {
  std::optional<draw_Mode> wanted = draw_ModeOf(options.path);
  if (!options.mode && options.system.empty())
    return wanted;
  if (!wanted && !options.path.empty())
    Fail(options, "either a mode or a field or set to draw", "both");
  wanted = wanted.value_or(draw_Mode{});
  if (options.mode)
    wanted->mode = options.mode;
  if (!options.system.empty())
    wanted->system = options.system;
  return wanted;
}

void SetChoice(const Options& options, const draw_Choice& choice, show_Json& job) {
  if (options.component && static_cast<std::size_t>(*options.component) >= choice.width)
    Fail(options, choice.shows + " with a component below " + std::to_string(choice.width),
         std::to_string(*options.component));
  job["array"] = choice.array;
  job["shows"] = choice.shows;
  job["unit"] = choice.unit;
  if (choice.block)
    job["block"] = *choice.block;
}

/// \return the job, with what the script says of the picture in "drawn".
show_Json DrawMesh(const Options& options, const sto_File& file, const sto_Mesh& mesh) {
  ExpectElements(options, mesh);
  const std::vector<sto_ModalSystem> systems = sto_ModalSystems(options.opening.file, file.Mesh());
  view_Request request;
  const cli_Scratch scratch;
  request.out = scratch.At("view.hdf");
  request.numbers = options.opening.live ? view_Numbers::kCopied : view_Numbers::kChecked;
  show_Json job = Job(options, mesh);
  std::string path = options.path;
  if (const auto wanted = WantedMode(options))
    ChooseMode(options, systems, *wanted, request, job, path);
  const std::size_t steps = mesh.Times().size();
  if (options.step)
    cli_ExpectStep(options.opening.file, static_cast<std::size_t>(*options.step), steps);
  if (steps > 0) {
    request.step = options.step ? static_cast<std::size_t>(*options.step) : steps - 1;
    job["step"] = *request.step;
    job["time"] = mesh.Times()[*request.step];
  }
  cli_Progress progress("drawing " + show_Printable(options.opening.file), !options.quiet);
  const view_Summary view = view_Write(file, request, progress);
  SetChoice(options, draw_Choose(options.opening.file, path, mesh, view.arrays), job);
  job["view"] = request.out;
  job["drawn"] = draw_Run(job, options.force);
  return job;
}

show_Json DrawSpy(const Options& options, const sto_File& file, const sto_Mesh& mesh) {
  const fesD_FESystem system = cmd_FindSystem(options.opening.file, options.spy, file.Mesh());
  show_Json job = Job(options, mesh);
  job["spy"] = draw_Spy(mesh, dofs_Number(options.opening.file, system));
  job["spy"]["system"] = system.systemName().cStr();
  job["drawn"] = draw_Run(job, options.force);
  return job;
}

show_Json Summary(const Options& options, const show_Json& job, double seconds) {
  const auto of = [](const show_Json& json, const char* key) { return json.value(key, show_Json()); };
  const show_Json drawn = job["drawn"].is_object() ? job["drawn"] : show_Json::object();
  show_Json summary{{"file", options.opening.file},
                    {"output", options.out},
                    {"shows", of(job, "shows")},
                    {"by", of(drawn, "by")},
                    {"unit", of(job, "unit")},
                    {"step", of(job, "step")},
                    {"time", of(job, "time")},
                    {"component", of(job, "component")},
                    {"mode", of(job, "mode")},
                    {"min", of(drawn, "min")},
                    {"max", of(drawn, "max")},
                    {"members", of(drawn, "members")},
                    {"missing", of(drawn, "missing")},
                    {"matrix", nullptr},
                    {"seconds", seconds}};
  if (!job.contains("spy"))
    return summary;
  show_Json orders = show_Json::array();
  for (const show_Json& order : job["spy"]["orders"])
    orders.push_back({{"name", order["name"]}, {"bandwidth", order["bandwidth"]}});
  summary["matrix"] = {
      {"system", job["spy"]["system"]}, {"dofs", job["spy"]["size"]}, {"orders", std::move(orders)}};
  return summary;
}

/// What is in the picture, in a few words.
std::string TextOf(const show_Json& s) {
  if (!s["matrix"].is_null()) {
    std::string text = "matrix of " + s["matrix"]["dofs"].dump() + " DOFs";
    for (const show_Json& order : s["matrix"]["orders"])
      text += ", bandwidth " + order["bandwidth"].dump() + " " + order["name"].get<std::string>();
    return text;
  }
  if (!s["mode"].is_null())
    return s["mode"]["title"].get<std::string>() + " of '" + s["mode"]["system"].get<std::string>() + "'";
  std::string text = s["shows"] == "block" ? "the blocks" : s["shows"].get<std::string>();
  if (s["members"].is_number())
    return text + ", " + s["members"].dump() +
           (s["shows"].get<std::string>().starts_with("nodeSets") ? " nodes" : " elements");
  if (s["shows"] == "block")
    return text;
  if (s["step"].is_number())
    text += ", step " + s["step"].dump() + " (time " + show_Number(s["time"].get<double>(), 6) + ")";
  if (!s["min"].is_number())
    return text + ": no values here";
  const std::string unit = s["unit"].get<std::string>();
  return text + ": " + show_Number(s["min"].get<double>(), 6) + " .. " +
         show_Number(s["max"].get<double>(), 6) + (unit.empty() ? "" : " [" + unit + "]");
}

void Draw(const Options& options) {
  cli_CatchSignals();
  if (!options.out.ends_with(".png"))
    throw cli_Failure(cli_Exit::kNotThere, options.out + ": expected a name that ends with .png");
  cli_CheckOutput(options.out, options.opening.file);
  cli_CheckNewFile(options.out, options.force, draw_kPicture);
  const auto begin = std::chrono::steady_clock::now();
  const sto_File file(options.opening);
  const sto_Mesh mesh(options.opening.file, file.Mesh());
  file.Check();
  const show_Json job = options.spy.empty() ? DrawMesh(options, file, mesh) : DrawSpy(options, file, mesh);
  file.Check();
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
  const show_Json summary = Summary(options, job, taken.count());
  if (options.json)
    show_PrintJson(summary);
  else if (!options.quiet)
    std::cout << show_Printable(options.out + ": " + TextOf(summary)) << '\n';
  show_Flush();
}

/// Refuses what is no size of a picture.
CLI::Validator Size() {
  return {[](std::string& text) {
            int width = 0, height = 0, end = 0;
            const bool good = std::sscanf(text.c_str(), "%5dx%5d%n", &width, &height, &end) == 2 &&
                              text.size() == static_cast<std::size_t>(end);
            return good && std::min(width, height) >= 64 && std::max(width, height) <= 16384
                       ? std::string()
                       : "expected WIDTHxHEIGHT of 64 to 16384 pixels, as 1200x900, found " + text;
          },
          ""};
}

} // namespace

void cmd_AddDraw(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("draw", "Draw the mesh, a field, a set, a mode or a matrix");
  cmd_AddOpening(*command, options->opening);
  CLI::Option* path =
      command->add_option("PATH", options->path, "field, set or mode to show (default: the blocks)");
  command->add_option("-o,--out", options->out, "picture to write, a .png")->required();
  CLI::Option* step = command->add_option("--step", options->step, "step to show, from 0 (default: the last)")
                          ->check(cmd_Whole(0));
  CLI::Option* component =
      command->add_option("--component", options->component, "of a vector, from 0 (default: its length)")
          ->check(cmd_Whole(0));
  CLI::Option* system =
      command->add_option("--system", options->system, "name or number of the system whose mode to show");
  CLI::Option* mode =
      command->add_option("--mode", options->mode, "mode to show, from 1, deformed")->check(cmd_Whole(1));
  CLI::Option* scale =
      command
          ->add_option("--scale", options->scale, "factor of the deformation (default: a tenth of the mesh)")
          ->check(cmd_Between(-1e30, 1e30));
  CLI::Option* spy =
      command->add_option("--spy", options->spy, "draw the pattern of this system's matrix instead");
  for (CLI::Option* const other : {path, step, component, system, mode, scale})
    spy->excludes(other);
  command->add_option("--with", options->with, "what draws: auto, vtk, matplotlib")
      ->check(CLI::IsMember({"auto", "vtk", "matplotlib"}));
  command->add_option("--size", options->size, "of the picture in pixels")
      ->check(Size())
      ->capture_default_str();
  command->add_flag("--force", options->force, "replace the picture if it is there");
  command->add_flag("--quiet", options->quiet, "no progress and summary; errors only");
  command->add_flag("--json", options->json, "print the summary as JSON");
  command->footer(kFooter);
  command->callback([options] { Draw(*options); });
}
