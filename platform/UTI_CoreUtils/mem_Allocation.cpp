#include <UTI_CoreUtils/mem_Allocation.h>

#include <UTI_CoreUtils/mem_AtFork.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <sys/mman.h>
#include <utility>

// Tree nodes and iterator links are one allocation each, so blocks of up to 256 bytes come from slabs:
// spans of 64 KiB, each cut into blocks of one size class, packed without headers so that neighbours in
// time are neighbours in memory. All spans lie in one reserved range of addresses, so an address alone
// tells a slab block from a malloc block. Larger blocks are malloc's, whose realloc can move pages.
//
// A thread takes blocks of a class from one span until it is used up. A freed block goes back to its own
// span, so that what is taken after a great release again lies together, and not strewn over all that was
// released. A block freed by another thread than its span's simply joins that thread's free blocks.
//
// Sanitizer builds use malloc throughout, so that misuse is seen.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define MEM_PLAIN_MALLOC 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define MEM_PLAIN_MALLOC 1
#endif
#endif
#ifndef MEM_PLAIN_MALLOC
#define MEM_PLAIN_MALLOC 0
#endif

namespace {

void* mallocOrThrow(std::size_t n) {
  void* const block = std::malloc(n == 0 ? 1 : n);
  if (block == nullptr)
    throw std::bad_alloc();
  return block;
}

#if !MEM_PLAIN_MALLOC

constexpr std::size_t kGranule = 16;
constexpr std::size_t kLargestSmall = 256;
constexpr std::size_t kClasses = kLargestSmall / kGranule + 1;
constexpr std::size_t kSpan = std::size_t{64} << 10;
constexpr std::size_t kRegion = std::size_t{16} << 30; // addresses, not memory
constexpr std::size_t kSpans = kRegion / kSpan;
constexpr std::uintptr_t kNoRegion = std::uintptr_t{1} << 63; // no user address lies in a range from here

struct FreeBlock {
  FreeBlock* next;
};

struct Span {
  FreeBlock* free;         // blocks given back by the owner while another span was in use
  Span* next;              // the next span in its bin's queue
  unsigned owner;          // number of the thread that took the span
  unsigned taken;          // blocks not in `free`; not kept up while the span is in use
  unsigned char sizeClass; // written once, before the span is handed out
  bool queued;
};

// One thread's blocks of one size class.
struct alignas(32) Bin {
  FreeBlock* free; // to be taken next, last in first out
  char* fresh;     // first never-used block of the span in use
  char* end;       // end of that span's whole blocks
  Span* span;      // the span in use
};

constinit std::mutex s_mutex; // guards what follows, but for the spans' lists
// Start of the reserved range; set once, under the lock, before any block of it is handed out.
constinit std::atomic<std::uintptr_t> s_base = kNoRegion;
std::uintptr_t base() {
  return s_base.load(std::memory_order_relaxed);
}
constinit std::size_t s_spansUsed = 0;         // spans handed out so far
constinit bool s_noRegion = false;             // the range could not be had: malloc serves all
constinit unsigned s_threads = 0;              // threads numbered so far
constinit FreeBlock* s_orphans[kClasses] = {}; // blocks of threads that ended
constinit Span s_spans[kSpans] = {};           // free, next and queued belong to the owner

#define MEM_THREAD constinit thread_local __attribute__((tls_model("initial-exec")))
MEM_THREAD Bin t_bins[kClasses] = {};
MEM_THREAD Span* t_queues[kClasses] = {}; // spans that have free blocks and are not in use
MEM_THREAD unsigned t_thread = 0;         // this thread's number; 0 before it took or freed anything

constexpr std::size_t classOf(std::size_t n) {
  return (n + kGranule - 1) / kGranule;
}
constexpr std::size_t sizeOf(std::size_t sizeClass) {
  return (sizeClass == 0 ? 1 : sizeClass) * kGranule;
}

bool inSlab(const void* block) {
  return reinterpret_cast<std::uintptr_t>(block) - base() < kRegion;
}

Span& spanOf(const void* block) {
  return s_spans[(reinterpret_cast<std::uintptr_t>(block) - base()) / kSpan];
}

void push(FreeBlock*& list, void* block) {
  FreeBlock* const freed = static_cast<FreeBlock*>(block);
  freed->next = list;
  list = freed;
}

void orphan(std::size_t sizeClass, FreeBlock* list) {
  while (FreeBlock* const block = list) {
    list = block->next;
    push(s_orphans[sizeClass], block);
  }
}

// Hands the free blocks of a thread that ends to those that live on.
struct ThreadEnd {
  ~ThreadEnd() {
    const std::lock_guard lock(s_mutex);
    for (std::size_t c = 0; c < kClasses; ++c) {
      Bin& bin = t_bins[c];
      for (; bin.fresh != bin.end; bin.fresh += sizeOf(c))
        push(bin.free, bin.fresh);
      orphan(c, bin.free);
      bin = Bin{};
      for (; t_queues[c] != nullptr; t_queues[c] = t_queues[c]->next)
        orphan(c, std::exchange(t_queues[c]->free, nullptr));
    }
    t_thread = 0;
  }
};

// In a child made by fork(): other threads of its parent may have been within the lock. What they were about
// to hand over is left to them.
void forgetOtherThreads() {
  new (&s_mutex) std::mutex;
  for (FreeBlock*& orphans : s_orphans)
    orphans = nullptr;
}
constinit mem_AtFork s_fork(nullptr, nullptr, &forgetOtherThreads);

// REQUIRES the lock, which is taken after s_fork.Tell().
void knowThisThread() {
  static thread_local ThreadEnd atThreadEnd;
  static_cast<void>(atThreadEnd);
  if (t_thread == 0)
    t_thread = ++s_threads;
}

void reserveRegion() {
  void* const range =
      ::mmap(nullptr, kRegion, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (range == MAP_FAILED)
    s_noRegion = true;
  else
    s_base = reinterpret_cast<std::uintptr_t>(range);
}

constexpr unsigned blocksOf(std::size_t sizeClass) {
  return static_cast<unsigned>(kSpan / sizeOf(sizeClass));
}

// Puts a span to use from its first block on.
void useAfresh(Bin& bin, Span& span) {
  bin.span = &span;
  bin.fresh = reinterpret_cast<char*>(base() + static_cast<std::size_t>(&span - s_spans) * kSpan);
  bin.end = bin.fresh + blocksOf(span.sizeClass) * sizeOf(span.sizeClass);
}

// Takes blocks that threads now ended have left, or a new span; false when there is neither.
bool refillFromAll(std::size_t sizeClass) {
  s_fork.Tell();
  const std::lock_guard lock(s_mutex);
  knowThisThread();
  Bin& bin = t_bins[sizeClass];
  if (s_orphans[sizeClass] != nullptr) {
    bin.free = std::exchange(s_orphans[sizeClass], nullptr);
    return true;
  }
  if (base() == kNoRegion && !s_noRegion)
    reserveRegion();
  if (s_noRegion || s_spansUsed == kSpans)
    return false;
  Span& span = s_spans[s_spansUsed++];
  span.sizeClass = static_cast<unsigned char>(sizeClass);
  span.owner = t_thread;
  useAfresh(bin, span);
  return true;
}

// Gives an empty bin blocks again, or answers false when the slabs have none left.
bool refill(std::size_t sizeClass) {
  Bin& bin = t_bins[sizeClass];
  if (bin.span != nullptr)
    bin.span->taken = blocksOf(sizeClass);
  Span* const span = t_queues[sizeClass];
  if (span == nullptr)
    return refillFromAll(sizeClass);
  t_queues[sizeClass] = span->next;
  span->queued = false;
  FreeBlock* const free = std::exchange(span->free, nullptr);
  if (span->taken == 0) {
    useAfresh(bin, *span);
  } else {
    bin.span = span;
    bin.free = free;
  }
  return true;
}

// The slow ways are kept out of line, so that the common ones save no registers.

// Takes back a block of a span of another thread.
[[gnu::noinline, gnu::cold]] void freeForeign(Span& span, void* block) {
  if (t_thread == 0) {
    s_fork.Tell();
    const std::lock_guard lock(s_mutex);
    knowThisThread();
  }
  push(t_bins[span.sizeClass].free, block);
}

// Takes back a block of another span than the one in use.
[[gnu::noinline]] void freeElsewhere(Span& span, void* block) {
  if (span.owner != t_thread) [[unlikely]]
    return freeForeign(span, block);
  push(span.free, block);
  --span.taken;
  if (!span.queued) {
    span.queued = true;
    span.next = std::exchange(t_queues[span.sizeClass], &span);
  }
}

[[gnu::noinline, gnu::cold]] void* allocateSlow(std::size_t n) {
  if (n > kLargestSmall || !refill(classOf(n)))
    return mallocOrThrow(n);
  return mem_OperatorNewThrow(n);
}

void* allocate(std::size_t n) {
  if (n <= kLargestSmall) [[likely]] {
    Bin& bin = t_bins[classOf(n)];
    if (FreeBlock* const block = bin.free) {
      bin.free = block->next;
      return block;
    }
    if (bin.fresh != bin.end) [[likely]] {
      void* const block = bin.fresh;
      bin.fresh += sizeOf(classOf(n));
      return block;
    }
  }
  return allocateSlow(n);
}

#endif

} // namespace

#if MEM_PLAIN_MALLOC

void mem_TellForks() noexcept {}

void* mem_OperatorNewThrow(std::size_t n) {
  return mallocOrThrow(n);
}

void* mem_Realloc(void* block, std::size_t n) {
  return std::realloc(block, n == 0 ? 1 : n);
}

void mem_Free(void* block) {
  std::free(block);
}

#else

void mem_TellForks() noexcept {
  s_fork.Tell();
}

void* mem_OperatorNewThrow(std::size_t n) {
  return allocate(n);
}

void* mem_Realloc(void* block, std::size_t n) {
  if (block == nullptr && n > kLargestSmall)
    return std::malloc(n);
  if (block != nullptr && !inSlab(block))
    return std::realloc(block, n == 0 ? 1 : n);
  const std::size_t held = block == nullptr ? 0 : sizeOf(spanOf(block).sizeClass);
  if (block != nullptr && n <= held)
    return block;
  void* moved = nullptr;
  try {
    moved = allocate(n);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  if (block != nullptr) {
    std::memcpy(moved, block, held);
    mem_Free(block);
  }
  return moved;
}

void mem_Free(void* block) {
  if (block == nullptr)
    return;
  if (!inSlab(block)) [[unlikely]]
    return std::free(block);
  Span& span = spanOf(block);
  Bin& bin = t_bins[span.sizeClass];
  if (bin.span == &span)
    push(bin.free, block);
  else
    freeElsewhere(span, block);
}

#endif

void* mem_OperatorNewTinyThrow(std::size_t n) {
  return mem_OperatorNewThrow(n);
}

void* mem_OperatorNewThrowBuiltin(std::size_t n) {
  return mem_OperatorNewThrow(n);
}
