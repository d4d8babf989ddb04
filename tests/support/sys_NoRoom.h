#pragma once

#include <csignal>
#include <sys/resource.h>

/// While it lives no file of this process may grow past a size: the next commit point fails.
struct sys_NoRoom {
  explicit sys_NoRoom(rlim_t most = 1) {
    ::getrlimit(RLIMIT_FSIZE, &before);
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit none{most, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &none);
  }
  ~sys_NoRoom() { ::setrlimit(RLIMIT_FSIZE, &before); }
  sys_NoRoom(const sys_NoRoom&) = delete;
  sys_NoRoom& operator=(const sys_NoRoom&) = delete;
  rlimit before;
};
