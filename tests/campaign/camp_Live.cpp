#include <campaign/camp_Campaigns.h>

#include <chrono>
#include <unistd.h>

namespace {

constexpr int kReaders = 3;
enum { kSnapshots, kWrong, kRefreshed, kRefused }; // counters on the board

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
    camp_Session session(file, camp_Session::kLiveReading);
    if (!session.OpenReadOnly()) {
      if (board.counter[kRefused]++ == 0)
        board.Say(ORXSimManager::LastError());
      continue;
    }
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

// How far a writer came, and in which time.
struct Way {
  int steps = 0;
  double seconds = 0;
};

// The way of a writer with so many readers of `readFile` beside it, no longer than `most`. What the readers
// of another file see is not looked at.
Way write(const camp_Directory& directory, const std::string& readFile, int readers, const Way& most,
          const camp_Config& config, std::uint64_t seed, camp_Board& board) {
  using Clock = std::chrono::steady_clock;
  camp_Board& still = camp_Board::New();
  camp_Board& seen = readFile == directory.File() ? board : still;
  board.begun = board.done = 0;
  board.digest[0] = camp_State::kNoFile;
  camp_Child writer(
      [&] {
        camp_Workload workload(seed);
        workload.stays = !config.breakable();
        camp_Session session(directory.File(), config.leastOption);
        camp_Host(workload, session, 1, camp_Board::kSteps - 1, 1, board);
      },
      0);
  while (board.done < 2 && !writer.Ended())
    ::usleep(1000);
  camp_Children children;
  for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(readers); ++i)
    children.push_back(std::make_unique<camp_Child>([&, i] { readOn(readFile, seed + i, seen); }, 0));
  const Way before{board.done};
  const auto start = Clock::now();
  Way way;
  while (way.seconds < most.seconds && way.steps < most.steps && !writer.Ended()) {
    ::usleep(5000);
    way = {board.done - before.steps, std::chrono::duration<double>(Clock::now() - start).count()};
  }
  return way;
}

} // namespace

std::vector<camp_Row> camp_Live(const camp_Options& options) {
  constexpr camp_Config kConfigs[] = {
      {"kill-safe", 1}, {"durable", 2}, {"tiny-limits", 1, 64 << 10, 48 << 10}};
  const auto seconds = static_cast<double>(options.Share(10, 1));
  return camp_ForEachConfig("live", kConfigs, options, [&](const camp_Config& config, camp_Row& row) {
    camp_Board& board = camp_Board::New();
    const camp_Directory own, other;
    const Way together =
        write(own, own.File(), kReaders, {camp_Board::kSteps, seconds}, config, options.seed, board);
    row.runs = board.counter[kSnapshots] + board.counter[kWrong];
    if (board.counter[kWrong] > 0)
      row.Bad("snapshots that never were: " + std::to_string(board.counter[kWrong]));
    if (board.counter[kSnapshots] == 0)
      row.Bad("nobody could read");
    if (board.counter[kRefused] > 0)
      row.Bad("a reader was refused: " + std::string(board.message));
    if (board.begun - board.done > 1)
      row.Bad(std::string("the writer was refused: ") + board.message);
    const auto refreshed = static_cast<int>(board.counter[kRefreshed]);
    // The same way beside readers who do the same with a file that nobody writes, and alone.
    const Way most{together.steps, 4 * seconds};
    const Way apart = write(other, own.File(), kReaders, most, config, options.seed, board);
    other.Clear();
    const Way alone = write(other, own.File(), 0, most, config, options.seed, board);
    char note[200];
    std::snprintf(
        note, sizeof note,
        "%d refreshed; %d steps in %.1f s, with readers elsewhere %.1f s (ratio %.2f), alone %.1f s",
        refreshed, together.steps, together.seconds, apart.seconds, together.seconds / apart.seconds,
        alone.seconds);
    row.note = note;
  });
}
