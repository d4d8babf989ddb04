#include <campaign/camp_Campaigns.h>
#include <campaign/camp_Disk.h>

#include <fstream>
#include <iostream>

namespace {

constexpr camp_Config kConfigs[] = {{.name = "durable", .durability = H5J_POWER},
                                    {"tiny-limits", H5J_POWER, 64 << 10, 48 << 10},
                                    {"tiny-journal", H5J_POWER, 16 << 10},
                                    {"read-live", H5J_POWER, 16 << 10, 0, 1},
                                    {"regrown", H5J_POWER, 0, 0, 0, true, false, true},
                                    {"regrown-spilled", H5J_POWER, 0, 48 << 10, 0, true, false, true},
                                    {.name = "unmarked", .durability = H5J_POWER, .isMarked = false},
                                    {"old-format", H5J_POWER, 64 << 10, 0, 0, true, true}};

enum { kPoints, kBad, kAt, kShortened }; // counters on the board

// One recorded run, and the disks that a loss of power makes of it.
class Recording {
 public:
  Recording(std::uint64_t seed, const camp_Config& config, camp_Board& board)
      : m_random(seed, 99), m_board(board), m_config(config) {
    camp_Workload workload(seed, config);
    const int steps = config.regrows ? 16 : m_random.Between(6, 20);
    for (int n = 1; n <= steps; ++n, m_contents.push_back(workload.content))
      workload.Step(n, nullptr);
    workload.content = {};
    camp_Session session(m_directory.File(), config);
    camp_Io::Watch(m_directory.Name(), {.record = &m_record});
    const camp_Children readers = camp_Readers(m_directory.File(), config, camp_Reading::kHold, board);
    camp_Host(workload, session, 1, steps, board);
    if (session.IsOpen())
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
    const camp_Event& event = m_record.events[m_at++];
    if (event.kind == camp_Event::kBegin || event.kind == camp_Event::kAck)
      m_begun = static_cast<std::size_t>(event.offset);
    if (event.kind == camp_Event::kAck)
      m_done = m_begun;
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
    camp_Content found;
    const bool isRead =
        camp_Examine(m_directory.File(), m_config, !recordsRecovery && m_random.OneIn(4), found, m_board);
    camp_Io::Stop();
    ++m_board.counter[kPoints];
    if (!isRead)
      Tell(std::string(mode) + ": " + m_board.message);
    else if (!(found == m_contents[m_done] || found == m_contents[m_begun]))
      Tell(std::string(mode) + ": " + m_contents[m_done].Difference(found));
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
  std::vector<camp_Content> m_contents{{}}; // after each step
  std::size_t m_done = 0, m_begun = 0;
  std::size_t m_at = 0;
};

} // namespace

camp_Rows camp_PowerLoss(const camp_Options& options) {
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
