#include <H5Journal/files/vfd_Rules.h>

#ifdef PDM_BREAKABLE
#include <cstdlib>
#include <cstring>

bool vfd_Broken(vfd_Rule rule) {
  static constexpr const char* kNames[] = {"commit-sync",   "checkpoint-sync", "directory-sync",
                                           "header-sync",   "direct-sync",     "apply-first",
                                           "floor",         "checksum",        "direct-everywhere",
                                           "recovery-sync", "mark-sync",       "mark-first",
                                           "reserve",       "reuse",           "verify",
                                           "spare",         "lend-beyond",     "helpers-lock",
                                           "loan",          "edges",           "patches"};
  static const char* const broken = std::getenv("PDM_BREAK");
  return broken != nullptr && std::strcmp(broken, kNames[static_cast<int>(rule)]) == 0;
}
#endif
