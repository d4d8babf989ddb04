#include <campaign/camp_Campaigns.h>

#include <csignal>
#include <unistd.h>

namespace {

constexpr unsigned kWaiting = 5000;
constexpr camp_Config kConfigs[] = {{"kill-safe", H5J_PROCESS, 0, 0, 1, camp_Config::kSmall}};
enum { kCommits = camp_kCounters, kRefused, kFirstWriter, kSecondWriter }; // counters on the board

// Takes a few steps whenever it is its turn, over what the others have left.
void writeOn(const std::string& file, std::uint64_t seed, int own, camp_Board& board) {
  for (;;) {
    camp_Workload workload(seed, kConfigs[0]);
    camp_Session session(file, kConfigs[0], kWaiting);
    if (!session.Open(H5F_ACC_RDWR)) {
      ++board.counter[kRefused];
      continue;
    }
    camp_Content& content = workload.content;
    if (!camp_Content::Read(session.Id(), content) || !board.Knows(content.Digest(), board.done, board.begun))
      board.Wrong("a writer found something else: " + camp_Session::Failure());
    for (int i = 0; i < 20 && session.IsOpen(); ++i) {
      const int n = board.begun + 1;
      const std::uint64_t before = content.Digest();
      camp_Host(workload, session, n, 1, board);
      if (board.fate[n] != camp_Board::kTaken)
        board.Wrong("a writer was refused: " + camp_Session::Failure());
      board.counter[own] += 1;
      board.counter[kCommits] += board.digest[n] != before;
    }
  }
}

} // namespace

camp_Rows camp_Contention(const camp_Options& options) {
  const std::int64_t commits = options.Share(2000, 1);
  return camp_ForEachConfig("contention", kConfigs, options, [&](const camp_Config& config, camp_Row& row) {
    camp_Board& board = row.board;
    camp_Trial trial(options.seed, config, row);
    if (!trial.RunsWell(1))
      return;
    const camp_Children live = camp_Readers(trial.File(), config, camp_Reading::kHurry, board),
                        waiting = camp_Readers(trial.File(), config, camp_Reading::kWait, board);
    std::unique_ptr<camp_Child> writers[2];
    camp_Random random(options.seed);
    int kills = 0;
    for (int idle = 0; row.runs < commits && idle < 1000; ++kills) {
      for (int i = 0; i < 2; ++i)
        if (writers[i] == nullptr)
          writers[i] = std::make_unique<camp_Child>(
              [&, i] { writeOn(trial.File(), options.seed, kFirstWriter + i, board); }, 0);
      ::usleep(static_cast<useconds_t>(random.Between(5000, 80000)));
      std::unique_ptr<camp_Child>& victim = writers[random.Below(2)];
      victim->Kill();
      if (const int status = std::exchange(victim, nullptr)->Wait(); status != -SIGKILL)
        board.Wrong("a writer ended with " + std::to_string(status));
      idle = row.runs == board.counter[kCommits] ? idle + 1 : 0;
      row.runs = board.counter[kCommits].load();
    }
    row.note = std::to_string(kills) + " kills, " + std::to_string(board.counter[kRefused]) + " refused, ";
    row.Conclude();
    if (board.counter[kFirstWriter] == 0 || board.counter[kSecondWriter] == 0 || row.runs < commits)
      row.Bad("somebody did not come to the file");
  });
}
