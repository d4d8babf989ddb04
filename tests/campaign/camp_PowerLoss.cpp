#include <campaign/camp_Campaigns.h>
#include <campaign/camp_Disk.h>

#include <fstream>
#include <iostream>

namespace {

constexpr camp_Config kConfigs[] = {{"durable", 2},
                                    {"tiny-limits", 2, 64 << 10, 48 << 10},
                                    {"tiny-journal", 2, 16 << 10, 0},
                                    {"read-live", 2, 16 << 10, 0, 1},
                                    {"regrown", 2},
                                    {"regrown-spilled", 2, 0, 48 << 10}};

enum { kPoints, kBad, kAt, kShortened }; // counters on the board

// What a file may hold at a moment.
struct Allowed {
  std::uint64_t done = camp_State::kNoFile, begun = camp_State::kNoFile;

  void Feed(const camp_Event& event) {
    if (event.kind == camp_Event::kBegin || event.kind == camp_Event::kAck)
      begun = static_cast<std::uint64_t>(event.offset);
    if (event.kind == camp_Event::kAck)
      done = begun;
  }
  bool Holds(std::uint64_t digest) const { return digest == done || digest == begun; }
};

// One recorded run, and the disks that a loss of power makes of it.
class Recording {
 public:
  Recording(std::uint64_t seed, const camp_Config& config, camp_Board& board)
      : m_random(seed, 99), m_board(board), m_config(config) {
    camp_Workload workload(seed);
    workload.moves = std::string(config.name).starts_with("regrown");
    camp_Session session(m_directory.File(), config.leastOption);
    camp_Io::Watch(m_directory.Name(), {.record = &m_record});
    const camp_Children readers = camp_HoldSnapshots(m_directory.File(), config.readers);
    camp_Host(workload, session, 1, workload.moves ? 16 : m_random.Between(6, 20), 1, board);
    session.Close();
    camp_Io::Stop();
    m_board.counter[kShortened] +=
        std::count_if(m_record.events.begin(), m_record.events.end(), [](const camp_Event& event) {
          return event.kind == camp_Event::kRename && event.from.ends_with("-next");
        });
  }

  // Losses of power after every event, or after so many that about `points` disks are looked at. Others look
  // at them, since damage may end a process: one child for some events, and another one from where it died.
  void Examine(std::int64_t points) {
    constexpr std::size_t kEvents = 40;
    const auto all = static_cast<std::int64_t>(Events()) * camp_Disk::kModes;
    const int every = static_cast<int>(all / std::max<std::int64_t>(points, 1)) + 1;
    if (m_board.done != m_board.begun)
      Tell(std::string("refused without a fault: ") + m_board.message);
    while (m_at < Events()) {
      const std::size_t end = std::min(Events(), m_at + kEvents);
      m_board.counter[kAt] = static_cast<std::int64_t>(m_at);
      const int status = camp_Child([&] {
                           while (m_at < end) {
                             Advance();
                             m_board.counter[kAt] = static_cast<std::int64_t>(m_at);
                             if (m_random.OneIn(every))
                               Lose();
                           }
                         }).Wait();
      while (m_at < static_cast<std::size_t>(m_board.counter[kAt]))
        Advance();
      if (status != 0)
        Tell("the reader ended with " + std::to_string(status));
    }
  }

 private:
  std::size_t Events() const { return m_record.events.size(); }

  void Advance() {
    m_disk.Feed(m_record.events[m_at]);
    m_allowed.Feed(m_record.events[m_at++]);
  }

  // A loss of power after the event that was fed last, in all modes.
  void Lose() {
    for (int mode = 0; mode < (m_disk.Settled() ? 1 : camp_Disk::kModes); ++mode)
      Try(m_disk.Crash(static_cast<camp_Disk::Mode>(mode), m_random), kModes[mode], m_random.OneIn(16));
  }

  static constexpr const char* kModes[] = {"prefix", "none", "random", "torn", "last", "skip"};

  void Tell(const std::string& message) {
    constexpr int kTold = 5;
    if (++m_board.counter[kBad] <= kTold)
      std::cerr << "power, " << m_config.name << ", event " << m_at << " of " << Events() << ", " << message
                << '\n';
  }

  void Put(const camp_Disk::Files& files) const {
    m_directory.Clear();
    for (const auto& [name, bytes] : files)
      std::ofstream(m_directory.Name() + '/' + name, std::ios::binary) << bytes;
  }

  void Try(const camp_Disk::Files& files, const char* mode, bool recordsRecovery) {
    Put(files);
    camp_Record recovery;
    if (recordsRecovery) {
      for (const auto& file : files)
        recovery.names[file.first] = recovery.inodes++;
      camp_Io::Watch(m_directory.Name(), {.record = &recovery});
    }
    const std::uint64_t found = camp_Examine(m_directory.File(), m_config.leastOption,
                                             !recordsRecovery && m_random.OneIn(4), m_board);
    camp_Io::Stop();
    ++m_board.counter[kPoints];
    if (!m_allowed.Holds(found))
      Tell(std::string(mode) + ": " +
           (found == camp_State::kUnreadable ? m_board.message
            : found == camp_State::kNoFile   ? "the file is gone"
                                             : "another state"));
    camp_Disk disk(files);
    for (const camp_Event& event : recovery.events) {
      disk.Feed(event);
      if (!disk.Settled())
        Try(disk.Crash(static_cast<camp_Disk::Mode>(m_random.Below(camp_Disk::kModes)), m_random), mode,
            false);
    }
  }

  camp_Random m_random;
  camp_Board& m_board;
  const camp_Config& m_config;
  camp_Directory m_directory;
  camp_Record m_record;
  camp_Disk m_disk;
  Allowed m_allowed;
  std::size_t m_at = 0;
};

} // namespace

std::vector<camp_Row> camp_PowerLoss(const camp_Options& options) {
  constexpr std::int64_t kRecordings = 5; // at least
  const std::int64_t points = options.Share(3000, std::ssize(kConfigs));
  return camp_ForEachConfig("power", kConfigs, options, [&](const camp_Config& config, camp_Row& row) {
    camp_Board& board = camp_Board::New();
    int recordings = 0;
    for (std::uint64_t seed = options.seed * 1000; row.runs < points && !(options.untilBad && row.bad > 0);
         ++seed, ++recordings) {
      board.begun = board.done = 0;
      const int status =
          camp_Child([&] { Recording(seed, config, board).Examine(points / kRecordings); }, 0).Wait();
      row.runs = std::max<std::int64_t>(row.runs + (status != 0), board.counter[kPoints]);
      row.bad = board.counter[kBad];
      if (status != 0)
        row.Bad("a recording ended with " + std::to_string(status));
      row.Progress(points);
    }
    row.note = std::to_string(recordings) + " recordings";
    if (config.readers == 0)
      return;
    row.note += ", " + std::to_string(board.counter[kShortened]) + " journals written anew";
    if (board.counter[kShortened] == 0)
      row.Bad("no journal was written anew");
  });
}
