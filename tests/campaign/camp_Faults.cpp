#include <campaign/camp_Campaigns.h>

#include <cerrno>
#include <csignal>

namespace {

constexpr int kSteps = 22, kFurther = 3;

// One run with one fault, and a session after it.
class Faulty {
 public:
  Faulty(const camp_Config& config, std::uint64_t seed) : m_config(config), m_seed(seed) {}

  camp_Board& Board() const { return m_board; }

  void Run(camp_Row& row, const std::string& what, const std::function<void()>& prepare) {
    camp_Trial trial(m_directory, m_seed, m_config, m_board);
    ++row.runs;
    const int status = trial.Run(kSteps, prepare);
    m_died += status != 0;
    if (status == -SIGALRM)
      return row.Bad(what + ": hangs");
    if (!trial.Check(false) || !trial.RunsWell(kFurther))
      row.Bad(what + ": " + trial.Message());
  }

  int Died() const { return m_died; }

 private:
  const camp_Config& m_config;
  std::uint64_t m_seed;
  camp_Directory m_directory;
  camp_Board& m_board = camp_Board::New();
  int m_died = 0;
};

struct Way {
  const char* name;
  int error;
  camp_Io::Fault fault;
};
constexpr Way kWays[] = {{"ENOSPC once", ENOSPC, camp_Io::kOnce},
                         {"ENOSPC for good", ENOSPC, camp_Io::kForGood},
                         {"EIO once", EIO, camp_Io::kOnce},
                         {"EIO for good", EIO, camp_Io::kForGood},
                         {"short write", camp_Io::kShortWrite, camp_Io::kOnce}};
constexpr Way kAllocationWays[] = {{"once", 0, camp_Io::kOnce}, {"for good", 0, camp_Io::kForGood}};

constexpr camp_Config kConfigs[] = {{"kill-safe", 1}, {"durable", 2}, {"tiny-limits", 2, 64 << 10, 48 << 10}};

// Fails every stride-th call of a run, each in all ways. `total` says how many calls the run without faults
// made, `fail` arranges for one to fail.
template <std::size_t N>
void sweep(const camp_Config& config, const camp_Options& options, camp_Row& row, const Way (&ways)[N],
           const char* call, std::int64_t camp_Board::*total,
           const std::function<void(std::int64_t, const Way&)>& fail) {
  Faulty faulty(config, options.seed);
  faulty.Run(row, "no fault", [] {});
  const std::int64_t calls = faulty.Board().*total;
  for (std::int64_t n = 1; n <= calls; n += options.stride)
    for (const Way& way : ways) {
      faulty.Run(row, std::string(way.name) + " at " + call + ' ' + std::to_string(n), [&] { fail(n, way); });
      row.Progress(calls / options.stride * static_cast<std::int64_t>(N));
    }
  row.note = std::to_string(calls) + ' ' + call + "s a run, " + std::to_string(faulty.Died()) +
             " runs ended by a signal";
}

} // namespace

std::vector<camp_Row> camp_Faults(const camp_Options& options) {
  return camp_ForEachConfig("faults", kConfigs, options, [&](const camp_Config& config, camp_Row& row) {
    sweep(config, options, row, kWays, "call", &camp_Board::calls,
          [](std::int64_t n, const Way& way) { camp_Io::FailAt(n, way.error, way.fault); });
  });
}

std::vector<camp_Row> camp_AllocationFaults(const camp_Options& options) {
  return camp_ForEachConfig(
      "allocations", std::span(kConfigs, 1), options, [&](const camp_Config& config, camp_Row& row) {
        sweep(config, options, row, kAllocationWays, "allocation", &camp_Board::allocations,
              [](std::int64_t n, const Way& way) { camp_Allocations::FailAt(n, way.fault); });
      });
}
