#include <UTI_CoreUtils/mem_Allocation.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <sys/mman.h>

// Tree nodes and iterator links are one allocation each, so blocks of up to 256 bytes come from slabs:
// spans of 64 KiB, each cut into blocks of one size class, packed without headers so that neighbours in
// time are neighbours in memory. All spans lie in one reserved range of addresses, so an address alone
// tells a slab block from a malloc block. Free blocks are kept per thread; a block freed by another
// thread than its maker simply changes owner. Larger blocks are malloc's, whose realloc can move pages.
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
constexpr std::size_t kRegion = std::size_t{64} << 30; // addresses, not memory
constexpr std::size_t kSpans = kRegion / kSpan;
constexpr std::uintptr_t kNoRegion = std::uintptr_t{1} << 63; // no user address lies in a range from here

struct FreeBlock {
  FreeBlock* next;
};

struct alignas(32) Bin {
  FreeBlock* free; // blocks given back, last in first out
  char* fresh;     // first never-used block of the current span
  char* end;       // end of the current span's whole blocks
};

constinit std::mutex s_mutex;                      // guards everything below but the thread's bins
constinit std::uintptr_t s_base = kNoRegion;       // start of the reserved range
constinit std::size_t s_spansUsed = 0;             // spans handed out so far
constinit bool s_noRegion = false;                 // the range could not be had: malloc serves all
constinit FreeBlock* s_orphans[kClasses] = {};     // blocks of threads that ended
constinit unsigned char s_classOfSpan[kSpans] = {}; // written once, before the span is handed out

constinit thread_local Bin t_bins[kClasses] __attribute__((tls_model("initial-exec"))) = {};

constexpr std::size_t classOf(std::size_t n) { return (n + kGranule - 1) / kGranule; }
constexpr std::size_t sizeOf(std::size_t sizeClass) { return (sizeClass == 0 ? 1 : sizeClass) * kGranule; }

bool inSlab(const void* block) {
  return reinterpret_cast<std::uintptr_t>(block) - s_base < kRegion;
}

std::size_t classOfBlock(const void* block) {
  return s_classOfSpan[(reinterpret_cast<std::uintptr_t>(block) - s_base) / kSpan];
}

void push(Bin& bin, void* block) {
  FreeBlock* const freed = static_cast<FreeBlock*>(block);
  freed->next = bin.free;
  bin.free = freed;
}

// Hands the bins of a thread that ends to those that live on.
struct ThreadEnd {
  ~ThreadEnd() {
    const std::lock_guard lock(s_mutex);
    for (std::size_t c = 0; c < kClasses; ++c) {
      Bin& bin = t_bins[c];
      for (; bin.fresh != bin.end; bin.fresh += sizeOf(c))
        push(bin, bin.fresh);
      while (FreeBlock* const block = bin.free) {
        bin.free = block->next;
        block->next = s_orphans[c];
        s_orphans[c] = block;
      }
      bin = Bin{};
    }
  }
};

void reserveRegion() {
  void* const range = ::mmap(nullptr, kRegion, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (range == MAP_FAILED)
    s_noRegion = true;
  else
    s_base = reinterpret_cast<std::uintptr_t>(range);
}

// Gives the bin blocks again, or answers false when the slabs have none left.
bool refill(std::size_t sizeClass) {
  static thread_local ThreadEnd atThreadEnd;
  static_cast<void>(atThreadEnd);
  const std::lock_guard lock(s_mutex);
  Bin& bin = t_bins[sizeClass];
  if (s_orphans[sizeClass] != nullptr) {
    bin.free = s_orphans[sizeClass];
    s_orphans[sizeClass] = nullptr;
    return true;
  }
  if (s_base == kNoRegion && !s_noRegion)
    reserveRegion();
  if (s_noRegion || s_spansUsed == kSpans)
    return false;
  s_classOfSpan[s_spansUsed] = static_cast<unsigned char>(sizeClass);
  bin.fresh = reinterpret_cast<char*>(s_base + s_spansUsed * kSpan);
  bin.end = bin.fresh + kSpan / sizeOf(sizeClass) * sizeOf(sizeClass);
  ++s_spansUsed;
  return true;
}

// Kept out of line, so that the common case saves no registers.
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

void* mem_OperatorNewThrow(std::size_t n) {
  return allocate(n);
}

void* mem_Realloc(void* block, std::size_t n) {
  if (block == nullptr && n > kLargestSmall)
    return std::malloc(n);
  if (block != nullptr && !inSlab(block))
    return std::realloc(block, n == 0 ? 1 : n);
  const std::size_t held = block == nullptr ? 0 : sizeOf(classOfBlock(block));
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
  if (inSlab(block)) [[likely]]
    push(t_bins[classOfBlock(block)], block);
  else
    std::free(block);
}

#endif

void* mem_OperatorNewTinyThrow(std::size_t n) {
  return mem_OperatorNewThrow(n);
}

void* mem_OperatorNewThrowBuiltin(std::size_t n) {
  return mem_OperatorNewThrow(n);
}
