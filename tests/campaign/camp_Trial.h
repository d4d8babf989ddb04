#pragma once

#include <campaign/camp_Workload.h>
#include <support/sys_Directory.h>

#include <atomic>
#include <functional>
#include <sys/types.h>

/// What processes tell each other; it outlives every one of them.
struct camp_Board {
  static constexpr int kSteps = 1 << 18;
  enum Fate : std::uint8_t { kBegun, kTaken, kRefused, kUndecided }; // of a step; undecided: seen at opening

  std::atomic<int> begun, done, refused;     // last step that began, that ended well; how many did not
  std::atomic<std::uint64_t> digest[kSteps]; // of the content after each step
  std::atomic<Fate> fate[kSteps];
  std::atomic<std::uint64_t> found; // digest of what was looked at last, 0 when it could not be read
  std::atomic<std::int64_t> runs, bad;
  std::int64_t calls, allocations;
  std::atomic<std::int64_t> counter[8]; // for whoever needs some
  char message[600], wrong[600];

  /// A board in memory that later children share; never released.
  static camp_Board& New();
  /// \return false.
  bool Say(const std::string& text);
  /// Counts something wrong, and says the first.
  void Wrong(const std::string& text);
  /// True for the digest of a content after one of these steps.
  bool Knows(std::uint64_t digestOfContent, int first, int last) const;
};

/// One line of a campaign's result. Copies and all processes share the board, which counts.
struct camp_Row {
  std::string campaign, config, note{};
  camp_Board& board = camp_Board::New();
  std::atomic<std::int64_t>&runs = board.runs, &bad = board.bad;

  /// Counts a bad run; the first few are told on standard error at once.
  /// \return false.
  bool Bad(const std::string& message);
  /// Judges what readers on the board saw.
  void Conclude();
};

/// One process of a campaign, killed at the end of its life here if it still runs.
class camp_Child {
 public:
  /// Runs `body` in a child that leaves by _exit.
  /// \param patience seconds after which it hangs, and dies of SIGALRM; 0 waits for ever.
  explicit camp_Child(const std::function<void()>& body, unsigned patience = 60);
  camp_Child(const camp_Child&) = delete;
  camp_Child& operator=(const camp_Child&) = delete;
  ~camp_Child() { Kill(), Wait(); }

  void Kill() const;
  pid_t Id() const { return m_pid; }
  /// True when it has, killed by itself or by others.
  bool HasEnded();
  /// Waits for the end.
  /// \return its exit code, or -signal.
  int Wait();

 private:
  pid_t m_pid;
  int m_status = 0;
  bool m_ended = false;
};
using camp_Children = std::vector<std::unique_ptr<camp_Child>>;

/// A directory of its own, in memory where that can be had.
class camp_Directory : public sys_Directory {
 public:
  camp_Directory();
  std::string File() const { return Path("a.h5"); }
  void Clear() const;
};

/// How readers read: one live snapshot for ever; one after another; held and refreshed; waiting for the
/// writer.
enum class camp_Reading { kHold, kHurry, kPause, kWait };
enum {
  camp_kSnapshots,
  camp_kWrong,
  camp_kRefreshed,
  camp_kCounters,
  camp_kLoans = 7
}; // counters on the board
/// Readers, each in a process of its own. What they see must have been the content after some step.
camp_Children camp_Readers(const std::string& file, const camp_Config& config, camp_Reading how,
                           camp_Board& board);

/// How a file is looked at: opened for writing; closed as well, so that nothing is left; also read before
/// anything is written, and by plain HDF5 at the end.
enum class camp_Look { kOpen, kClose, kEveryWay };
/// Reads a file with whatever recovery it needs.
/// \return false with a message on the board when something fails.
bool camp_Examine(const std::string& file, const camp_Config& config, camp_Look look, camp_Content& content,
                  camp_Board& board);

/// Takes steps first, first + 1, ... of a workload in its file, and tells the board. Steps that fail are
/// rolled back.
void camp_Host(camp_Workload& workload, camp_Session& session, int first, int count, camp_Board& board);

/// How a process ends that an exception leaves.
inline constexpr int camp_kTerminated = 97;

/// What happens to a process on its way.
struct camp_Fate {
  camp_Plan io{}, allocations{};
  camp_Crew* crew = nullptr;
  std::int64_t life = 0; // microseconds after which it is killed; 0 lets it end
  bool leaves = false;   // ends by exit() inside an update
};

/// One file and its life: processes that work on it and die, and what must be in it afterwards.
class camp_Trial {
 public:
  camp_Trial(std::uint64_t seed, const camp_Config& config, camp_Row& row, std::string what = "")
      : m_config(config), m_row(row), m_board(row.board), m_what(std::move(what)), m_workload(seed, config) {}

  /// A child takes `steps` steps.
  /// \return as camp_Child::Wait.
  int Run(int steps, const camp_Fate& fate = {});
  /// A child opens the file and closes it.
  void Recover(const camp_Plan& io);
  /// True when the file holds the last content that was acknowledged, or the one in flight; goes on from
  /// there. Otherwise the row is told.
  bool Check(camp_Look look = camp_Look::kClose, const camp_Plan& io = {});
  /// As Run, and all steps must succeed and be there.
  bool RunsWell(int steps);

  std::string File() const { return m_directory.File(); }
  const std::string& Directory() const { return m_directory.Name(); }
  int Next() const { return m_next; }

 private:
  const camp_Directory m_directory;
  const camp_Config& m_config;
  camp_Row& m_row;
  camp_Board& m_board;
  const std::string m_what; // begins every message
  camp_Workload m_workload; // with the content that the file must have
  int m_next = 1;           // the next step
};
