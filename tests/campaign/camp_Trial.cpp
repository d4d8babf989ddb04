#include <campaign/camp_Trial.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <new>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Takes a snapshot, looks twice at it, moves on, looks again.
void readOn(const std::string& file, const camp_Config& config, camp_Reading how, camp_Board& board) {
  constexpr unsigned kWaiting = 5000;
  camp_Random random(static_cast<std::uint64_t>(::getpid()));
  const bool pauses = how == camp_Reading::kPause, isLive = how != camp_Reading::kWait;
  for (;;) {
    int since = board.done;
    camp_Session session(file, config, isLive ? 0 : kWaiting);
    const auto look = [&](int until) {
      if (pauses)
        ::usleep(static_cast<useconds_t>(random.Below(20000)));
      camp_Content content;
      if (!camp_Content::Read(session.Id(), content))
        board.Wrong("a reader cannot read: " + camp_Session::Failure());
      else if (!board.Knows(content.Digest(), since, until))
        board.Wrong("a reader saw what never was");
      return content;
    };
    if (!isLive)
      ::usleep(1000);
    if (!session.Open(H5F_ACC_RDONLY, isLive)) {
      if (pauses)
        board.Wrong("a reader was refused: " + camp_Session::Failure());
      continue;
    }
    while (how == camp_Reading::kHold)
      ::pause();
    const int until = board.begun;
    const camp_Content first = look(until);
    if (pauses && !(look(until) == first))
      board.Wrong("a snapshot changed");
    since = board.done;
    if (pauses && random.OneIn(2) && ++board.counter[camp_kRefreshed] > 0) {
      if (session.Refresh())
        look(board.begun);
      else
        board.Wrong("a reader was not refreshed: " + camp_Session::Failure());
    }
    ++board.counter[camp_kSnapshots];
  }
}

} // namespace

camp_Board& camp_Board::New() {
  void* const memory =
      ::mmap(nullptr, sizeof(camp_Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED)
    throw std::bad_alloc();
  return *new (memory) camp_Board();
}

bool camp_Board::Knows(std::uint64_t digestOfContent, int first, int last) const {
  return std::find(digest + first, digest + last + 1, digestOfContent) < digest + last + 1;
}

bool camp_Board::Say(const std::string& text) {
  std::strncpy(message, text.c_str(), sizeof message - 1);
  return false;
}

void camp_Board::Wrong(const std::string& text) {
  if (++counter[camp_kWrong] == 1)
    std::strncpy(wrong, text.c_str(), sizeof wrong - 1);
}

bool camp_Row::Bad(const std::string& message) {
  constexpr int kTold = 5;
  if (++bad <= kTold)
    std::cerr << campaign << ", " << config << ", run " << runs << ": " << message << std::endl;
  return false;
}

void camp_Row::Conclude() {
  note += std::to_string(board.counter[camp_kSnapshots]) + " snapshots, " +
          std::to_string(board.counter[camp_kRefreshed]) + " refreshed";
  if (board.counter[camp_kWrong] > 0)
    Bad(std::to_string(board.counter[camp_kWrong]) + " wrong: " + board.wrong);
  if (board.counter[camp_kSnapshots] == 0)
    Bad("nobody could read");
}

camp_Child::camp_Child(const std::function<void()>& body, unsigned patience) : m_pid(::fork()) {
  if (m_pid != 0)
    return;
  ::alarm(patience);
  body();
  ::_exit(0);
}

void camp_Child::Kill() const {
  if (!m_ended)
    ::kill(m_pid, SIGKILL);
}

bool camp_Child::HasEnded() {
  m_ended = m_ended || ::waitpid(m_pid, &m_status, WNOHANG) == m_pid;
  return m_ended;
}

int camp_Child::Wait() {
  if (!m_ended)
    ::waitpid(m_pid, &m_status, 0);
  m_ended = true;
  return WIFSIGNALED(m_status) ? -WTERMSIG(m_status) : WEXITSTATUS(m_status);
}

camp_Directory::camp_Directory()
    : sys_Directory(std::filesystem::exists("/dev/shm") ? "/dev/shm"
                                                        : std::filesystem::temp_directory_path()) {}

void camp_Directory::Clear() const {
  for (const auto& entry : std::filesystem::directory_iterator(Name()))
    std::filesystem::remove_all(entry);
}

camp_Children camp_Readers(const std::string& file, const camp_Config& config, camp_Reading how,
                           camp_Board& board) {
  camp_Children children;
  for (int i = 0; i < config.readers; ++i)
    children.push_back(std::make_unique<camp_Child>([&] { readOn(file, config, how, board); }, 0));
  return children;
}

bool camp_Examine(const std::string& file, const camp_Config& config, camp_Look look, camp_Content& content,
                  camp_Board& board) {
  const bool everyWay = look == camp_Look::kEveryWay;
  content = {};
  if (!std::filesystem::exists(file))
    return true;
  camp_Session session(file, config);
  camp_Content other;
  if (everyWay && !(session.Open(H5F_ACC_RDONLY) && camp_Content::Read(session.Id(), other)))
    return board.Say("reading only: " + camp_Session::Failure());
  if (!session.Open(H5F_ACC_RDWR))
    return board.Say("does not open: " + camp_Session::Failure());
  if (!camp_Content::Read(session.Id(), content))
    return board.Say("cannot be read: " + camp_Session::Failure());
  if (everyWay && !(content == other))
    return board.Say("reading only showed something else: " + content.Difference(other));
  if (look == camp_Look::kOpen)
    return true;
  if (!session.Close())
    return board.Say("does not close: " + camp_Session::Failure());
  const std::string next = sys_Bytes(file + "-journal-next"); // stays when it cannot be told whose it is
  if (std::filesystem::exists(file + "-journal") || (!next.empty() && next[0] != '\0'))
    return board.Say("a journal is left behind");
  if (everyWay) {
    const camp_Handle plain(H5Fopen(file.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT), H5Fclose);
    if (!camp_Content::Read(plain, other) || !(content == other))
      return board.Say("plain HDF5 reads something else: " + content.Difference(other));
  }
  return true;
}

void camp_Host(camp_Workload& workload, camp_Session& session, int first, int count, camp_Board& board) {
  constexpr int kGiveUp = 6; // steps in a row
  for (int n = first, refused = 0; n < first + count && n < camp_Board::kSteps && refused < kGiveUp; ++n) {
    camp_Workload after = workload, trial = workload;
    after.Step(n, nullptr);
    board.digest[n] = after.content.Digest();
    board.fate[n] = camp_Board::kBegun;
    board.begun = n;
    camp_Mark(camp_Event::kBegin, n);
    bool good = trial.Step(n, &session);
    if (!good && trial.stage == camp_Workload::kCommitting && n % 2 == 0 && session.Info().may_commit)
      good = session.Commit();
    if (good) {
      board.fate[n] = camp_Board::kTaken;
      camp_Mark(camp_Event::kAck, n);
      board.done = n;
      workload.content = after.content;
      refused = 0;
      continue;
    }
    ++board.refused;
    board.Say("step " + std::to_string(n) + " failed: " + camp_Session::Failure());
    const bool isOpen = session.IsOpen(), isPoisoned = isOpen && session.Info().poisoned;
    board.fate[n] =
        isPoisoned || trial.stage == camp_Workload::kClosing ? camp_Board::kUndecided : camp_Board::kRefused;
    if (isOpen && (session.Info().is_new || !session.Rollback()))
      session.Drop();
    if (isPoisoned && session.IsOpen()) { // nothing counts before the file is opened again
      const camp_Handle group(H5Gcreate2(session.Id(), "poison", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT),
                              H5Gclose);
      if (session.Commit())
        board.fate[n] = camp_Board::kTaken;
    }
    if (board.fate[n] != camp_Board::kRefused || ++refused == kGiveUp)
      return;
  }
}

int camp_Trial::Run(int steps, const camp_Fate& fate) {
  m_board.digest[m_next - 1] = m_workload.content.Digest(); // before it is named, for readers already at work
  m_board.begun = m_board.done = m_next - 1;
  m_board.refused = 0;
  m_board.Say("");
  m_board.calls = m_board.allocations = 0;
  const auto host = [&] {
    camp_Plan io = fate.io, allocations = fate.allocations;
    io.calls = &m_board.calls;
    allocations.calls = &m_board.allocations;
    camp_Watch(m_directory.Name(), io);
    camp_WatchAllocations(allocations);
    camp_Session session(File(), m_config, 0, fate.crew);
    camp_Host(m_workload, session, m_next, steps, m_board);
    if (fate.leaves && session.IsOpen()) {
      H5Gcreate2(session.Id(), "never committed", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
      std::exit(0);
    }
    m_board.begun % 3 != 0 || !session.IsOpen() ? session.Drop() : static_cast<void>(session.Close());
  };
  camp_Child child(host, fate.life > 0 ? 0 : 60);
  if (fate.life > 0) {
    ::usleep(static_cast<useconds_t>(fate.life));
    child.Kill();
  }
  return child.Wait();
}

void camp_Trial::Recover(const camp_Plan& io) {
  camp_Child([&] {
    camp_Watch(m_directory.Name(), io);
    camp_Session(File(), m_config).Open(H5F_ACC_RDWR);
  }).Wait();
}

bool camp_Trial::Check(camp_Look look, const camp_Plan& io) {
  for (; m_next <= m_board.begun; ++m_next)
    if (m_board.fate[m_next] == camp_Board::kTaken)
      m_workload.Step(m_next, nullptr);
  const int last = m_next - 1;
  const bool mayBeDone = last > m_board.done && m_board.fate[last] != camp_Board::kRefused;
  camp_Workload other = m_workload;
  if (mayBeDone)
    other.Step(last, nullptr);
  m_board.found = 0;
  const int status = camp_Child([&] {
                       camp_Watch(m_directory.Name(), io);
                       camp_Content content;
                       if (!camp_Examine(File(), m_config, look, content, m_board))
                         return;
                       m_board.Say(m_workload.content.Difference(content));
                       m_board.found = content.Digest();
                     }).Wait();
  if (status != 0)
    return m_row.Bad(m_what + "the checker died of signal " + std::to_string(-status));
  if (m_board.found == other.content.Digest())
    m_workload = other;
  else if (m_board.found != m_workload.content.Digest())
    return m_row.Bad(m_what + "after step " + std::to_string(m_board.done) + " of " + std::to_string(last) +
                     ": " + m_board.message);
  m_board.digest[last] = m_board.found.load();
  m_board.done = last; // what became of it is known now
  return true;
}

bool camp_Trial::RunsWell(int steps) {
  const int status = Run(steps);
  if (status != 0 || m_board.refused > 0)
    return m_row.Bad(m_what + "a session without faults: " + m_board.message + ", ended with " +
                     std::to_string(status));
  return Check();
}
