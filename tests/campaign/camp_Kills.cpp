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

// What readers on the board saw.
void conclude(const camp_Board& board, camp_Row& row) {
  row.note = std::to_string(board.counter[camp_kSnapshots]) + " snapshots, " +
             std::to_string(board.counter[camp_kRefreshed]) + " refreshed";
  if (board.counter[camp_kWrong] > 0)
    row.Bad(std::to_string(board.counter[camp_kWrong]) + " wrong snapshots: " + board.message);
  if (board.counter[camp_kSnapshots] == 0)
    row.Bad("nobody could read");
}

class Killer {
 public:
  Killer(const camp_Config& config, const camp_Options& options, camp_Row& row)
      : m_config(config), m_row(row), m_random(options.seed, 77) {
    using namespace std::chrono;
    const auto start = steady_clock::now();
    camp_Trial(m_directory, 1, config, m_board).Run(kSteps);
    m_microseconds = static_cast<int>(duration_cast<microseconds>(steady_clock::now() - start).count());
    m_calls = m_board.calls;
  }

  // One file and its killers. Ends with the first damage.
  void Life(std::int64_t kills) {
    camp_Trial trial(m_directory, m_random.Next(), m_config, m_board);
    for (int round = 0; round < kRounds && m_row.runs < kills; ++round) {
      camp_Children readers;
      if (trial.Next() > 2)
        readers = camp_Readers(m_directory.File(), m_config, camp_Reading::kHurry, m_board);
      const int kind = m_random.Below(8);
      const int status =
          kind == 0  ? trial.Run(m_random.Between(1, kSteps), {.leaves = true})
          : kind < 4 ? trial.Run(kSteps, {.life = m_random.Between(1, m_microseconds)})
                     : trial.Run(kSteps, {.io = {.killAt = 1 + m_random.Below(m_calls), .random = m_random}});
      ++m_row.runs;
      for (int i = m_random.Below(3); i > 0; --i)
        if (m_random.OneIn(3))
          trial.Recover({.random = m_random, .lieAt = m_random.Between(1, 4)});
        else
          trial.Recover({.killAt = m_random.Between(1, kRecoveryCalls), .random = m_random});
      readers.clear();
      if (status != 0 && status != -SIGKILL)
        return m_row.Bad("ended with " + std::to_string(status));
      if (status == 0 && m_board.done != m_board.begun)
        return m_row.Bad(std::string("refused without a fault: ") + m_board.message);
      if (!trial.Check(m_random.OneIn(4)))
        return m_row.Bad(trial.Message());
    }
  }

  void Conclude() const {
    if (m_config.readers > 0)
      conclude(m_board, m_row);
  }

 private:
  camp_Directory m_directory;
  camp_Board& m_board = camp_Board::New();
  const camp_Config& m_config;
  camp_Row& m_row;
  camp_Random m_random;
  int m_microseconds = 0; // that a session takes
  std::int64_t m_calls = 0;
};

} // namespace

camp_Rows camp_Kills(const camp_Options& options) {
  const std::int64_t kills = options.Share(500, std::ssize(kConfigs));
  return camp_ForEachConfig("kills", kConfigs, options, [&](const camp_Config& config, camp_Row& row) {
    Killer killer(config, options, row);
    while (row.runs < kills && !(options.untilBad && row.bad > 0)) {
      killer.Life(kills);
      row.Progress(kills);
    }
    killer.Conclude();
  });
}

// One long life of a writer, beside readers who hold what they see.
camp_Rows camp_Live(const camp_Options& options) {
  constexpr camp_Config kLive[] = {{"kill-safe", H5J_PROCESS, 0, 0, 3},
                                   {"durable", H5J_POWER, 0, 0, 3},
                                   {"tiny-limits", H5J_PROCESS, 64 << 10, 48 << 10, 3}};
  return camp_ForEachConfig("live", kLive, options, [&](const camp_Config& config, camp_Row& row) {
    const camp_Directory directory;
    camp_Board& board = camp_Board::New();
    camp_Trial trial(directory, options.seed, config, board);
    if (!trial.RunsWell(1))
      return row.Bad(trial.Message());
    camp_Children readers = camp_Readers(directory.File(), config, camp_Reading::kPause, board);
    const int status = trial.Run(camp_Board::kSteps, {.life = options.Share(9, std::ssize(kLive)) * 1000000});
    readers.clear();
    row.runs = board.counter[camp_kSnapshots];
    conclude(board, row);
    row.note += ", " + std::to_string(board.done) + " steps";
    if (status != -SIGKILL)
      row.Bad(std::string("the writer was refused: ") + board.message);
    else if (!trial.Check(true))
      row.Bad(trial.Message());
  });
}
