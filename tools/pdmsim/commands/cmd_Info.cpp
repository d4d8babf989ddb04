#include <pdmsim/commands/cmd_Info.h>

#include <pdmsim/commands/cmd_Opening.h>
#include <pdmsim/show/show_Names.h>
#include <pdmsim/show/show_Objects.h>
#include <pdmsim/show/show_Summary.h>
#include <pdmsim/show/show_Text.h>
#include <pdmsim/stored/sto_File.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Inspect.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <fstream>
#include <iostream>
#include <memory>
#include <string_view>
#include <sys/stat.h>

namespace {

constexpr int kMostSystems = 10;

struct Options {
  sto_Opening opening;
  bool json = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim info beam.pdm                        what it is, on one screen
  pdmsim info beam.pdm --live                 the same beside the solver that writes it
  pdmsim info beam.pdm --json | jq .summary.nodes

Reads no bulk data. The unused bytes are counted for two seconds at most: of a file with very many objects
'pdmsim check' says more.)";

/// Counts nothing, and gives up after a while.
class Glance : public ORXSimInspectVisitor {
 public:
  struct TooLong {};
  void Object(const ORXSimInspected&) override {
    if (std::chrono::steady_clock::now() > m_end)
      throw TooLong();
  }
  void Finding(const ORXSimFinding&) override {}

 private:
  std::chrono::steady_clock::time_point m_end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
};

/// Bytes of the file that nothing uses; null when that takes too long.
show_Json UnusedBytes(ORXSimContextID context, const show_Json& summary) try {
  constexpr int kMany = 100'000; // to list them takes longer already
  if (summary["systems"].is_number() && summary["systems"].get<int>() > kMany)
    return nullptr;
  Glance glance;
  ORXSimInspectTotals totals;
  if (!ORXSimInspect::Walk(context, glance, totals))
    return nullptr;
  return totals.fileBytes - std::min(totals.usedBytes, totals.fileBytes);
} catch (const Glance::TooLong&) {
  return nullptr;
}

/// 2: the file names its journal in its first bytes; 1: as version 0.1 and other programs write it.
int FormatOf(const std::string& path) {
  constexpr std::string_view kMark = "\x93H5J\r\n\x1a\n";
  std::array<char, kMark.size()> bytes{};
  std::ifstream(path, std::ios::binary).read(bytes.data(), bytes.size());
  return std::string_view(bytes.data(), bytes.size()) == kMark ? 2 : 1;
}

std::string TimeOf(std::time_t time) {
  std::array<char, 32> text{};
  std::tm parts{};
  if (gmtime_r(&time, &parts) == nullptr)
    return "";
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text.data();
}

show_Json Journal(const std::string& path) {
  const ORXSimJournalInfo info = ORXSimJournal::Read(path.c_str());
  if (!info.exists && !info.missing)
    return nullptr;
  return {{"writerAtWork", info.writerAtWork},
          {"missing", info.missing},
          {"damaged", info.damaged},
          {"commits", info.commits},
          {"bytes", info.journalBytes},
          {"process", info.ownerProcess},
          {"host", info.ownerHost}};
}

/// The results by the map that they stand in, each with its unit.
show_Json Fields(const show_Json& members) {
  show_Json fields = show_Json::object();
  for (const char* const map :
       {"frameFields", "nodeFields", "elementFields", "surfaceFields", "regionFields", "meshFields"}) {
    if (!members.contains(map))
      continue;
    for (const std::string& name : show_ResultNames(members[map])) {
      const show_Json& field = members[map]["entries"][name];
      show_Json unit = field.value("unit", show_Json());
      if (unit.is_null() && field.contains("first"))
        unit = field["first"].value("unit", show_Json());
      fields[map].push_back({{"name", name}, {"unit", unit}, {"drawers", field.value("drawers", 0)}});
    }
  }
  return fields;
}

show_Json Systems(const show_Json& mesh) {
  show_Json systems = show_Json::array();
  if (!mesh.is_object() || !mesh["children"].contains("systems"))
    return systems;
  for (const show_Json& one : mesh["children"]["systems"]["elements"])
    if (one.is_object())
      systems.push_back({{"name", one["members"].value("systemName", "")},
                         {"class", one["class"]},
                         {"modes", one["members"].contains("modes") && one["members"]["modes"].is_object()
                                       ? one["members"]["modes"].value("items", show_Json())
                                       : show_Json()}});
  return systems;
}

show_Json Describe(const Options& options, const sto_File& file) {
  const std::string& path = options.opening.file;
  struct stat status {};
  const bool found = stat(path.c_str(), &status) == 0;
  const auto bytes = found ? static_cast<unsigned long long>(status.st_size) : 0;
  show_Objects objects(path, bytes, file.Context(), kMostSystems);
  const show_Json simulation = objects.Describe();
  const show_Json none;
  const show_Json& model =
      simulation["children"].contains("discreteModel") ? simulation["children"]["discreteModel"] : none;
  const show_Json& mesh =
      model.is_object() && model["children"].contains("mesh") ? model["children"]["mesh"] : none;
  const show_Json summary = show_Summarize(simulation, file.Context());
  return {{"file", path},
          {"summary", summary},
          {"fields", mesh.is_object() ? Fields(mesh["members"]) : show_Json::object()},
          {"systems", Systems(mesh)},
          {"bytes", bytes},
          {"unused", UnusedBytes(file.Context(), summary)},
          {"layout", {{"version", 102}, {"format", FormatOf(path)}, {"described", objects.Describes()}}},
          {"changed", found ? show_Json(TimeOf(status.st_mtime)) : show_Json()},
          {"journal", Journal(path)}};
}

void Line(const char* name, const std::string& text) {
  constexpr std::size_t kColumn = 16;
  std::cout << "  " << name << std::string(kColumn - std::string_view(name).size(), ' ')
            << show_Printable(text) << '\n';
}

std::string TextOf(const show_Json& fields) {
  constexpr std::size_t kMost = 8;
  std::string text;
  for (std::size_t i = 0; i < std::min(fields.size(), kMost); ++i) {
    text += (i == 0 ? "" : ", ") + fields[i]["name"].get<std::string>();
    if (fields[i]["unit"].is_string())
      text += " [" + fields[i]["unit"].get<std::string>() + "]";
  }
  return fields.size() > kMost ? text + ", " + show_More(static_cast<long long>(fields.size() - kMost))
                               : text;
}

std::string TextOfJournal(const show_Json& journal) {
  if (journal.is_null())
    return "none; no program is writing the file";
  if (journal["missing"].get<bool>())
    return "missing, though the file has one; 'pdmsim recover' says more";
  const std::string owner =
      "process " + journal["process"].dump() + " on " + journal["host"].get<std::string>();
  if (journal["writerAtWork"].get<bool>())
    return owner + " is writing the file, " + show_Size(journal["bytes"].get<unsigned long long>()) +
           " of journal";
  return "left by " + owner +
         ", which died, or closed the file beside a live reader; the next writer applies it";
}

void PrintSizes(const show_Json& json) {
  const auto bytes = json["bytes"].get<unsigned long long>();
  std::string size = show_Size(bytes);
  if (json["unused"].is_number()) {
    const auto unused = json["unused"].get<unsigned long long>();
    size += ", " + show_Size(unused) + " of it unused";
    if (unused > 65536 && unused > bytes / 5)
      size += " ('pdmsim compact' gives them back)";
  }
  Line("size", size);
  const show_Json& layout = json["layout"];
  Line("layout", "version " + layout["version"].dump() + ", file format " + layout["format"].dump() +
                     (layout["format"] == 1 ? " (of version 0.1, or another program's)" : "") +
                     (layout["described"].get<bool>() ? ", describes its classes" : ""));
  if (json["changed"].is_string())
    Line("changed", json["changed"].get<std::string>());
  Line("journal", TextOfJournal(json["journal"]));
}

void Print(const show_Json& json) {
  const show_Json& summary = json["summary"];
  std::cout << show_Printable(json["file"].get<std::string>()) << ": " << show_SummaryLine(summary) << '\n';
  PrintSizes(json);
  for (const auto& [key, name] :
       {std::pair("nodeSets", "node sets"), std::pair("elementSets", "element sets"),
        std::pair("surfaces", "surfaces")})
    if (summary[key].is_number() && summary[key] != 0)
      Line(name,
           summary[key].dump() + (key == std::string_view("elementSets") ? ", the blocks among them" : ""));
  if (summary["times"].size() == 2)
    Line("time", show_Number(summary["times"][0].get<double>(), 6) + " .. " +
                     show_Number(summary["times"][1].get<double>(), 6) + " in " +
                     show_Counted(summary["steps"].get<long long>(), "step"));
  for (const auto& [map, fields] : json["fields"].items())
    Line(map.c_str(), TextOf(fields));
  const show_Json& systems = json["systems"];
  for (std::size_t i = 0; i < systems.size(); ++i) {
    const auto full = systems[i]["class"].get<std::string>();
    Line(i == 0 ? "systems" : "", std::to_string(i) + " '" + systems[i]["name"].get<std::string>() + "', " +
                                      full.substr(full.rfind('.') + 1) +
                                      (systems[i]["modes"].is_number()
                                           ? ", " + show_Counted(systems[i]["modes"].get<long long>(), "mode")
                                           : ""));
  }
  const long long left =
      (summary["systems"].is_number() ? summary["systems"].get<long long>() : 0) - std::ssize(systems);
  if (left > 0)
    Line("", show_More(left));
}

void Info(const Options& options) {
  const sto_File file(options.opening);
  const show_Names names(file.Sim().discreteModel(), file.Context());
  const show_NamesInUse inUse(names);
  const show_Json json = Describe(options, file);
  file.Check();
  cmd_PrintFound(json, options.json, Print);
}

} // namespace

void cmd_AddInfo(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("info", "Say on one screen what a simulation file is");
  cmd_AddOpening(*command, options->opening);
  cmd_AddJson(*command, options->json);
  command->footer(kFooter);
  command->callback([options] { Info(*options); });
}
