#include <campaign/camp_Campaigns.h>

#include <chrono>
#include <csignal>

namespace {

constexpr camp_Config kConfigs[] = {
    {"kill-safe", 1}, {"durable", 2}, {"tiny-limits", 1, 64 << 10, 48 << 10}, {"live-readers", 1, 0, 0, 2}};

// How long a session takes, and how many calls on files it makes.
struct Measure {
  int microseconds;
  std::int64_t calls;
};

Measure measure(const camp_Directory& directory, const camp_Config& config, camp_Board& board, int steps) {
  camp_Trial trial(directory, 1, config, board);
  const auto start = std::chrono::steady_clock::now();
  trial.Run(steps, [] {});
  const auto time = std::chrono::steady_clock::now() - start;
  return {static_cast<int>(std::chrono::duration_cast<std::chrono::microseconds>(time).count()), board.calls};
}

// Reads commit points until it is killed; whatever it sees was the state after some step.
int readOn(const std::string& file, camp_Board& board) {
  constexpr int kLiveReading = 3;
  for (;;) {
    const int done = board.done;
    camp_Session session(file, kLiveReading);
    if (!session.OpenReadOnly())
      continue;
    camp_Session::Watch();
    const std::uint64_t digest = camp_State::Read(session.Sim()).Digest();
    bool known = false;
    for (int n = done; n <= board.begun && !known; ++n)
      known = board.digest[n] == digest;
    ++board.counter[known ? 0 : 1];
  }
}

class Killer {
 public:
  Killer(const camp_Config& config, const camp_Options& options, camp_Row& row)
      : m_config(config), m_row(row), m_random(options.seed, 77),
        m_measure(measure(m_directory, config, m_board, kSteps)) {}

  // One file and its killers. Ends with the first damage.
  void Life(std::int64_t kills) {
    camp_Trial trial(m_directory, m_random.Next(), m_config, m_board);
    for (int round = 0; round < kRounds && m_row.runs < kills; ++round) {
      std::vector<std::unique_ptr<camp_Child>> readers;
      for (int i = 0; i < m_config.readers && trial.Next() > 2; ++i)
        readers.push_back(std::make_unique<camp_Child>([&] { return readOn(m_directory.File(), m_board); }));
      const int status = Kill(trial);
      ++m_row.runs;
      for (int i = m_random.Below(3); i > 0; --i)
        trial.Recover([&] { camp_Io::KillAt(m_random.Between(1, kRecoveryCalls), m_random); });
      readers.clear();
      if (status != 0 && status != -SIGKILL)
        return m_row.Bad("ended with " + std::to_string(status));
      if (status == 0 && m_board.done != m_board.begun)
        return m_row.Bad(std::string("refused without a fault: ") + m_board.message);
      if (!trial.Check(m_random.OneIn(4)))
        return m_row.Bad(trial.Message());
    }
  }

  std::string Note() const {
    return m_config.readers == 0 ? ""
                                 : std::to_string(m_board.counter[0]) + " snapshots, " +
                                       std::to_string(m_board.counter[1]) + " wrong";
  }
  std::int64_t WrongSnapshots() const { return m_board.counter[1]; }
  std::int64_t Snapshots() const { return m_board.counter[0]; }

 private:
  static constexpr int kSteps = 12, kRounds = 12, kRecoveryCalls = 25;

  int Kill(camp_Trial& trial) {
    switch (m_random.Below(8)) {
    case 0:
      return trial.Run(
          m_random.Between(1, kSteps), [] {}, 0, true);
    case 1:
    case 2:
    case 3:
      return trial.Run(
          kSteps, [] {}, m_random.Between(1, m_measure.microseconds));
    default:
      return trial.Run(kSteps, [&] { camp_Io::KillAt(1 + m_random.Below(m_measure.calls), m_random); });
    }
  }

  camp_Directory m_directory;
  camp_Board& m_board = camp_Board::New();
  const camp_Config& m_config;
  camp_Row& m_row;
  camp_Random m_random;
  Measure m_measure;
};

} // namespace

std::vector<camp_Row> camp_Kills(const camp_Options& options) {
  constexpr std::int64_t kKills = 500;
  const std::int64_t kills =
      (options.count > 0 ? options.count : kKills) / (options.config.empty() ? std::ssize(kConfigs) : 1);
  return camp_ForEachConfig("kills", kConfigs, options, [&](const camp_Config& config, camp_Row& row) {
    Killer killer(config, options, row);
    while (row.runs < kills && !(options.untilBad && row.bad > 0)) {
      killer.Life(kills);
      row.Progress(kills);
    }
    row.note = killer.Note();
    if (killer.WrongSnapshots() > 0)
      row.Bad("live readers saw states that never were");
    if (config.readers > 0 && killer.Snapshots() == 0)
      row.Bad("live readers saw nothing");
  });
}
