#pragma once

#include <csignal>
#include <sys/resource.h>

/// While it lives no file of this process may grow: the next commit point fails.
struct sys_NoRoom {
  sys_NoRoom() {
    ::getrlimit(RLIMIT_FSIZE, &before);
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit none{1, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &none);
  }
  ~sys_NoRoom() { ::setrlimit(RLIMIT_FSIZE, &before); }
  sys_NoRoom(const sys_NoRoom&) = delete;
  sys_NoRoom& operator=(const sys_NoRoom&) = delete;
  rlimit before;
};
