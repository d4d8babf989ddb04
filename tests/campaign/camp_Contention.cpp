#include <campaign/camp_Campaigns.h>

#include <array>
#include <chrono>
#include <unistd.h>

namespace {

constexpr int kWriters = 2, kWaiting = 5000;
enum { kDone, kBegun = kDone + kWriters, kReads = kBegun + kWriters, kWrong, kRefused }; // on the board
using Counters = std::array<std::int64_t, kWriters>;

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

fesD_ModalSystem systemOf(const camp_Session& session) {
  return fesD_ModalSystem(session.Mesh().systems().get(0));
}

void wrong(camp_Board& board, const std::string& text) {
  if (++board.counter[kWrong] == 1)
    board.Say(text);
}

Counters acknowledged(const camp_Board& board) {
  return {board.counter[kDone], board.counter[kDone + 1]};
}

// Reads the counters: each is at `least`, or at what had begun; the sum fits.
Counters read(const camp_Session& session, const Counters& least, camp_Board& board) {
  Counters found{};
  camp_Session::Watch();
  const fesD_ModalSystem system = systemOf(session);
  for (std::size_t i = 0; i < kWriters; ++i) {
    found[i] = system.events().get(static_cast<int>(i)).eventTypeID();
    if (found[i] < least[i] || found[i] > board.counter[kBegun + i])
      wrong(board, "counter " + std::to_string(i) + " is " + std::to_string(found[i]) + ", not at least " +
                       std::to_string(least[i]));
  }
  if (system.propertyEvaluation() != static_cast<double>(found[0] + found[1]))
    wrong(board, "the sum of the counters is " + std::to_string(system.propertyEvaluation()));
  if (!camp_Session::Clean())
    wrong(board, camp_Session::Failure());
  return found;
}

void countOn(const std::string& file, int writer, camp_Board& board) {
  ORXSimManager::SetWaitingTime(kWaiting);
  for (;;) {
    camp_Session session(file, 1);
    if (!session.Open()) {
      ++board.counter[kRefused];
      continue;
    }
    const Counters counters = read(session, acknowledged(board), board);
    for (int i = 1; i <= 3; ++i) {
      const auto next = static_cast<int>(counters[static_cast<std::size_t>(writer)] + i);
      board.counter[kBegun + writer] = next;
      camp_Session::Watch();
      ORXSimUpdate update(session.Context());
      systemOf(session).events().get(writer).EventTypeID(next);
      systemOf(session).PropertyEvaluation(static_cast<double>(counters[0] + counters[1] + i));
      if (!update.Commit() || !camp_Session::Clean())
        wrong(board, "a writer was refused: " + camp_Session::Failure());
      board.counter[kDone + writer] = next;
    }
  }
}

void readOn(const std::string& file, camp_Board& board) {
  ORXSimManager::SetWaitingTime(kWaiting);
  Counters seen{};
  for (int round = 0;; ++round) {
    Counters least = acknowledged(board);
    camp_Session session(file, round % 2 == 0 ? 1 : camp_Session::kLiveReading);
    if (!session.OpenReadOnly()) {
      ++board.counter[kRefused];
      continue;
    }
    for (std::size_t i = 0; i < kWriters; ++i)
      least[i] = std::max(least[i], seen[i]);
    seen = read(session, least, board);
    ++board.counter[kReads];
  }
}

} // namespace

std::vector<camp_Row> camp_Contention(const camp_Options& options) {
  constexpr camp_Config kConfigs[] = {{"kill-safe", 1}};
  const std::int64_t seconds = options.Share(10, 1);
  return camp_ForEachConfig("contention", kConfigs, options, [&](const camp_Config&, camp_Row& row) {
    const camp_Directory directory;
    camp_Board& board = camp_Board::New();
    if (!make(directory.File()))
      return row.Bad("no file: " + camp_Session::Failure());
    std::unique_ptr<camp_Child> writers[kWriters];
    const camp_Child reader([&] { readOn(directory.File(), board); }, 0);
    camp_Random random(options.seed);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < end) {
      for (int i = 0; i < kWriters; ++i)
        if (writers[i] == nullptr || writers[i]->Ended())
          writers[i] = std::make_unique<camp_Child>([&, i] { countOn(directory.File(), i, board); }, 0);
      ::usleep(static_cast<useconds_t>(random.Between(2000, 60000)));
      writers[random.Below(kWriters)]->Kill();
      ++row.runs;
      row.Progress(seconds);
    }
    const auto [first, second] = acknowledged(board);
    row.note = std::to_string(first + second) + " counted, " + std::to_string(board.counter[kReads]) +
               " read, " + std::to_string(board.counter[kRefused]) + " refused";
    if (board.counter[kWrong] > 0)
      row.Bad(std::to_string(board.counter[kWrong]) + " wrong, first: " + board.message);
    if (first == 0 || second == 0 || board.counter[kReads] == 0)
      row.Bad("somebody never came to the file");
  });
}
