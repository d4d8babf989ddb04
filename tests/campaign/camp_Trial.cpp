#include <campaign/camp_Trial.h>

#include <csignal>
#include <filesystem>
#include <sstream>
#include <unistd.h>

namespace {

std::uint64_t refuse(camp_Board& board, const std::string& text) {
  board.Say(text);
  return camp_State::kUnreadable;
}

std::uint64_t read(camp_Session& session, bool readOnly, camp_Board& board, std::string* text) {
  camp_Session::Watch();
  if (!(readOnly ? session.OpenReadOnly() : session.Open()))
    return refuse(board, "does not open: " + camp_Session::Failure());
  const camp_State state = camp_State::Read(session.Sim());
  session.Close();
  if (!camp_Session::Clean())
    return refuse(board, "cannot be read: " + camp_Session::Failure());
  if (text != nullptr)
    *text = state.Text();
  return state.Digest();
}

std::string firstDifference(const std::string& wanted, const std::string& found) {
  std::istringstream a(wanted), b(found);
  for (std::string x, y; std::getline(a, x) || std::getline(b, y);) {
    std::getline(b, y);
    if (x != y)
      return "expected \"" + x.substr(0, 120) + "\", found \"" + y.substr(0, 120) + '"';
  }
  return "no difference";
}

} // namespace

camp_Children camp_HoldSnapshots(const std::string& file, int readers) {
  camp_Children children;
  for (int i = 0; i < readers; ++i)
    children.push_back(std::make_unique<camp_Child>([&] {
      camp_Session session(file, camp_Session::kLiveReading);
      while (!session.OpenReadOnly())
        ::usleep(100);
      ::pause();
    }));
  return children;
}

std::uint64_t camp_Examine(const std::string& file, int option, bool readOnlyToo, camp_Board& board) {
  if (!std::filesystem::exists(file))
    return camp_State::kNoFile;
  camp_Session session(file, option);
  const std::uint64_t before = readOnlyToo ? read(session, true, board, nullptr) : camp_State::kNoFile;
  if (before == camp_State::kUnreadable)
    return before;
  const std::uint64_t digest = read(session, false, board, nullptr);
  if (digest == camp_State::kUnreadable)
    return digest;
  if (readOnlyToo && before != digest)
    return refuse(board, "reading only showed another state than recovery");
  for (const char* const suffix : {"-journal", "-journal-next"})
    if (std::filesystem::exists(file + suffix))
      return refuse(board, std::string("left behind: ") + suffix);
  return digest;
}

void camp_Host(camp_Workload& workload, camp_Session& session, int first, int count, int giveUp,
               camp_Board& board) {
  int refused = 0;
  for (int n = first; n < first + count && n < camp_Board::kSteps && refused < giveUp; ++n) {
    camp_Workload after = workload, trial = workload;
    after.Step(n, nullptr);
    const std::uint64_t digest = after.state.Digest();
    board.digest[n] = digest;
    board.begun = n;
    camp_Io::Mark(camp_Event::kBegin, digest);
    bool good = false;
    camp_Allocations::Arm(true);
    try {
      good = trial.Step(n, &session);
    } catch (const std::bad_alloc&) {
    }
    camp_Allocations::Arm(false);
    board.taken[n] = good;
    if (good) {
      camp_Io::Mark(camp_Event::kAck, digest);
      board.done = n;
      workload.state = after.state;
      refused = 0;
    } else {
      board.Say("step " + std::to_string(n) + " failed: " + camp_Session::Failure());
      ++refused;
      workload.stays = workload.stays || workload.mayStay; // another session may find it done after all
      if (session.IsOpen() && n % 2 == 0)                  // or goes on as if nothing were
        ORXSimUpdate(session.Context()).Rollback();
    }
  }
}

camp_Trial::camp_Trial(const camp_Directory& directory, std::uint64_t seed, const camp_Config& config,
                       camp_Board& board)
    : m_directory(directory), m_config(config), m_board(board), m_workload(seed) {
  directory.Clear();
}

int camp_Trial::Run(int steps, const camp_Fate& fate) {
  m_board.digest[m_next - 1] = m_workload.state.Digest(); // before it is named, for readers already at work
  m_board.begun = m_board.done = m_next - 1;
  m_board.Say("");
  m_board.calls = m_board.allocations = 0;
  m_workload.mayStay = m_config.readers > 0 || (fate.io.forGood && m_config.leastOption == 2);
  constexpr int kGiveUp = 6;
  camp_Child child([&] {
    camp_Plan io = fate.io, allocations = fate.allocations;
    io.calls = &m_board.calls;
    allocations.calls = &m_board.allocations;
    camp_Io::Watch(m_directory.Name(), io);
    camp_Allocations::Watch(allocations);
    camp_Session session(m_directory.File(), m_config.leastOption);
    camp_Host(m_workload, session, m_next, steps, kGiveUp, m_board);
    if (fate.leaves && session.IsOpen()) {
      ORXSimUpdate update(session.Context());
      ORXSimCollectionRef::Create(session.Context(), "never committed", 7);
      std::exit(0);
    }
    camp_Allocations::Arm(true);
    session.Close();
    camp_Allocations::Arm(false);
  });
  if (fate.life > 0) {
    ::usleep(static_cast<useconds_t>(fate.life));
    child.Kill();
  }
  return child.Wait();
}

void camp_Trial::Recover(const camp_Plan& io) {
  camp_Child([&] {
    camp_Io::Watch(m_directory.Name(), io);
    camp_Session(m_directory.File(), m_config.leastOption).Open();
  }).Wait();
}

bool camp_Trial::Check(bool readOnlyToo) {
  m_board.found = camp_State::kUnreadable;
  const int status = camp_Child([&] {
                       m_board.found =
                           camp_Examine(m_directory.File(), m_config.leastOption, readOnlyToo, m_board);
                     }).Wait();
  if (status != 0)
    return Fail("the checker " + (status < 0 ? "died of signal " + std::to_string(-status) : "failed"));
  const int begun = m_board.begun, done = m_board.done, start = m_next;
  for (; m_next <= done; ++m_next)
    if (m_board.taken[m_next])
      m_workload.Step(m_next, nullptr);
  m_next = begun + 1;
  const std::uint64_t state = m_workload.state.Digest();
  if (m_board.found == state)
    return true;
  // A record whose sync failed stays, though its step was refused, where live readers may have seen it or it
  // could not be taken back.
  int first = done + 1;
  while (m_workload.mayStay && first > start &&
         (!m_board.taken[first - 1] || m_board.digest[first - 1] == state))
    --first;
  for (int n = first; n <= begun; ++n)
    if (m_board.found == m_board.digest[n]) {
      m_workload.Step(n, nullptr);
      return true;
    }
  return Fail("after step " + std::to_string(done) + " of " + std::to_string(begun) + ": " +
              (m_board.found == camp_State::kUnreadable ? m_board.message
               : m_board.found == camp_State::kNoFile   ? "the file is gone"
                                                        : Difference()));
}

bool camp_Trial::RunsWell(int steps) {
  const int status = Run(steps);
  if (status != 0 || m_board.done != m_board.begun)
    return Fail("a session without faults: " + std::string(m_board.message) + ", ended with " +
                std::to_string(status));
  return Check(false);
}

bool camp_Trial::Fail(const std::string& message) {
  m_message = message;
  return false;
}

// What the file holds that it should not, told by another child.
std::string camp_Trial::Difference() {
  camp_Child([&] {
    std::string text;
    camp_Session session(m_directory.File(), m_config.leastOption);
    read(session, true, m_board, &text);
    m_board.Say(firstDifference(m_workload.state.Text(), text));
  }).Wait();
  return m_board.message;
}
