#include <campaign/camp_Campaigns.h>

#include <array>
#include <unistd.h>

namespace {

constexpr int kWriters = 2;
constexpr unsigned kWaiting = 5000;
constexpr camp_Config kConfigs[] = {{.name = "kill-safe", .durability = H5J_PROCESS}};
enum { kDone, kBegun = kDone + kWriters, kReads = kBegun + kWriters, kWrong, kRefused }; // on the board
using Counters = std::array<std::int64_t, kWriters + 1>; // one a writer, and their sum

void wrong(camp_Board& board, const std::string& text) {
  if (++board.counter[kWrong] == 1)
    board.Say(text + ": " + camp_Session::Failure());
}

bool set(const camp_Session& session, const Counters& counters) {
  const camp_Handle data(H5Dopen2(session.Id(), "counters", H5P_DEFAULT), H5Dclose);
  return H5Dwrite(data, H5T_NATIVE_INT64, H5S_ALL, H5S_ALL, H5P_DEFAULT, counters.data()) >= 0;
}

bool make(const std::string& file) {
  camp_Session session(file, kConfigs[0]);
  if (!session.Create())
    return false;
  const hsize_t size = kWriters + 1;
  const camp_Handle space(H5Screate_simple(1, &size, nullptr), H5Sclose),
      data(H5Dcreate2(session.Id(), "counters", H5T_NATIVE_INT64, space, H5P_DEFAULT, H5P_DEFAULT,
                      H5P_DEFAULT),
           H5Dclose);
  return set(session, {}) && session.Commit();
}

// The counters of an open file: each is at `least`, or at what had begun; the sum fits.
Counters read(const camp_Session& session, const Counters& least, camp_Board& board) {
  Counters found{};
  const camp_Handle data(H5Dopen2(session.Id(), "counters", H5P_DEFAULT), H5Dclose);
  if (H5Dread(data, H5T_NATIVE_INT64, H5S_ALL, H5S_ALL, H5P_DEFAULT, found.data()) < 0)
    wrong(board, "the counters cannot be read");
  for (std::size_t i = 0; i < kWriters; ++i)
    if (found[i] < least[i] || found[i] > board.counter[kBegun + i])
      wrong(board, "counter " + std::to_string(i) + " is " + std::to_string(found[i]) + ", not at least " +
                       std::to_string(least[i]));
  if (found[kWriters] != found[0] + found[1])
    wrong(board, "the sum of the counters is " + std::to_string(found[kWriters]));
  return found;
}

void countOn(const std::string& file, std::size_t writer, camp_Board& board) {
  for (;;) {
    camp_Session session(file, kConfigs[0], kWaiting);
    if (!session.Open(H5F_ACC_RDWR)) {
      ++board.counter[kRefused];
      continue;
    }
    Counters counters = read(session, {board.counter[kDone], board.counter[kDone + 1], 0}, board);
    for (int i = 0; i < 3; ++i) {
      ++counters[kWriters];
      board.counter[kBegun + writer] = ++counters[writer];
      if (!set(session, counters) || !session.Commit())
        wrong(board, "a writer was refused");
      board.counter[kDone + writer] = counters[writer];
    }
    if (counters[0] % 2 == 0)
      session.Close();
  }
}

void readOn(const std::string& file, camp_Board& board) {
  Counters seen{};
  for (int round = 0;; ++round) {
    Counters least{std::max<std::int64_t>(seen[0], board.counter[kDone]),
                   std::max<std::int64_t>(seen[1], board.counter[kDone + 1]), 0};
    camp_Session session(file, kConfigs[0], kWaiting);
    if (!session.Open(H5F_ACC_RDONLY, round % 2 == 1)) {
      ++board.counter[kRefused];
      continue;
    }
    seen = read(session, least, board);
    ++board.counter[kReads];
  }
}

} // namespace

camp_Rows camp_Contention(const camp_Options& options) {
  const std::int64_t commits = options.Share(2000, 1);
  return camp_ForEachConfig("contention", kConfigs, options, [&](const camp_Config&, camp_Row& row) {
    const camp_Directory directory;
    camp_Board& board = camp_Board::New();
    if (!make(directory.File()))
      return row.Bad("no file: " + camp_Session::Failure());
    std::unique_ptr<camp_Child> writers[kWriters];
    const camp_Child reader([&] { readOn(directory.File(), board); }, 0);
    camp_Random random(options.seed);
    int kills = 0, idle = 0;
    while (row.runs < commits && idle < 1000) {
      for (std::size_t i = 0; i < kWriters; ++i)
        if (writers[i] == nullptr || writers[i]->Ended())
          writers[i] = std::make_unique<camp_Child>([&, i] { countOn(directory.File(), i, board); }, 0);
      ::usleep(static_cast<useconds_t>(random.Between(2000, 60000)));
      writers[random.Below(kWriters)]->Kill();
      ++kills;
      idle = row.runs == board.counter[kDone] + board.counter[kDone + 1] ? idle + 1 : 0;
      row.runs = board.counter[kDone] + board.counter[kDone + 1];
      row.Progress(commits);
    }
    row.note = std::to_string(kills) + " kills, " + std::to_string(board.counter[kReads]) + " read, " +
               std::to_string(board.counter[kRefused]) + " refused";
    if (board.counter[kWrong] > 0)
      row.Bad(std::to_string(board.counter[kWrong]) + " wrong, first: " + board.message);
    if (board.counter[kDone] == 0 || board.counter[kDone + 1] == 0 || board.counter[kReads] == 0 || idle > 0)
      row.Bad("somebody did not come to the file");
  });
}
