#include "job_Ranks.h"

#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <sys/file.h>
#include <sys/vfs.h>

// Calls of the system that the ranks' own code makes come here first, and are counted by rank.

namespace {
// False when the call is to fail.
bool count(const char* name) {
  if (job_Ranks::Current() >= 0)
    ++job_Ranks::Mine().system[name];
  if (!job_Fails())
    return true;
  errno = EIO;
  return false;
}

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
} // namespace

// NAME with these parameters, counted as KIND.
#define JOB_COUNTED(result, name, kind, parameters, arguments)                                               \
  __attribute__((visibility("default"))) result name parameters {                                            \
    static auto* const function = next<result parameters>(#name);                                            \
    if (!count(kind))                                                                                        \
      return -1;                                                                                             \
    return function arguments;                                                                               \
  }

extern "C" {
#define JOB_OPEN(name)                                                                                       \
  __attribute__((visibility("default"))) int name(const char* path, int flags, ...) {                        \
    static auto* const function = next<int(const char*, int, ...)>(#name);                                   \
    va_list more;                                                                                            \
    va_start(more, flags);                                                                                   \
    const unsigned mode = va_arg(more, unsigned);                                                            \
    va_end(more);                                                                                            \
    if (!count("open"))                                                                                      \
      return -1;                                                                                             \
    return function(path, flags, mode);                                                                      \
  }
#define JOB_OPENAT(name)                                                                                     \
  __attribute__((visibility("default"))) int name(int folder, const char* path, int flags, ...) {            \
    static auto* const function = next<int(int, const char*, int, ...)>(#name);                              \
    va_list more;                                                                                            \
    va_start(more, flags);                                                                                   \
    const unsigned mode = va_arg(more, unsigned);                                                            \
    va_end(more);                                                                                            \
    if (!count("open"))                                                                                      \
      return -1;                                                                                             \
    return function(folder, path, flags, mode);                                                              \
  }
#define JOB_FCNTL(name)                                                                                      \
  __attribute__((visibility("default"))) int name(int descriptor, int command, ...) {                        \
    static auto* const function = next<int(int, int, ...)>(#name);                                           \
    va_list more;                                                                                            \
    va_start(more, command);                                                                                 \
    void* argument = va_arg(more, void*);                                                                    \
    va_end(more);                                                                                            \
    if (!count(command == F_OFD_SETLK || command == F_OFD_GETLK || command == F_OFD_SETLKW ? "lock"          \
                                                                                           : "fcntl"))       \
      return -1;                                                                                             \
    return function(descriptor, command, argument);                                                          \
  }
JOB_OPEN(open)
JOB_OPEN(open64)
JOB_OPENAT(openat)
JOB_OPENAT(openat64)
JOB_FCNTL(fcntl)
JOB_FCNTL(fcntl64)
JOB_COUNTED(int, flock, "lock", (int descriptor, int how), (descriptor, how))
JOB_COUNTED(int, fstatfs, "statfs", (int descriptor, struct statfs* into), (descriptor, into))
JOB_COUNTED(int, fstatfs64, "statfs", (int descriptor, struct statfs64* into), (descriptor, into))
JOB_COUNTED(int, fsync, "sync", (int descriptor), (descriptor))
JOB_COUNTED(int, fdatasync, "sync", (int descriptor), (descriptor))
JOB_COUNTED(ssize_t, pread, "read", (int file, void* to, size_t bytes, off_t at), (file, to, bytes, at))
JOB_COUNTED(ssize_t, pread64, "read", (int file, void* to, size_t bytes, off64_t at), (file, to, bytes, at))
JOB_COUNTED(ssize_t, pwrite, "write", (int file, const void* from, size_t bytes, off_t at),
            (file, from, bytes, at))
JOB_COUNTED(ssize_t, pwrite64, "write", (int file, const void* from, size_t bytes, off64_t at),
            (file, from, bytes, at))
}
