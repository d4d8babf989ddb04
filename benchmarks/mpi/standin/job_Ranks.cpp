#include "job_Ranks.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <sys/mman.h>
#include <ucontext.h>

namespace {
constexpr std::size_t kStack = 256 << 10, kRootStack = 8 << 20; // touched pages alone take memory

struct Running {
  ucontext_t context{};
  void* stack = nullptr;
  std::size_t stackBytes = 0;
  std::deque<job_Ranks::Message> inbox;
  job_Counts counts;
  const char* waitsIn = nullptr;
  bool ready = false, ended = false;
};

std::vector<std::unique_ptr<Running>> s_ranks;
std::deque<int> s_ready;
ucontext_t s_scheduler;
const std::function<void(int)>* s_program = nullptr;
int s_current = -1, s_met = 0, s_meetings = 0;

[[noreturn]] void fail(const std::string& text) {
  std::fprintf(stderr, "stand-in of MPI: %s\n", text.c_str());
  std::exit(1);
}

Running& running(int rank) {
  return *s_ranks.at(static_cast<std::size_t>(rank));
}

void enter() {
  (*s_program)(s_current);
  running(s_current).ended = true;
  swapcontext(&running(s_current).context, &s_scheduler);
}

void prepare(int rank) {
  Running& it = running(rank);
  it.stackBytes = rank == 0 ? kRootStack : kStack;
  it.stack = mmap(nullptr, it.stackBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE,
                  -1, 0);
  if (it.stack == MAP_FAILED)
    fail("no memory for the ranks");
  getcontext(&it.context);
  it.context.uc_stack.ss_sp = it.stack;
  it.context.uc_stack.ss_size = it.stackBytes;
  makecontext(&it.context, enter, 0);
}

void wait(const char* call) {
  Running& it = running(s_current);
  it.waitsIn = call;
  swapcontext(&it.context, &s_scheduler);
  it.waitsIn = nullptr;
}

void wake(int rank) {
  Running& it = running(rank);
  if (it.waitsIn == nullptr || it.ready)
    return;
  it.ready = true;
  s_ready.push_back(rank);
}

std::string whoWaits() {
  std::map<std::string, int> calls;
  for (const auto& it : s_ranks)
    if (!it->ended)
      ++calls[it->waitsIn != nullptr ? it->waitsIn : "nothing"];
  std::string text = "nobody can go on:";
  for (const auto& [call, ranks] : calls)
    text += " " + std::to_string(ranks) + " in " + call;
  return text;
}

std::uint64_t bytesOf(const job_Ranks::Message& message) {
  std::uint64_t bytes = 0;
  for (const auto& part : message.parts)
    bytes += part.second->size();
  return bytes;
}

bool fits(const job_Ranks::Message& message, MPI_Comm comm, int source, long tag) {
  const bool anyTag = tag == MPI_ANY_TAG && message.tag >= 0;
  return message.comm == comm && (source == MPI_ANY_SOURCE || message.source == source) &&
         (anyTag || message.tag == tag);
}
} // namespace

void job_Ranks::Run(int size, const std::function<void(int)>& program) {
  s_ranks.clear();
  job_world.steps.clear();
  job_self.steps.clear();
  s_program = &program;
  for (int rank = 0; rank < size; ++rank) {
    s_ranks.push_back(std::make_unique<Running>());
    prepare(rank);
    running(rank).ready = true;
    s_ready.push_back(rank);
  }
  while (!s_ready.empty()) {
    s_current = s_ready.front();
    s_ready.pop_front();
    running(s_current).ready = false;
    swapcontext(&s_scheduler, &running(s_current).context);
  }
  s_current = -1;
  for (const auto& it : s_ranks) {
    if (!it->ended)
      fail(whoWaits());
    if (!it->inbox.empty())
      fail(std::string("a message of ") + it->inbox.front().call + " was never received");
    munmap(it->stack, it->stackBytes);
  }
}

void job_Ranks::MeetUncounted() {
  const int meeting = s_meetings;
  if (++s_met == Size()) {
    s_met = 0;
    ++s_meetings;
    for (int rank = 0; rank < Size(); ++rank)
      wake(rank);
  }
  while (s_meetings == meeting)
    wait("a meeting");
}

job_Fault job_fault;

bool job_Fails() {
  return s_current >= 0 && s_current == job_fault.rank && job_fault.seen++ == job_fault.call;
}

int job_Ranks::Size() {
  return static_cast<int>(s_ranks.size());
}

int job_Ranks::Current() {
  return s_current;
}

job_Counts& job_Ranks::Mine() {
  return running(s_current).counts;
}

const job_Counts& job_Ranks::Of(int rank) {
  return running(rank).counts;
}

void job_Ranks::Send(int dest, Message message) {
  job_Counts& mine = Mine();
  ++mine.sent;
  mine.sentBytes += bytesOf(message);
  message.turn = ++mine.turn;
  message.source = s_current;
  running(dest).inbox.push_back(std::move(message));
  wake(dest);
}

job_Ranks::Message job_Ranks::Receive(MPI_Comm comm, int source, long tag, const char* call, bool remove) {
  Running& it = running(s_current);
  for (;;) {
    const auto found = std::find_if(it.inbox.begin(), it.inbox.end(),
                                    [&](const Message& message) { return fits(message, comm, source, tag); });
    if (found == it.inbox.end()) {
      wait(call);
      continue;
    }
    if (tag < MPI_ANY_TAG && std::string(found->call) != call)
      fail("rank " + std::to_string(s_current) + " is in " + call + ", rank " +
           std::to_string(found->source) + " in " + found->call);
    if (!remove)
      return *found;
    Message message = std::move(*found);
    it.inbox.erase(found);
    ++it.counts.received;
    it.counts.receivedBytes += bytesOf(message);
    it.counts.turn = std::max(it.counts.turn + 1, message.turn);
    return message;
  }
}
