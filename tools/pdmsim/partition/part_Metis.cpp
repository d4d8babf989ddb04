#include <pdmsim/partition/part_Metis.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Program.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <metis.h>
#include <numeric>
#include <optional>
#include <queue>
#include <sys/mman.h>

static_assert(sizeof(idx_t) == sizeof(int), "this program's graph is that of METIS as Debian has it");

namespace {

constexpr int kSeed = 1; // any; the same one gives the same parts
constexpr double kTolerated = 1.03;

[[noreturn]] void fail(const std::string& file, const std::string& found) {
  throw cli_Failure(cli_Exit::kUnusable,
                    file + ": expected METIS to share the elements out, found: " + found);
}

/// Numbers that a process and its children share.
class Shared {
 public:
  explicit Shared(std::size_t count)
      : m_bytes(count * sizeof(idx_t)),
        m_numbers(::mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {}
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;
  ~Shared() {
    if (IsThere())
      ::munmap(m_numbers, m_bytes);
  }
  bool IsThere() const { return m_numbers != MAP_FAILED; }
  idx_t* Numbers() const { return static_cast<idx_t*>(m_numbers); }

 private:
  std::size_t m_bytes;
  void* m_numbers;
};

/// True when every item can be reached from every other.
bool isConnected(const part_Graph& graph) {
  std::vector<bool> seen(graph.begins.size());
  std::vector<int> open{0};
  int count = 1;
  for (seen[0] = true; !open.empty();) {
    const int item = open.back();
    open.pop_back();
    for (const int other : graph.Of(item))
      if (!seen[static_cast<std::size_t>(other)]) {
        seen[static_cast<std::size_t>(other)] = true;
        open.push_back(other);
        ++count;
      }
  }
  return count == graph.Items();
}

using Method = decltype(&METIS_PartGraphKway);

/// Runs METIS, in a process of its own: it has handlers of its own for the signals of its process, and leaves
/// from within them. It changes no graph.
/// \return the part of each item; none where METIS has failed.
std::vector<int> run(const std::string& file, const part_Graph& graph, int count, Method method,
                     bool connected, const std::function<void()>& tick) {
  const auto items = static_cast<std::size_t>(graph.Items());
  const Shared shared(items);
  if (!shared.IsThere())
    fail(file, std::strerror(errno));
  const int code = cli_RunApart(
      [&] {
        idx_t options[METIS_NOPTIONS];
        METIS_SetDefaultOptions(options);
        options[METIS_OPTION_SEED] = kSeed;
        options[METIS_OPTION_CONTIG] = connected && method == &METIS_PartGraphKway ? 1 : 0;
        idx_t vertices = graph.Items(), constraints = 1, parts = count, cut = 0;
        const int done = method(&vertices, &constraints, const_cast<idx_t*>(graph.begins.data()),
                                const_cast<idx_t*>(graph.neighbours.data()), nullptr, nullptr, nullptr,
                                &parts, nullptr, nullptr, options, &cut, shared.Numbers());
        return done == METIS_OK ? 0 : done == METIS_ERROR_MEMORY ? 2 : 1;
      },
      tick);
  const std::span<const idx_t> parts(shared.Numbers(), items);
  if (code == 0 && std::all_of(parts.begin(), parts.end(), [&](idx_t p) { return p >= 0 && p < count; }))
    return {parts.begin(), parts.end()};
  if (code == 2 || code == -1)
    fail(file, "out of memory");
  return {};
}

/// Gives each empty part an item of the part that is greatest at the time.
void fill(std::vector<int>& parts, int count) {
  std::vector<std::vector<int>> members(static_cast<std::size_t>(count));
  for (std::size_t item = 0; item < parts.size(); ++item)
    members[static_cast<std::size_t>(parts[item])].push_back(static_cast<int>(item));
  std::priority_queue<std::pair<std::size_t, std::size_t>> greatest; // sizes, and whose they are
  for (std::size_t part = 0; part < members.size(); ++part)
    if (members[part].size() > 1)
      greatest.emplace(members[part].size(), part);
  for (std::size_t part = 0; part < members.size(); ++part)
    if (members[part].empty()) {
      const auto [size, from] = greatest.top();
      greatest.pop();
      parts[static_cast<std::size_t>(members[from].back())] = static_cast<int>(part);
      members[from].pop_back();
      greatest.emplace(size - 1, from);
    }
}

} // namespace

std::vector<int> part_Split(const std::string& file, const part_Graph& graph, int count,
                            const std::function<void()>& tick) {
  std::vector<int> parts(static_cast<std::size_t>(graph.Items()));
  if (count == graph.Items())
    std::iota(parts.begin(), parts.end(), 0);
  if (count == 1 || count == graph.Items())
    return parts;
  const double mean = static_cast<double>(graph.Items()) / count;
  const auto tolerated = static_cast<int>(std::max(std::ceil(mean), std::floor(kTolerated * mean)));
  const bool connected = isConnected(graph);
  // The second way is slower, and balances parts of few elements better.
  std::optional<part_Quality> best;
  for (const Method method : {&METIS_PartGraphKway, &METIS_PartGraphRecursive}) {
    std::vector<int> found = run(file, graph, count, method, connected, tick);
    if (found.empty())
      continue;
    fill(found, count);
    const part_Quality quality = part_Measure(graph, found, count);
    if (!best || quality.greatest < best->greatest) {
      best = quality;
      parts = std::move(found);
    }
    if (best->greatest <= tolerated)
      break;
  }
  if (!best)
    fail(file, "it failed");
  return parts;
}
