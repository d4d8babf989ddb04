#include <campaign/camp_Campaigns.h>

#include <filesystem>
#include <unistd.h>

namespace {

// A rule that is broken on purpose, and the campaign that must notice, with its configuration and options.
constexpr struct {
  const char *rule, *campaign, *config, *options;
} kCases[] = {
    {"commit-sync", "power", "", ""},
    {"checkpoint-sync", "power", "", ""},
    {"directory-sync", "power", "", ""},
    {"header-sync", "power", "", ""},
    {"direct-sync", "power", "", ""},
    {"apply-first", "power", "", ""},
    {"floor", "power", "regrown", ""},
    {"floor", "power", "regrown-spilled", ""},
    {"checksum", "power", "", ""},
    {"direct-everywhere", "power", "", ""},
    {"direct-everywhere", "kills", "", ""},
    {"recovery-sync", "power", "", ""},
    {"mark-sync", "power", "", ""},
    {"mark-first", "power", "", ""},
    {"reserve", "faults", "", "--stride 7"},
    {"reuse", "live", "", "--count 30"},
    {"reuse", "power", "regrown", ""},
    {"verify", "kills", "", ""},
    {"spare", "kills", "", ""},
};

} // namespace

camp_Rows camp_BrokenRules(const camp_Options& options) {
  camp_Rows rows;
  for (const auto& [rule, campaign, config, more] : kCases) {
    if (!options.config.empty() && options.config != rule)
      continue;
    camp_Row& row =
        rows.emplace_back(camp_Row{std::string("no ") + rule, std::string(campaign) + ' ' + config, 1});
    std::string command = "exec env -u LD_PRELOAD PDM_BREAK=" + std::string(rule) + " \"$0\" " + campaign +
                          " --until-bad --library \"$1\" --seed " + std::to_string(options.seed) + ' ' + more;
    if (options.count > 0 && *more == '\0')
      command += " --count " + std::to_string(options.count);
    if (*config != '\0')
      command += std::string(" --config ") + config;
    command += " >/dev/null 2>&1";
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    const auto run = [&] {
      ::execl("/bin/sh", "sh", "-c", command.c_str(), program.c_str(), options.library.c_str(), nullptr);
    };
    const int result = camp_Child(run, 0).Wait();
    row.note = result == 1 ? "noticed" : "not noticed, exit code " + std::to_string(result);
    if (result != 1)
      row.Bad(row.note);
  }
  return rows;
}
