#include <campaign/camp_Campaigns.h>

#include <chrono>
#include <csignal>

namespace {

constexpr int kSteps = 12, kRounds = 12, kRecoveryCalls = 25;
constexpr camp_Config kConfigs[] = {{"kill-safe", H5J_PROCESS},
                                    {"durable", H5J_POWER},
                                    {"tiny-limits", H5J_PROCESS, 64 << 10, 48 << 10},
                                    {"live-readers", H5J_PROCESS, 0, 0, 2},
                                    {"live-tiny-journal", H5J_PROCESS, 16 << 10, 0, 2},
                                    {"unmarked", H5J_PROCESS, 0, 0, 0, camp_Config::kUnmarked},
                                    {"old-format", H5J_PROCESS, 0, 0, 0, camp_Config::kOldFormat}};

// One file and its killers. Ends with the first damage.
void live(const camp_Config& config, std::int64_t calls, std::int64_t microseconds, camp_Random& random,
          camp_Row& row) {
  camp_Trial trial(random.Next(), config, row);
  for (int round = 0; round < kRounds; ++round) {
    camp_Children readers;
    if (trial.Next() > 2)
      readers = camp_Readers(trial.File(), config, camp_Reading::kHurry, row.board);
    const int kind = random.Below(8);
    const int status = kind == 0 ? trial.Run(random.Between(1, kSteps), {.leaves = true})
                       : kind < 4
                           ? trial.Run(kSteps, {.life = 1 + random.Below(microseconds)})
                           : trial.Run(kSteps, {.io = {.killAt = 1 + random.Below(calls), .random = random}});
    ++row.runs;
    for (int i = random.Below(3); i > 0; --i)
      if (random.OneIn(3))
        trial.Recover({.random = random, .lieAt = random.Between(1, 4)});
      else
        trial.Recover({.killAt = random.Between(1, kRecoveryCalls), .random = random});
    readers.clear();
    if ((status != 0 && status != -SIGKILL) || row.board.refused > 0) {
      row.Bad("ended with " + std::to_string(status) + ", refused without a fault: " + row.board.message);
      return;
    }
    if (!trial.Check(random.OneIn(4) ? camp_Look::kEveryWay : camp_Look::kClose))
      return;
  }
}

} // namespace

camp_Rows camp_Kills(const camp_Options& options) {
  using Clock = std::chrono::steady_clock;
  const std::int64_t kills = options.Share(500, std::ssize(kConfigs));
  return camp_ForEachConfig("kills", kConfigs, options, [&](const camp_Config& config, camp_Row& row) {
    camp_Random random(options.seed, 77);
    const auto start = Clock::now();
    camp_Trial(1, config, row).Run(kSteps);
    const std::int64_t calls = row.board.calls,
                       microseconds = (Clock::now() - start) / std::chrono::microseconds(1);
    while (row.runs < kills && !options.Enough(row))
      live(config, calls, microseconds, random, row);
    if (config.readers > 0)
      row.Conclude();
  });
}

// One long life of a writer, beside readers who hold what they see.
camp_Rows camp_Live(const camp_Options& options) {
  constexpr camp_Config kLive[] = {{"kill-safe", H5J_PROCESS, 0, 0, 3},
                                   {"durable", H5J_POWER, 0, 0, 3},
                                   {"helped", H5J_PROCESS, 64 << 10, 0, 3, camp_Config::kHelped},
                                   {"tiny-limits", H5J_PROCESS, 64 << 10, 48 << 10, 3}};
  return camp_ForEachConfig("live", kLive, options, [&](const camp_Config& config, camp_Row& row) {
    camp_Trial trial(options.seed, config, row);
    if (!trial.RunsWell(1))
      return;
    camp_Children readers = camp_Readers(trial.File(), config, camp_Reading::kPause, row.board);
    const int status = trial.Run(camp_Board::kSteps, {.life = options.Share(9, std::ssize(kLive)) * 1000000});
    readers.clear();
    row.runs = row.board.counter[camp_kSnapshots].load();
    row.note = std::to_string(row.board.done) + " steps, ";
    row.Conclude();
    if (status != -SIGKILL)
      row.Bad(std::string("the writer was refused: ") + row.board.message);
    else
      trial.Check(camp_Look::kEveryWay);
  });
}
