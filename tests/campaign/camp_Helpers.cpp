#include <campaign/camp_Campaigns.h>
#include <campaign/camp_Crew.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int kSteps = 12, kRounds = 12, kMostHelpers = 3;
constexpr camp_Config kConfigs[] = {
    {"kill-safe", H5J_PROCESS, 0, 0, 0, camp_Config::kHelped},
    {"durable", H5J_POWER, 0, 0, 0, camp_Config::kHelped},
    {"tiny-limits", H5J_PROCESS, 64 << 10, 48 << 10, 0, camp_Config::kHelped},
    {"live-readers", H5J_PROCESS, 16 << 10, 0, 2, camp_Config::kHelped},
    {"unmarked", H5J_PROCESS, 0, 0, 0, camp_Config::kHelped | camp_Config::kUnmarked}};
// Counters on the board: rounds with orphans, and with orphans that write; openings; helpers.
enum { kOrphaned = camp_kCounters, kWriting, kRefused, kHurt };

// What the writer and its helpers say to each other; it outlives every one of them.
struct Desk {
  enum Order { kJoin, kLeave, kWrite, kRead };
  Order order;
  H5J_share_t share;
  camp_Piece pieces[camp_Crew::kPieces];
  std::size_t count;
  std::uint64_t address;
  ino_t inode; // of the file that they have
  bool syncs;
  int helpers;
  pid_t ids[kMostHelpers];
  std::atomic<unsigned> asked, answered[kMostHelpers];
  std::atomic<bool> good[kMostHelpers], joined[kMostHelpers], lent, orphaned, ends;
  char bytes[camp_Crew::kMost];
};

Desk& newDesk() {
  void* const memory =
      ::mmap(nullptr, sizeof(Desk), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED)
    throw std::bad_alloc();
  return *new (memory) Desk();
}

// A helper's life. Its number is the one of a rank: the writer is rank 0.
class Helper {
 public:
  Helper(Desk& desk, int index) : m_desk(desk), m_index(index) {}

  void Live() {
    for (unsigned seen = 0; !m_desk.ends;) {
      if (const unsigned asked = m_desk.asked; asked != seen) {
        m_desk.good[m_index] = Obey();
        m_desk.answered[m_index] = seen = asked;
      } else if (m_desk.orphaned && m_desk.lent) { // it knows nothing of the writer's death yet
        Write();
      } else {
        std::this_thread::yield();
      }
    }
  }

 private:
  bool Obey() {
    switch (m_desk.order) {
    case Desk::kJoin:
      return m_desk.joined[m_index] = m_helper.Join(m_desk.share, static_cast<unsigned>(m_index + 1));
    case Desk::kLeave:
      m_desk.joined[m_index] = false;
      m_helper.Leave();
      return true;
    case Desk::kRead:
      return m_index != 0 || m_helper.Read(m_desk.address, m_desk.bytes, m_desk.count);
    case Desk::kWrite:
      break;
    }
    return Write() && (!m_desk.syncs || m_helper.Sync());
  }

  bool Write() {
    bool good = true;
    for (auto i = static_cast<std::size_t>(m_index); i < m_desk.count;
         i += static_cast<std::size_t>(m_desk.helpers))
      good = m_helper.Write(m_desk.pieces[i], m_desk.bytes + (m_desk.pieces[i].at - m_desk.address)) && good;
    return good;
  }

  Desk& m_desk;
  int m_index;
  camp_Helper m_helper;
};

ino_t inodeOf(const std::string& name) {
  struct stat status {};
  return ::stat(name.c_str(), &status) == 0 ? status.st_ino : 0;
}

// The helpers as the writer knows them. It sees their ends as the system tells them.
class Crew : public camp_Crew {
 public:
  // \param dieAt  the writer dies while they obey this order to write; 0: none.
  Crew(Desk& desk, int dieAt) : m_desk(desk), m_dieAt(dieAt) {}
  ~Crew() override {
    for (int i = 0; i < m_watched; ++i)
      ::close(m_lives[i].fd);
  }

  bool Join(const H5J_share_t& share) override {
    m_desk.share = share;
    m_desk.inode = inodeOf(share.name);
    return Ask(Desk::kJoin);
  }
  void Leave() override { Ask(Desk::kLeave); }
  bool IsThere() override {
    for (; m_watched < m_desk.helpers; ++m_watched) {
      const long id = ::syscall(SYS_pidfd_open, m_desk.ids[m_watched], 0);
      m_lives[m_watched] = {static_cast<int>(id), POLLIN, 0};
    }
    return ::poll(m_lives, static_cast<nfds_t>(m_watched), 0) == 0;
  }
  bool Write(std::span<const camp_Piece> pieces, std::uint64_t address, const std::string& bytes,
             bool syncs) override {
    std::copy(pieces.begin(), pieces.end(), m_desk.pieces);
    std::copy(bytes.begin(), bytes.end(), m_desk.bytes);
    m_desk.count = pieces.size();
    m_desk.address = address;
    m_desk.syncs = syncs;
    m_desk.lent = true;
    return Ask(Desk::kWrite);
  }
  void Rest() override { m_desk.lent = false; }
  bool Read(std::uint64_t address, std::string& bytes) override {
    m_desk.count = bytes.size();
    m_desk.address = address;
    const bool good = Ask(Desk::kRead);
    bytes.assign(m_desk.bytes, bytes.size());
    return good;
  }

 private:
  // All have done it; whoever has died has not. The others have ended their part in any case.
  bool Ask(Desk::Order order) {
    m_desk.order = order;
    const unsigned number = ++m_desk.asked;
    if (order == Desk::kWrite && --m_dieAt == 0)
      ::raise(SIGKILL);
    bool good = IsThere();
    for (int i = 0; i < m_desk.helpers; ++i) {
      while (m_desk.answered[i] != number && ::poll(&m_lives[i], 1, 0) == 0)
        std::this_thread::yield();
      good = m_desk.answered[i] == number && m_desk.good[i] && good;
    }
    return good;
  }

  Desk& m_desk;
  pollfd m_lives[kMostHelpers] = {};
  int m_watched = 0, m_dieAt;
};

// Nobody may write the file, whatever for.
void tryToWrite(const std::string& file, camp_Board& board) {
  const H5J_options_t options{H5J_OPTIONS_VERSION, H5J_PROCESS, false, 0, 0, 0};
  const auto hold = [&](unsigned flags) {
    H5J_hold_t* const held = H5Jhold(file.c_str(), flags, &options);
    return held == nullptr || H5Jrelease(held) < -1;
  };
  const auto look = [&](bool refused, const char* what) {
    ++board.counter[kRefused];
    if (!refused || std::strstr(H5Jlast_error(), "of a job whose rank 0 has let go of the file") == nullptr)
      board.Wrong(what + std::string(" beside helpers of a dead writer: ") + H5Jlast_error());
  };
  look(hold(H5F_ACC_RDWR), "opened");
  look(hold(H5F_ACC_TRUNC), "replaced");
  look(H5Jrecover(file.c_str(), 0) < 0, "recovered");
  look(H5Jdiscard(file.c_str()) < 0, "discarded");
}

// One life of a writer with its helpers, at the end of which somebody dies or fails.
class Round {
 public:
  Round(camp_Trial& trial, Desk& desk, camp_Random& random, std::int64_t calls, std::int64_t microseconds,
        camp_Row& row)
      : m_trial(trial), m_desk(desk), m_random(random), m_calls(calls), m_microseconds(microseconds),
        m_row(row) {}

  // Starts the helpers; one of them may die or fail at one of its calls.
  void Begin() {
    new (&m_desk) Desk(); // nobody looks
    m_desk.helpers = m_random.Between(1, kMostHelpers);
    const int victim = m_random.Below(m_desk.helpers);
    m_kind = m_random.Below(int{kKinds});
    camp_Plan plan{.random = m_random};
    (m_kind == kHelperByCall ? plan.killAt : plan.failAt) = 1 + m_random.Below(m_calls / 6);
    plan.error = m_random.OneIn(2) ? ENOSPC : camp_Plan::kShortWrite;
    for (int i = 0; i < m_desk.helpers; ++i)
      m_helpers.push_back(std::make_unique<camp_Child>([&, i] {
        if (i == victim && (m_kind == kHelperByCall || m_kind == kFullDisk))
          camp_Watch(m_trial.Directory(), plan);
        while (m_desk.ids[i] == 0)
          std::this_thread::yield();
        Helper(m_desk, i).Live();
      }));
    for (int i = 0; i < m_desk.helpers; ++i)
      m_desk.ids[i] = m_helpers[static_cast<std::size_t>(i)]->Id();
    m_victim = victim;
  }

  // Returns as camp_Trial::Run.
  int Run() {
    Crew crew(m_desk, m_kind == kWriterInLoan ? 1 + m_random.Below(8) : 0);
    const std::int64_t life = 1 + m_random.Below(m_microseconds);
    camp_Fate fate{.crew = &crew};
    if (m_kind == kWriterByCall)
      fate.io = {.killAt = 1 + m_random.Below(m_calls), .random = m_random};
    if (m_kind == kWriter || m_kind == kAll)
      fate.life = life;
    std::unique_ptr<camp_Child> killer;
    m_dying = m_kind == kAll && m_random.OneIn(2); // at about the same time as the writer
    if (m_kind == kHelper || m_dying)
      killer = std::make_unique<camp_Child>([&] {
        ::usleep(static_cast<useconds_t>(life));
        for (int i = 0; i < m_desk.helpers; ++i)
          if (m_kind == kAll || i == m_victim)
            ::kill(m_desk.ids[i], SIGKILL);
      });
    const int status = m_trial.Run(kSteps, fate);
    if (killer != nullptr)
      killer->Wait();
    return status;
  }

  // The writer is dead: as long as its helpers are not, the file is nobody's. One without a name is not
  // looked at.
  void Orphan() {
    m_desk.orphaned = true;
    if (m_kind == kAll) // the job's end takes them one by one
      m_helpers[0]->Kill(), m_helpers[0]->Wait();
    const int first = m_kind == kAll ? 1 : 0;
    int orphans = 0;
    for (int i = first; i < m_desk.helpers; ++i) {
      camp_Child& helper = *m_helpers[static_cast<std::size_t>(i)];
      while (m_desk.answered[i] != m_desk.asked && !helper.HasEnded()) // it obeys yet
        ::usleep(50);
      orphans += m_desk.joined[i] && !helper.HasEnded();
    }
    if (m_dying || orphans == 0 || m_desk.inode != inodeOf(m_trial.File()))
      return;
    ++m_row.board.counter[kOrphaned];
    m_row.board.counter[kWriting] += m_desk.lent;
    for (int i = m_random.Between(1, 3); i > 0; --i)
      camp_Child([&] { tryToWrite(m_trial.File(), m_row.board); }).Wait();
  }

  void End() {
    m_desk.ends = true;
    m_row.board.counter[kHurt] += m_kind == kHelper || m_kind == kHelperByCall || m_kind == kFullDisk;
    m_helpers.clear();
  }
  bool MayRefuse() const {
    return m_kind == kHelper || m_kind == kHelperByCall || m_kind == kFullDisk || m_kind == kAll;
  }

 private:
  enum Kind { kWriter, kWriterByCall, kHelper, kHelperByCall, kFullDisk, kAll, kWriterInLoan, kKinds };
  camp_Trial& m_trial;
  Desk& m_desk;
  camp_Random& m_random;
  std::int64_t m_calls, m_microseconds;
  camp_Row& m_row;
  int m_kind = 0, m_victim = 0;
  bool m_dying = false;
  camp_Children m_helpers;
};

} // namespace

camp_Rows camp_Helpers(const camp_Options& options) {
  using Clock = std::chrono::steady_clock;
  const std::int64_t kills = options.Share(100, std::ssize(kConfigs));
  Desk& desk = newDesk();
  return camp_ForEachConfig("helpers", kConfigs, options, [&](const camp_Config& config, camp_Row& row) {
    camp_Random random(options.seed, 55);
    const auto start = Clock::now();
    camp_Trial(1, config, row).Run(kSteps);
    const std::int64_t calls = row.board.calls,
                       microseconds = (Clock::now() - start) / std::chrono::microseconds(1);
    while (row.runs < kills && !options.Enough(row)) {
      camp_Trial trial(random.Next(), config, row);
      bool good = true;
      for (int i = 0; good && i < kRounds; ++i) {
        Round round(trial, desk, random, calls, microseconds, row);
        round.Begin();
        camp_Children readers;
        if (trial.Next() > 2)
          readers = camp_Readers(trial.File(), config, camp_Reading::kHurry, row.board);
        const int status = round.Run();
        ++row.runs;
        if (status == -SIGKILL)
          round.Orphan();
        round.End();
        readers.clear();
        if ((status != 0 && status != -SIGKILL) || (row.board.refused > 0 && !round.MayRefuse()))
          good = row.Bad("ended with " + std::to_string(status) + ", refused: " + row.board.message);
        else
          good = trial.Check(random.OneIn(4) ? camp_Look::kEveryWay : camp_Look::kClose);
      }
    }
    row.note = std::to_string(row.board.counter[kOrphaned]) + " times orphans, " +
               std::to_string(row.board.counter[kWriting]) + " of them writing, " +
               std::to_string(row.board.counter[kRefused]) + " openings beside them, " +
               std::to_string(row.board.counter[kHurt]) + " helpers hurt";
    if (config.readers > 0)
      row.note += ", ", row.Conclude();
    else if (row.board.counter[camp_kWrong] > 0)
      row.Bad(row.board.wrong);
    if (row.board.counter[kOrphaned] == 0 && row.runs >= 3 * kRounds && !options.untilBad)
      row.Bad("no orphan was seen");
  });
}
