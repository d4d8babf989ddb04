// Allocation functions that can be made to fail; whatever the process allocates passes here.

#include <campaign/camp_Io.h>

#include <cerrno>
#include <cstdlib>

extern "C" {
void* __libc_malloc(std::size_t) noexcept;
void* __libc_calloc(std::size_t, std::size_t) noexcept;
void* __libc_realloc(void*, std::size_t) noexcept;
}

namespace {

constinit bool s_armed = false;
constinit std::int64_t s_failAt = 0, s_own = 0;
constinit std::int64_t* s_calls = &s_own;
constinit camp_Io::Fault s_fault = camp_Io::kOnce;

bool fails() {
  if (!s_armed)
    return false;
  const std::int64_t n = ++*s_calls;
  if (s_failAt == 0 || n < s_failAt || (s_fault == camp_Io::kOnce && n > s_failAt))
    return false;
  errno = ENOMEM;
  return true;
}

} // namespace

void camp_Allocations::FailAt(std::int64_t n, camp_Io::Fault fault) {
  s_failAt = n;
  s_fault = fault;
}

void camp_Allocations::CountIn(std::int64_t* calls) {
  s_calls = calls;
}

void camp_Allocations::Arm(bool armed) {
  s_armed = armed;
}

#pragma GCC visibility push(default)
extern "C" {
void* malloc(std::size_t size) noexcept {
  return fails() ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
  return fails() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) noexcept {
  return fails() ? nullptr : __libc_realloc(block, size);
}
}
#pragma GCC visibility pop
