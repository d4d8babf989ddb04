#include <campaign/camp_Campaigns.h>

#include <algorithm>
#include <fstream>
#include <unistd.h>

namespace {

constexpr camp_Config kConfigs[] = {
    {"durable", H5J_POWER},
    {"tiny-limits", H5J_POWER, 64 << 10, 48 << 10},
    {"tiny-journal", H5J_POWER, 16 << 10},
    {"read-live", H5J_POWER, 4 << 10, 0, 1},
    {"regrown", H5J_POWER, 0, 0, 0, camp_Config::kRegrows},
    {"regrown-spilled", H5J_POWER, 0, 48 << 10, 0, camp_Config::kRegrows},
    {"helped", H5J_POWER, 0, 0, 0, camp_Config::kHelped},
    {"helped-spilled", H5J_POWER, 64 << 10, 48 << 10, 0, camp_Config::kHelped},
    {"helped-live", H5J_POWER, 4 << 10, 0, 1, camp_Config::kHelped},
    {"unmarked", H5J_POWER, 0, 0, 0, camp_Config::kUnmarked},
    {"old-format", H5J_POWER, 64 << 10, 0, 0, camp_Config::kOldFormat}};

// What is left of the changes that were not synced: all; none; any; any, and only sectors of the writes; all
// but the last or only the last; all but one.
enum { kPrefix, kNone, kRandom, kTorn, kLast, kSkip };
constexpr const char* kModes[] = {"prefix", "none", "random", "torn", "last", "skip"};

using Files = std::map<std::string, std::string>;

bool isData(const camp_Event& event) {
  return event.kind >= camp_Event::kWrite && event.kind <= camp_Event::kExtend;
}

// The files of a directory on a disk that loses what was not synced when the power goes.
class Disk {
 public:
  Disk() = default;
  // Holds these files for sure, their inodes numbered in the order of names.
  explicit Disk(const Files& files) {
    for (int inode = 0; const auto& [name, bytes] : files) {
      m_sure.names[name] = inode;
      m_sure.images[inode++] = bytes;
    }
  }
  bool Settled() const { return m_pending.empty(); }
  // The next thing that happens; it must live as long as the disk.
  void Feed(const camp_Event& event);
  // The files as they may be found after a loss of power now.
  Files Crash(std::size_t mode, camp_Random& random) const;

 private:
  struct Platter {
    std::map<std::string, int> names;
    std::map<int, std::string> images; // by inode
    void Apply(const camp_Event& event, camp_Random* tearing);
  };
  Platter m_sure;
  std::vector<const camp_Event*> m_pending;
};

void Disk::Platter::Apply(const camp_Event& event, camp_Random* tearing) {
  constexpr std::size_t kSector = 512;
  const auto offset = static_cast<std::size_t>(event.offset);
  std::string& image = images[event.inode];
  switch (event.kind) {
  case camp_Event::kWrite:
    for (std::size_t from = 0, size = 0; from < event.bytes.size(); from += size) {
      size = std::min(event.bytes.size() - from, kSector - (offset + from) % kSector);
      if (tearing != nullptr && tearing->OneIn(2))
        continue;
      image.resize(std::max(image.size(), offset + from + size));
      image.replace(offset + from, size, event.bytes, from, size);
    }
    return;
  case camp_Event::kTruncate:
    return image.resize(offset);
  case camp_Event::kExtend:
    return image.resize(std::max(image.size(), offset));
  case camp_Event::kUnlink:
    names.erase(event.name);
    return;
  default: // a name that comes
    if (const auto from = names.find(event.from); from != names.end() && from->second == event.inode)
      names.erase(from);
    names[event.name] = event.inode;
  }
}

void Disk::Feed(const camp_Event& event) {
  const bool isFile = event.kind == camp_Event::kSync;
  if (isFile || event.kind == camp_Event::kDirectorySync)
    std::erase_if(m_pending, [&](const camp_Event* one) {
      const bool belongs = isFile ? isData(*one) && one->inode == event.inode : !isData(*one);
      if (belongs)
        m_sure.Apply(*one, nullptr);
      return belongs;
    });
  else if (event.kind != camp_Event::kBegin && event.kind != camp_Event::kAck)
    m_pending.push_back(&event);
}

Files Disk::Crash(std::size_t mode, camp_Random& random) const {
  Platter platter = m_sure;
  const std::size_t one = mode == kSkip ? random.Below(m_pending.size()) : m_pending.size() - 1;
  const bool others = mode == kSkip || (mode == kLast && random.OneIn(2));
  for (std::size_t i = 0; i < m_pending.size(); ++i)
    if (mode == kPrefix || (mode >= kLast ? (i == one) != others : mode != kNone && random.OneIn(2)))
      platter.Apply(*m_pending[i], mode == kTorn ? &random : nullptr);
  Files files;
  for (const auto& [name, inode] : platter.names)
    files[name] = platter.images[inode];
  return files;
}

enum { kShortened }; // counter on the board: journals written anew

// One recorded run, and the disks that a loss of power makes of it.
class Recording {
 public:
  Recording(std::uint64_t seed, const camp_Config& config, camp_Row& row)
      : m_random(seed, 99), m_row(row), m_board(row.board), m_config(config) {
    camp_Workload workload(seed, config);
    const int steps = config.Is(camp_Config::kRegrows) ? 16 : m_random.Between(6, 20);
    for (int n = 1; n <= steps; ++n, m_contents.push_back(workload.content))
      workload.Step(n, nullptr);
    workload.content = {};
    camp_Session session(m_directory.File(), config);
    camp_Watch(m_directory.Name(), {.record = &m_record});
    const camp_Children readers = camp_Readers(m_directory.File(), config, camp_Reading::kHold, m_board);
    camp_Host(workload, session, 1, steps, m_board);
    session.Close();
    camp_Unwatch();
    for (const camp_Event& event : m_record.events)
      m_board.counter[kShortened] += event.kind == camp_Event::kName && event.from.ends_with("-next");
    if (m_board.refused > 0)
      Tell(std::string("refused without a fault: ") + m_board.message);
  }

  // Losses of power in all modes after every event, or after so many that about `points` disks are looked at.
  void Examine(std::int64_t points) {
    const std::size_t events = m_record.events.size();
    const int every = static_cast<int>(events * std::size(kModes) / static_cast<std::size_t>(points + 1)) + 1;
    while (m_at < events) {
      Advance();
      for (std::size_t mode = m_random.OneIn(every) ? 0 : std::size(kModes); mode < std::size(kModes); ++mode)
        if (mode == kPrefix || !m_disk.Settled())
          Try(m_disk.Crash(mode, m_random), kModes[mode], m_random.OneIn(16));
    }
  }

 private:
  void Advance() {
    const camp_Event& event = m_record.events[m_at++];
    m_disk.Feed(event);
    if (event.kind == camp_Event::kBegin || event.kind == camp_Event::kAck)
      m_begun = static_cast<std::size_t>(event.offset);
    if (event.kind == camp_Event::kAck)
      m_done = m_begun;
  }

  void Tell(const std::string& message) const {
    m_row.Bad("event " + std::to_string(m_at) + " of " + std::to_string(m_record.events.size()) + ", " +
              message);
  }

  // What is found in these files. A recovery that is recorded may be interrupted by another loss of power.
  void Try(const Files& files, const char* mode, bool records) {
    ::alarm(60); // should it hang
    m_directory.Clear();
    camp_Record recovery;
    for (const auto& [name, bytes] : files) {
      std::ofstream(m_directory.Path(name), std::ios::binary) << bytes;
      recovery.names[name] = recovery.inodes++;
    }
    if (records)
      camp_Watch(m_directory.Name(), {.record = &recovery});
    camp_Content found;
    const bool isRead = camp_Examine(m_directory.File(), m_config,
                                     !records && m_random.OneIn(4) ? camp_Look::kEveryWay : camp_Look::kClose,
                                     found, m_board);
    camp_Unwatch();
    ++m_row.runs;
    if (!isRead || !(found == m_contents[m_done] || found == m_contents[m_begun]))
      Tell(mode + std::string(": ") + (isRead ? m_contents[m_done].Difference(found) : m_board.message));
    Disk disk(files);
    for (const camp_Event& event : recovery.events) {
      disk.Feed(event);
      if (!disk.Settled())
        Try(disk.Crash(m_random.Below(std::size(kModes)), m_random), mode, false);
    }
  }

  camp_Random m_random;
  camp_Row& m_row;
  camp_Board& m_board;
  const camp_Config& m_config;
  camp_Directory m_directory;
  camp_Record m_record;
  Disk m_disk;
  std::vector<camp_Content> m_contents{{}}; // after each step
  std::size_t m_at = 0, m_begun = 0, m_done = 0;
};

} // namespace

camp_Rows camp_PowerLoss(const camp_Options& options) {
  constexpr std::int64_t kRecordings = 5; // at least
  const std::int64_t points = options.Share(3000, std::ssize(kConfigs));
  return camp_ForEachConfig("power", kConfigs, options, [&](const camp_Config& config, camp_Row& row) {
    camp_Board& board = row.board;
    int recordings = 0;
    for (; row.runs < points && !options.Enough(row); ++recordings) {
      const std::uint64_t seed = options.seed * 1000 + static_cast<std::uint64_t>(recordings);
      board.begun = board.done = board.refused = 0;
      const int status =
          camp_Child([&] { Recording(seed, config, row).Examine(points / kRecordings); }, 0).Wait();
      row.runs += status != 0;
      if (status != 0)
        row.Bad("a recording ended with " + std::to_string(status));
    }
    row.note = std::to_string(recordings) + " recordings, " + std::to_string(board.counter[kShortened]) +
               " journals written anew";
    if (config.readers > 0 && !config.Is(camp_Config::kHelped) && board.counter[kShortened] == 0)
      row.Bad("no journal was written anew");
  });
}
