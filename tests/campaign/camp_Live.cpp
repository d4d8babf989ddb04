#include <campaign/camp_Campaigns.h>

#include <unistd.h>

namespace {

constexpr int kLiveReading = 3, kReaders = 3;
enum { kSnapshots, kWrong, kRefreshed }; // counters on the board

// Pauses while the writer goes on.
void pause(camp_Random& random) {
  ::usleep(static_cast<useconds_t>(random.Below(20000)));
}

// The digest of the session's model, which must be what it was after a step that ended at or after `since`
// and had begun by the time of `until`; 0 if it is not.
std::uint64_t look(const camp_Session& session, int since, int until, const camp_Board& board) {
  camp_Session::Watch();
  const std::uint64_t digest = camp_State::Read(session.Sim()).Digest();
  return board.Knows(digest, since, until) && camp_Session::Clean() ? digest : 0;
}

// Takes snapshots, holds them and moves on, until it is killed.
void readOn(const std::string& file, std::uint64_t seed, camp_Board& board) {
  for (camp_Random random(seed);;) {
    int since = board.done;
    camp_Session session(file, kLiveReading);
    if (!session.OpenReadOnly())
      continue;
    const int until = board.begun;
    if (random.OneIn(2))
      pause(random);
    const std::uint64_t first = look(session, since, until, board);
    pause(random);
    bool good = first != 0 && look(session, since, until, board) == first;
    since = board.done;
    if (random.OneIn(2) && ORXSimManager::Refresh(session.Context())) {
      good = look(session, since, board.begun, board) != 0 && good;
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
  const auto host = [&] {
    camp_Workload workload(seed);
    camp_Session session(directory.File(), config.leastOption);
    camp_Host(workload, session, 1, camp_Board::kSteps - 1, 1, board);
  };
  camp_Child writer(host, 0);
  while (board.done < 2 && !writer.Ended())
    ::usleep(1000);
  const int before = board.done;
  camp_Children children;
  for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(readers); ++i)
    children.push_back(
        std::make_unique<camp_Child>([&, i] { readOn(directory.File(), seed + i, board); }, 0));
  for (int i = 0; i < seconds * 20 && !writer.Ended(); ++i)
    ::usleep(50000);
  return (board.done - before) / static_cast<double>(seconds);
}

} // namespace

std::vector<camp_Row> camp_Live(const camp_Options& options) {
  constexpr camp_Config kConfigs[] = {{"kill-safe", 1}, {"tiny-limits", 1, 64 << 10, 48 << 10}};
  const int seconds = static_cast<int>(options.Share(10, 1));
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
                  "%d steps, %d refreshed; %.0f steps/s alone, %.0f with %d readers, ratio %.2f",
                  board.done.load(), static_cast<int>(board.counter[kRefreshed]), alone, together, kReaders,
                  together / alone);
    row.note = note;
  });
}
