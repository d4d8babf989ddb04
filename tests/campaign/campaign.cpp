// Campaigns against HDF5 files and whole models: what they survive, tried until they break.

#include <campaign/camp_Campaigns.h>

#include <PDM_Core.h>

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace {

constexpr char kFooter[] = R"(Examples:
  campaign kills --count 10000 --seed 7
  campaign power --count 50000 --config durable
  campaign faults --stride 10 --json
  campaign power --library build/dev/breakable/libH5Journal.so

A run is bad when the file then holds anything but the content after the last acknowledged step or the step that
was under way.

Exit codes: 0 nothing bad; 1 something bad; 2 wrong use. The first bad runs are told on standard error.)";

struct Campaign {
  const char *name, *text;
  camp_Rows (*run)(const camp_Options&);
};
constexpr Campaign kCampaigns[] = {
    {"kills", "processes killed at random moments and calls; recovery killed too (--count kills, 500)",
     camp_Kills},
    {"power", "the disk as a loss of power leaves it, six modes (--count points, 3000)", camp_PowerLoss},
    {"faults", "each call on the file fails in turn, six ways; one of them is a full disk", camp_Faults},
    {"allocations", "allocations fail in turn, once and for good", camp_AllocationFaults},
    {"contention", "two writers and a reader compete, writers are killed (--count commits, 2000)",
     camp_Contention},
    {"live", "a writer and three live readers (--count seconds, 9)", camp_Live},
    {"model", "processes that work on a whole model are killed (--count kills, 200)", camp_Model},
    {"broken", "rules of the journal broken on purpose; needs --library (--config RULE)", camp_BrokenRules},
};

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
    bad += row.bad;
    list.push_back({{"campaign", row.campaign},
                    {"configuration", row.config},
                    {"runs", row.runs},
                    {"bad", row.bad},
                    {"note", row.note}});
    if (!json)
      std::printf("%-12s %-18s %8lld runs %6lld bad  %s\n", row.campaign.c_str(), row.config.c_str(),
                  static_cast<long long>(row.runs), static_cast<long long>(row.bad), row.note.c_str());
  }
  if (json)
    std::cout << nlohmann::json{{"bad", bad}, {"campaigns", list}}.dump(2) << '\n';
  return bad == 0 ? 0 : 1;
}

} // namespace

void camp_Row::Bad(const std::string& message) {
  constexpr int kTold = 5;
  if (++bad <= kTold)
    std::cerr << campaign << ", " << config << ", run " << runs << ": " << message << '\n';
}

camp_Rows camp_ForEachConfig(const char* campaign, std::span<const camp_Config> configs,
                             const camp_Options& options,
                             const std::function<void(const camp_Config&, camp_Row&)>& body) {
  camp_Rows rows;
  for (const camp_Config& config : configs) {
    if (!options.config.empty() && options.config != config.name)
      continue;
    camp_Board& board = camp_Board::New();
    camp_Row& row = rows.emplace_back(camp_Row{campaign, config.name});
    const auto run = [&] {
      body(config, row);
      board.counter[0] = row.runs;
      board.counter[1] = row.bad;
      board.Say(row.note);
    };
    const int status = camp_Child(run, 0).Wait();
    row = {campaign, config.name, board.counter[0], board.counter[1], board.message};
    if (status != 0)
      row.Bad("the campaign itself ended with " + std::to_string(status));
    if (options.untilBad && row.bad > 0)
      break;
  }
  return rows;
}

int main(int argc, char** argv) {
  std::set_terminate([] { ::_exit(camp_kTerminated); });
  CLI::App program("Tries to damage files, and looks whether they hold what was committed.");
  program.footer(kFooter);
  program.require_subcommand(1);
  camp_Options options;
  bool json = false;
  camp_Rows (*run)(const camp_Options&) = nullptr;
  for (const Campaign& campaign : kCampaigns) {
    CLI::App* const command = program.add_subcommand(campaign.name, campaign.text);
    command->add_option("--seed", options.seed, "another seed tries other steps, kills and disks");
    command->add_option("--count", options.count, "how much; kills, points, commits or seconds");
    command->add_option("--stride", options.stride, "fail only every n-th call")->check(CLI::PositiveNumber);
    command->add_option("--config", options.config, "only this configuration");
    command
        ->add_option("--library", options.library, "a build of the driver that breaks the rule in PDM_BREAK")
        ->check(CLI::ExistingFile);
    command->add_flag("--until-bad", options.untilBad,
                      "kills, power, faults, model: stop at the first bad run");
    command->add_flag("--json", json, "the result as JSON");
    command->callback([&run, &campaign] { run = campaign.run; });
  }
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? 0 : 2;
  }
  if (run != camp_BrokenRules)
    preload(options.library, argv);
  else if (options.library.empty())
    return std::cerr << "campaign: broken rules need --library\n", 2;
  H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  const int result = print(run(options), json);
  DDB_PDM_Core_finalize(modules);
  return result;
}
