// Allocation functions that can be made to fail; whatever the process allocates passes here.

#include <campaign/camp_Io.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace {

constinit bool s_armed = false;
constinit std::int64_t s_calls = 0;
constinit camp_Plan s_plan;

bool fails() {
  if (!s_armed)
    return false;
  ++s_calls;
  if (s_plan.calls != nullptr)
    *s_plan.calls = s_calls;
  if (s_plan.Fails(s_calls))
    errno = ENOMEM;
  return s_plan.Fails(s_calls);
}

} // namespace

void camp_Allocations::Watch(const camp_Plan& plan) {
  s_plan = plan;
  s_calls = 0;
}

void camp_Allocations::Arm(bool armed) {
  s_armed = armed;
}

#define CAMP_ALLOCATOR(NAME, PARAMETERS, ARGUMENTS)                                                          \
  void* __libc_##NAME PARAMETERS noexcept;                                                                   \
  __attribute__((visibility("default"))) void* NAME PARAMETERS noexcept {                                    \
    return fails() ? nullptr : __libc_##NAME ARGUMENTS;                                                      \
  }
extern "C" {
CAMP_ALLOCATOR(malloc, (std::size_t size), (size))
CAMP_ALLOCATOR(calloc, (std::size_t count, std::size_t size), (count, size))
CAMP_ALLOCATOR(realloc, (void* block, std::size_t size), (block, size))

// A name that needs memory, as few machines here have one.
__attribute__((visibility("default"))) int gethostname(char* name, std::size_t size) noexcept {
  return std::snprintf(name, size, "machine-with-a-long-name.campaign") < 0 ? -1 : 0;
}
}
