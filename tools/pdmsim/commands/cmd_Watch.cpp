#include <pdmsim/commands/cmd_Watch.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Guess.h>
#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/commands/cmd_Opening.h>
#include <pdmsim/show/show_Data.h>
#include <pdmsim/show/show_Names.h>
#include <pdmsim/show/show_Summary.h>
#include <pdmsim/show/show_Text.h>
#include <pdmsim/stored/sto_File.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <thread>

namespace {

constexpr std::size_t kMostFields = 4;

struct Options {
  sto_Opening opening;
  std::vector<std::string> fields;
  double interval = 1;
  bool once = false, json = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim watch beam.pdm                       a line for each commit of the solver that writes it
  pdmsim watch beam.pdm --field temperature --field energy --interval 0.2
  pdmsim watch beam.pdm --json | while read -r line; do ...
  pdmsim watch beam.pdm --once                how far it is now

Each line has the commit's number, the last step of the fields with its time, and of each field the least and the
greatest value at that step, or the value of one that has a row for each step. Reads live: the solver is not held
up. Ctrl-C ends it with exit code 0.)";

/// A field that is watched.
struct Field {
  std::string name;
  ORXSimDistributionID id;
  bool ofFrames = false;
};

using FieldMap = kda_MapString<ORXSimDistributionID>;

/// All results that the mesh has now.
std::vector<Field> FieldsOf(const msfD_Mesh& mesh) {
  std::vector<Field> fields;
  const auto add = [&](const FieldMap& map, bool ofFrames) {
    show_Json names = {{"entries", show_Json::object()}};
    map.ForEach([&](const kda_string& key, ORXSimDistributionID) {
      names["entries"][key.cStr()] = show_Json::object();
    });
    for (const std::string& name : show_ResultNames(names))
      if (const ORXSimDistributionID id = map.get(name.c_str()); !id.IsNull() && show_Exists(id))
        fields.push_back({name, id, ofFrames});
  };
  add(mesh.frameFields(), true);
  for (const FieldMap& map : {mesh.nodeFields(), mesh.elementFields(), mesh.surfaceFields(),
                              mesh.regionFields(), mesh.meshFields()})
    add(map, false);
  return fields;
}

/// Those that were chosen, or the first few.
std::vector<Field> Chosen(const Options& options, const std::vector<Field>& all) {
  if (options.fields.empty())
    return {all.begin(), all.begin() + static_cast<std::ptrdiff_t>(std::min(all.size(), kMostFields))};
  std::vector<std::string> names;
  for (const Field& field : all)
    names.push_back(field.name);
  std::vector<Field> chosen;
  for (const std::string& wanted : options.fields) {
    const auto found = std::find(names.begin(), names.end(), wanted);
    if (found == names.end())
      throw cli_Failure(cli_Exit::kNotThere, options.opening.file + ": expected a field '" + wanted +
                                                 "', found none of that name" + cli_Guess(wanted, names));
    chosen.push_back(all[static_cast<std::size_t>(found - names.begin())]);
  }
  return chosen;
}

/// The last step that any field but those of the frames has; -1 for none.
int LastStep(const std::vector<Field>& fields, const show_Names& names) {
  int last = -1;
  for (const Field& field : fields) {
    const int drawers = ORXSimDistributionRef(field.id).NumDrawers();
    if (!field.ofFrames && drawers > 0)
      last = std::max(last, names.Step(field.id, drawers - 1, drawers).value_or(drawers - 1));
  }
  return last >= 0 ? last : static_cast<int>(names.Times().size()) - 1;
}

show_Json ValueOf(const std::string& file, const Field& field, int step) {
  const ORXSimDistributionRef distribution(field.id);
  const int drawers = distribution.NumDrawers();
  if (drawers == 0)
    return nullptr;
  show_Json description;
  if (!field.ofFrames) {
    show_FieldData(file, field.id, {0, drawers - 1, {}, 0}, description);
    return description["drawers"][0]["range"];
  }
  show_FieldData(file, field.id, {step + 1, 0, {}, 0}, description);
  const show_Json& rows = description["head"]["rows"];
  return rows.empty() ? show_Json() : rows.back();
}

/// Where the writer is now.
show_Json Look(const Options& options, const sto_File& file) {
  const msfD_DiscreteModel model = file.Sim().discreteModel();
  const show_Names names(model, file.Context());
  const show_NamesInUse inUse(names);
  const ORXSimCommitInfo commit = ORXSimContextRef(file.Context()).LastCommit();
  const std::vector<Field> all = !model || !model.mesh() ? std::vector<Field>() : FieldsOf(model.mesh());
  const std::vector<Field> fields = Chosen(options, all);
  const int step = LastStep(fields, names);
  show_Json json{{"commit", commit.sequence},
                 {"bytes", commit.imageBytes},
                 {"step", step < 0 ? show_Json() : show_Json(step)},
                 {"time", step < 0 || static_cast<std::size_t>(step) >= names.Times().size()
                              ? show_Json()
                              : show_Json(names.Times()[static_cast<std::size_t>(step)])},
                 {"fields", show_Json::object()}};
  for (const Field& field : fields) {
    const cow_String unit = ORXSimDistributionRef(field.id).Unit();
    json["fields"][field.name] = {{"values", ValueOf(options.opening.file, field, step)},
                                  {"unit", unit.Empty() ? show_Json() : show_Json(show_Text(unit))}};
  }
  file.Check();
  return json;
}

std::string TextOf(const show_Json& values) {
  const auto number = [](const show_Json& value) {
    return value.is_number() ? show_Number(value.get<double>(), 6) : "-";
  };
  std::string text;
  for (const show_Json& one : values)
    text += (text.empty() ? "" : ", ") +
            (one.is_object() ? number(one["min"]) + " .. " + number(one["max"]) : number(one));
  return text.empty() ? "-" : text;
}

void Tell(const Options& options, const show_Json& json) {
  if (options.json) {
    std::cout << json.dump(-1, ' ', false, show_Json::error_handler_t::replace) << '\n';
    return show_Flush();
  }
  std::cout << "commit " << json["commit"].dump();
  if (json["step"].is_number())
    std::cout << "  step " << json["step"].dump();
  if (json["time"].is_number())
    std::cout << "  time " << show_Number(json["time"].get<double>(), 6);
  for (const auto& [name, field] : json["fields"].items())
    std::cout << "  " << show_Printable(name) << ' ' << TextOf(field["values"])
              << (field["unit"].is_string() ? " " + show_Printable(field["unit"].get<std::string>()) : "");
  std::cout << '\n';
  show_Flush();
}

void Sleep(double seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (std::chrono::steady_clock::now() < end) {
    cli_CheckSignals();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  cli_CheckSignals();
}

void Follow(const Options& options) {
  sto_File file(options.opening);
  show_Json last;
  while (true) {
    show_Json now = Look(options, file);
    if (now != last)
      Tell(options, now);
    last = std::move(now);
    if (options.once)
      return;
    Sleep(options.interval);
    if (!file.Refresh())
      throw cli_Failure(cli_Exit::kUnusable, ORXSimManager::LastError());
  }
}

void Watch(Options options) {
  cli_CatchSignals();
  options.opening.live = true;
  try {
    Follow(options);
  } catch (const cli_Interrupted& interrupted) {
    if (interrupted.signal != SIGINT) // which is how watching ends
      throw;
  }
}

} // namespace

void cmd_AddWatch(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("watch", "Follow the program that writes a simulation file");
  command->add_option("FILE", options->opening.file, "simulation file")->required();
  cmd_AddWaiting(*command, options->opening.wait);
  command
      ->add_option("--field", options->fields, "a field to print; may be repeated (default: the first few)")
      ->type_name("NAME")
      ->expected(1)
      ->take_all();
  constexpr double kLongest = 1e6;
  command->add_option("--interval", options->interval, "how often to look")
      ->type_name("SECONDS")
      ->check(cmd_Between(0.01, kLongest))
      ->capture_default_str();
  command->add_flag("--once", options->once, "look once and end");
  command->add_flag("--json", options->json, "print a JSON object a line, for scripts");
  command->footer(kFooter);
  command->callback([options] { Watch(*options); });
}
