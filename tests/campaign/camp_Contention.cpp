#include <campaign/camp_Api.h>
#include <campaign/camp_Campaigns.h>

#include <chrono>
#include <unistd.h>

namespace {

constexpr int kWriters = 2, kLiveReading = 3, kWaiting = 5000;
enum {
  kDone,
  kBegun = kDone + kWriters,
  kReads = kBegun + kWriters,
  kWrong,
  kRefused
}; // counters on the board

// A system of two counters, one a writer, and their sum.
bool make(const std::string& file) {
  camp_Session session(file, 1);
  camp_Session::Watch();
  if (!session.Create())
    return false;
  ORXSimUpdate update(session.Context());
  const msfD_Mesh mesh =
      session.Sim().DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)).Mesh(msfD_Mesh::New({}, {}, 0));
  const fesD_ModalSystem system(mesh.systems().add(fesD_ModalSystem::New("counters", {}, {}, {}, {}, 0)));
  for (int i = 0; i < kWriters; ++i)
    system.events().add(fesD_ModalEvent::New("", 0, {}, {}, 0));
  return update.Commit() && camp_Session::Clean();
}

struct Counters {
  int value[kWriters] = {};
  double sum = 0;
};

fesD_ModalSystem systemOf(const camp_Session& session) {
  return fesD_ModalSystem(session.Mesh().systems().get(0));
}

Counters read(const camp_Session& session) {
  Counters counters;
  const fesD_ModalSystem system = systemOf(session);
  for (int i = 0; i < kWriters; ++i)
    counters.value[i] = system.events().get(i).eventTypeID();
  counters.sum = system.propertyEvaluation();
  return counters;
}

void wrong(camp_Board& board, const std::string& text) {
  if (++board.counter[kWrong] == 1)
    board.Say(text);
}

// Each counter is at what was acknowledged, or at what had begun; the sum fits.
void compare(const Counters& found, const Counters& least, camp_Board& board) {
  double sum = 0;
  for (int i = 0; i < kWriters; ++i) {
    sum += found.value[i];
    if (found.value[i] < least.value[i] || found.value[i] > board.counter[kBegun + i])
      wrong(board, "counter " + std::to_string(i) + " is " + std::to_string(found.value[i]) +
                       ", not at least " + std::to_string(least.value[i]));
  }
  if (sum != found.sum)
    wrong(board, "the sum of the counters is " + std::to_string(found.sum) + ", not " + std::to_string(sum));
}

Counters acknowledged(const camp_Board& board) {
  Counters least;
  for (int i = 0; i < kWriters; ++i)
    least.value[i] = static_cast<int>(board.counter[kDone + i]);
  return least;
}

int countOn(const std::string& file, int writer, camp_Board& board) {
  camp_SetWaitingTime(kWaiting);
  for (;;) {
    camp_Session session(file, 1);
    if (!session.Open()) {
      ++board.counter[kRefused];
      continue;
    }
    Counters counters = read(session);
    compare(counters, acknowledged(board), board);
    for (int i = 0; i < 3; ++i) {
      const int next = ++counters.value[writer];
      board.counter[kBegun + writer] = next;
      camp_Session::Watch();
      ORXSimUpdate update(session.Context());
      systemOf(session).events().get(writer).EventTypeID(next);
      systemOf(session).PropertyEvaluation(counters.sum += 1);
      if (!update.Commit() || !camp_Session::Clean())
        wrong(board, "a writer was refused: " + camp_Session::Failure());
      board.counter[kDone + writer] = next;
    }
  }
}

int readOn(const std::string& file, camp_Board& board) {
  camp_SetWaitingTime(kWaiting);
  Counters seen;
  for (int round = 0;; ++round) {
    Counters least = acknowledged(board);
    camp_Session session(file, round % 2 == 0 ? 1 : kLiveReading);
    if (!session.OpenReadOnly()) {
      ++board.counter[kRefused];
      continue;
    }
    camp_Session::Watch();
    const Counters found = read(session);
    if (!camp_Session::Clean())
      wrong(board, camp_Session::Failure());
    for (int i = 0; i < kWriters; ++i)
      least.value[i] = std::max(least.value[i], seen.value[i]);
    compare(found, least, board);
    seen = found;
    ++board.counter[kReads];
  }
}

} // namespace

std::vector<camp_Row> camp_Contention(const camp_Options& options) {
  constexpr camp_Config kConfigs[] = {{"kill-safe", 1}};
  const int seconds = options.count > 0 ? static_cast<int>(options.count) : 10;
  return camp_ForEachConfig("contention", kConfigs, options, [&](const camp_Config&, camp_Row& row) {
    const camp_Directory directory;
    camp_Board& board = camp_Board::New();
    if (!make(directory.File()))
      return row.Bad("no file: " + camp_Session::Failure());
    std::unique_ptr<camp_Child> writers[kWriters];
    const camp_Child reader([&] { return readOn(directory.File(), board); }, 0);
    camp_Random random(options.seed);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < end) {
      for (int i = 0; i < kWriters; ++i)
        if (writers[i] == nullptr || writers[i]->Ended())
          writers[i] =
              std::make_unique<camp_Child>([&, i] { return countOn(directory.File(), i, board); }, 0);
      ::usleep(static_cast<useconds_t>(random.Between(2000, 60000)));
      writers[random.Below(kWriters)]->Kill();
      ++row.runs;
      row.Progress(seconds);
    }
    row.note = std::to_string(board.counter[kDone] + board.counter[kDone + 1]) + " counted, " +
               std::to_string(board.counter[kReads]) + " read, " + std::to_string(board.counter[kRefused]) +
               " refused";
    if (board.counter[kWrong] > 0)
      row.Bad(std::to_string(board.counter[kWrong]) + " wrong, first: " + board.message);
    for (const int counter : {int{kDone}, kDone + 1, int{kReads}})
      if (board.counter[counter] == 0)
        row.Bad("somebody never came to the file");
  });
}
