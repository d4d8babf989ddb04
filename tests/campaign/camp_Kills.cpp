#include <campaign/camp_Campaigns.h>

#include <chrono>
#include <csignal>

namespace {

constexpr camp_Config kConfigs[] = {{"kill-safe", 1},
                                    {"durable", 2},
                                    {"tiny-limits", 1, 64 << 10, 48 << 10},
                                    {"live-readers", 1, 0, 0, 2},
                                    {"live-tiny-journal", 1, 16 << 10, 0, 2}};
constexpr int kSteps = 12, kRounds = 12, kRecoveryCalls = 25;
enum { kSnapshots, kWrong }; // counters on the board

// Reads commit points until it is killed; whatever it sees was the state after some step.
void readOn(const std::string& file, camp_Board& board) {
  for (;;) {
    const int done = board.done;
    camp_Session session(file, camp_Session::kLiveReading);
    if (!session.OpenReadOnly())
      continue;
    camp_Session::Watch();
    const std::uint64_t digest = camp_State::Read(session.Sim()).Digest();
    ++board.counter[board.Knows(digest, done, board.begun) ? kSnapshots : kWrong];
  }
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
      for (int i = 0; i < m_config.readers && trial.Next() > 2; ++i)
        readers.push_back(std::make_unique<camp_Child>([&] { readOn(m_directory.File(), m_board); }));
      const int kind = m_random.Below(8);
      const int status =
          kind == 0  ? trial.Run(m_random.Between(1, kSteps), {.leaves = true})
          : kind < 4 ? trial.Run(kSteps, {.life = m_random.Between(1, m_microseconds)})
                     : trial.Run(kSteps, {.io = {.killAt = 1 + m_random.Below(m_calls), .random = m_random}});
      ++m_row.runs;
      for (int i = m_random.Below(3); i > 0; --i)
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
    if (m_config.readers == 0)
      return;
    m_row.note = std::to_string(m_board.counter[kSnapshots]) + " snapshots, " +
                 std::to_string(m_board.counter[kWrong]) + " wrong";
    if (m_board.counter[kWrong] > 0)
      m_row.Bad("live readers saw states that never were");
    if (m_board.counter[kSnapshots] == 0)
      m_row.Bad("live readers saw nothing");
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

std::vector<camp_Row> camp_Kills(const camp_Options& options) {
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
