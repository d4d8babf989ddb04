#include <campaign/camp_Api.h>
#include <campaign/camp_Campaigns.h>

#include <unistd.h>

namespace {

constexpr int kLiveReading = 3, kReaders = 3;
enum { kSnapshots, kWrong, kRefreshed }; // counters on the board

// Pauses while the writer goes on.
void pause(camp_Random& random) {
  ::usleep(static_cast<useconds_t>(random.Below(20000)));
}

// True when the session's model is what it was after one of the steps that ended at or after `since` and had
// begun by the time of `until`.
bool isCommitted(const camp_Session& session, int since, int until, const camp_Board& board,
                 std::uint64_t& digest) {
  camp_Session::Watch();
  digest = camp_State::Read(session.Sim()).Digest();
  bool known = false;
  for (int n = since; n <= until && !known; ++n)
    known = board.digest[n] == digest;
  return known && camp_Session::Clean();
}

// Takes snapshots, holds them and moves on, until it is killed.
int readOn(const std::string& file, std::uint64_t seed, camp_Board& board) {
  for (camp_Random random(seed);;) {
    int since = board.done;
    camp_Session session(file, kLiveReading);
    if (!session.OpenReadOnly())
      continue;
    int until = board.begun;
    if (random.OneIn(2))
      pause(random);
    std::uint64_t first = 0, later = 0;
    bool good = isCommitted(session, since, until, board, first);
    pause(random);
    good = isCommitted(session, since, until, board, later) && first == later && good;
    since = board.done;
    if (random.OneIn(2) && camp_Refresh(session.Context())) {
      until = board.begun;
      good = isCommitted(session, since, until, board, later) && good;
      ++board.counter[kRefreshed];
    }
    ++board.counter[good ? kSnapshots : kWrong];
  }
}

// Steps a second of a writer with so many readers.
double write(int readers, int seconds, const camp_Config& config, std::uint64_t seed, camp_Board& board) {
  const camp_Directory directory;
  board.begun = board.done = 0;
  board.digest[0] = camp_State::kNoFile;
  camp_Child writer(
      [&] {
        camp_Workload workload(seed);
        camp_Session session(directory.File(), config.leastOption);
        return camp_Host(workload, session, 1, camp_Board::kSteps - 1, 1, board);
      },
      0);
  std::vector<std::unique_ptr<camp_Child>> children;
  while (board.done < 2 && !writer.Ended())
    ::usleep(1000);
  const int before = board.done;
  for (int i = 0; i < readers; ++i)
    children.push_back(std::make_unique<camp_Child>(
        [&, i] { return readOn(directory.File(), seed + static_cast<std::uint64_t>(i), board); }, 0));
  for (int i = 0; i < seconds * 20 && !writer.Ended(); ++i)
    ::usleep(50000);
  return (board.done - before) / static_cast<double>(seconds);
}

} // namespace

std::vector<camp_Row> camp_Live(const camp_Options& options) {
  constexpr camp_Config kConfigs[] = {{"kill-safe", 1}, {"tiny-limits", 1, 64 << 10, 48 << 10}};
  const int seconds = options.count > 0 ? static_cast<int>(options.count) : 10;
  return camp_ForEachConfig("live", kConfigs, options, [&](const camp_Config& config, camp_Row& row) {
    camp_Board& board = camp_Board::New();
    const double alone = write(0, std::max(1, seconds / 4), config, options.seed, board);
    const double together = write(kReaders, seconds, config, options.seed, board);
    row.runs = board.counter[kSnapshots] + board.counter[kWrong];
    if (board.counter[kWrong] > 0)
      row.Bad("snapshots that never were: " + std::to_string(board.counter[kWrong]));
    if (board.counter[kSnapshots] == 0)
      row.Bad("nobody could read");
    if (board.begun - board.done > 1)
      row.Bad(std::string("the writer was refused: ") + board.message);
    char note[200];
    std::snprintf(note, sizeof note,
                  "%d steps, %lld refreshed; %.0f steps/s alone, %.0f with %d readers, ratio %.2f",
                  board.done.load(), static_cast<long long>(board.counter[kRefreshed]), alone, together,
                  kReaders, together / alone);
    row.note = note;
  });
}
