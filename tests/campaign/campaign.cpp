// Campaigns against HDF5 files and whole models: what they survive, tried until they break.

#include <campaign/camp_Campaigns.h>
#include <campaign/camp_Crew.h>

#include <PDM_Core.h>

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace {

constexpr char kFooter[] = R"(Campaigns:
  kills        processes killed at random moments and calls; recovery killed too (--count kills, 500)
  helpers      a file's writer, its helpers or all of them killed, orphans beside new writers (--count kills, 100)
  power        the disk as a loss of power leaves it, six modes (--count points, 3000)
  faults       each call on the file fails in turn, six ways; one of them is a full disk
  allocations  allocations fail in turn, once and for good
  contention   two writers and a reader compete, writers are killed (--count commits, 2000)
  live         a writer and three live readers (--count seconds, 9)
  model        processes that work on a whole model are killed (--count kills, 200)
  broken       rules of the journal broken on purpose; needs --library (--config RULE)

Examples:
  campaign kills --count 10000 --seed 7
  campaign power --count 50000 --config durable
  campaign faults --stride 10 --json
  campaign power --library build/dev/breakable/libH5Journal.so

A run is bad when the file then holds anything but the content after the last acknowledged step or the step that
was under way.

Exit codes: 0 nothing bad; 1 something bad; 2 wrong use. The first bad runs are told on standard error.)";

const std::map<std::string, camp_Rows (*)(const camp_Options&)> kCampaigns{
    {"kills", camp_Kills},           {"power", camp_PowerLoss},
    {"faults", camp_Faults},         {"allocations", camp_AllocationFaults},
    {"helpers", camp_Helpers},       {"live", camp_Live},
    {"contention", camp_Contention}, {"model", camp_Model},
    {"broken", camp_BrokenRules}};

// Begins anew with the library before the one that the program is linked with.
void preload(const std::string& library, char** arguments) {
  constexpr char kVariable[] = "LD_PRELOAD";
  const char* const loaded = std::getenv(kVariable);
  if (library.empty() || (loaded != nullptr && library == loaded))
    return;
  ::setenv(kVariable, library.c_str(), 1);
  ::execv("/proc/self/exe", arguments);
}

// The rows as a table or as JSON. Returns the exit code.
int print(const camp_Rows& rows, bool json) {
  std::int64_t bad = 0;
  nlohmann::json list = nlohmann::json::array();
  for (const camp_Row& row : rows) {
    const long long runs = row.runs, badOnes = row.bad;
    bad += badOnes;
    list.push_back({{"campaign", row.campaign},
                    {"configuration", row.config},
                    {"runs", runs},
                    {"bad", badOnes},
                    {"note", row.note}});
    if (!json)
      std::printf("%-12s %-18s %8lld runs %6lld bad  %s\n", row.campaign.c_str(), row.config.c_str(), runs,
                  badOnes, row.note.c_str());
  }
  if (json)
    std::cout << nlohmann::json{{"bad", bad}, {"campaigns", list}}.dump(2) << '\n';
  return bad == 0 ? 0 : 1;
}

} // namespace

camp_Rows camp_ForEachConfig(const char* campaign, std::span<const camp_Config> configs,
                             const camp_Options& options,
                             const std::function<void(const camp_Config&, camp_Row&)>& body) {
  camp_Rows rows;
  for (const camp_Config& config : configs) {
    if (!options.config.empty() && options.config != config.name)
      continue;
    camp_Row& row = rows.emplace_back(camp_Row{campaign, config.name});
    camp_Crew::s_loans = &row.board.counter[camp_kLoans];
    body(config, row);
    if (config.Is(camp_Config::kHelped)) {
      row.note += ", " + std::to_string(*camp_Crew::s_loans) + " loans";
      if (*camp_Crew::s_loans == 0)
        row.Bad("nothing was lent");
    }
    if (options.Enough(row))
      break;
  }
  return rows;
}

int main(int argc, char** argv) {
  std::set_terminate([] { ::_exit(camp_kTerminated); });
  CLI::App program("Tries to damage files, and looks whether they hold what was committed.");
  program.footer(kFooter);
  camp_Options options;
  std::string name;
  bool json = false;
  program.add_option("campaign", name, "one of those below")->required()->check(CLI::IsMember(&kCampaigns));
  program.add_option("--seed", options.seed, "another seed tries other steps, kills and disks");
  program.add_option("--count", options.count, "how much; kills, points, commits or seconds");
  program.add_option("--stride", options.stride, "fail only every n-th call")->check(CLI::PositiveNumber);
  program.add_option("--config", options.config, "only this configuration");
  program.add_option("--library", options.library, "a build of the driver that breaks the rule in PDM_BREAK")
      ->check(CLI::ExistingFile);
  program.add_flag("--until-bad", options.untilBad, "kills, power, faults, model: stop at the first bad run");
  program.add_flag("--json", json, "the result as JSON");
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? 0 : 2;
  }
  if (name != "broken")
    preload(options.library, argv);
  else if (options.library.empty())
    return std::cerr << "campaign: broken rules need --library\n", 2;
  H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  const int result = print(kCampaigns.at(name)(options), json);
  DDB_PDM_Core_finalize(modules);
  return result;
}
