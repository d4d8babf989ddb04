#include <campaign/camp_Campaigns.h>

#include <cstdlib>
#include <filesystem>
#include <sys/wait.h>

namespace {

// A campaign with its options, and the rules that it must see when they are broken on purpose.
const std::pair<const char*, std::vector<const char*>> kCases[] = {
    {"power",
     {"commit-sync", "checkpoint-sync", "directory-sync", "header-sync", "direct-sync", "apply-first",
      "checksum", "direct-everywhere", "recovery-sync", "mark-sync", "mark-first"}},
    {"power --config regrown", {"floor", "reuse"}},
    {"power --config regrown-spilled", {"floor"}},
    {"kills", {"direct-everywhere", "verify", "spare"}},
    {"faults --stride 7", {"reserve"}},
    {"live --count 30", {"reuse"}},
    {"helpers", {"lend-beyond", "helpers-lock", "loan", "edges", "patches"}}};

// The row of one of them.
camp_Row look(const std::string& campaign, const std::string& rule, const camp_Options& options) {
  camp_Row row{"no " + rule, campaign};
  const std::string program = std::filesystem::read_symlink("/proc/self/exe");
  std::string command = "exec env -u LD_PRELOAD PDM_BREAK=" + rule + " '" + program + "' " + campaign +
                        " --until-bad --library '" + options.library + "' --seed " +
                        std::to_string(options.seed);
  if (options.count > 0 && campaign.find("--count") == std::string::npos)
    command += " --count " + std::to_string(options.count);
  const int status = std::system((command + " >/dev/null 2>&1").c_str());
  const bool isNoticed = WIFEXITED(status) && WEXITSTATUS(status) == 1;
  row.runs = 1;
  row.note = isNoticed ? "noticed" : "not noticed, status " + std::to_string(status);
  if (!isNoticed)
    row.Bad(row.note);
  return row;
}

} // namespace

camp_Rows camp_BrokenRules(const camp_Options& options) {
  camp_Rows rows;
  for (const auto& [campaign, rules] : kCases)
    for (const char* const rule : rules)
      if (options.config.empty() || options.config == rule)
        rows.push_back(look(campaign, rule, options));
  return rows;
}
