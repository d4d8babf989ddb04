#include <campaign/camp_Campaigns.h>

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace {

// A rule of the journal that is broken on purpose, and the campaign that must notice.
constexpr struct {
  const char *rule, *campaign, *config;
} kCases[] = {
    {"commit-sync", "power", ""},       {"checkpoint-sync", "power", ""},
    {"directory-sync", "power", ""},    {"header-sync", "power", ""},
    {"direct-sync", "power", ""},       {"apply-first", "power", ""},
    {"floor", "power", "regrown"},      {"floor", "power", "regrown-spilled"},
    {"checksum", "power", ""},          {"direct-everywhere", "power", ""},
    {"direct-everywhere", "kills", ""}, {"recovery-sync", "power", ""},
};

// Runs this program's campaign with the rule broken. \return its exit code.
int runBroken(const char* rule, const char* campaign, const char* config, const camp_Options& options) {
  return camp_Child(
             [&] {
               ::setenv("PDM_BREAK", rule, 1);
               ::unsetenv("LD_PRELOAD");
               const int nowhere = ::open("/dev/null", O_WRONLY);
               ::dup2(nowhere, STDOUT_FILENO);
               ::dup2(nowhere, STDERR_FILENO);
               std::vector<std::string> words = {"campaign",      campaign, "--library",
                                                 options.library, "--seed", std::to_string(options.seed)};
               if (options.count > 0)
                 words.insert(words.end(), {"--count", std::to_string(options.count)});
               if (*config != '\0')
                 words.insert(words.end(), {"--config", config});
               std::vector<char*> arguments;
               for (std::string& word : words)
                 arguments.push_back(word.data());
               arguments.push_back(nullptr);
               ::execv("/proc/self/exe", arguments.data());
               return 2;
             },
             0)
      .Wait();
}

} // namespace

std::vector<camp_Row> camp_BrokenRules(const camp_Options& options) {
  std::vector<camp_Row> rows;
  for (const auto& [rule, campaign, config] : kCases) {
    if (!options.config.empty() && options.config != rule)
      continue;
    camp_Row& row =
        rows.emplace_back(camp_Row{std::string("no ") + rule, std::string(campaign) + ' ' + config, 1});
    const int result = runBroken(rule, campaign, config, options);
    row.note = result == 1 ? "noticed" : "not noticed, exit code " + std::to_string(result);
    if (result != 1)
      row.Bad(row.note);
  }
  return rows;
}
