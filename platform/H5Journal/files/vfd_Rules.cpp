#include <H5Journal/files/vfd_Rules.h>

#ifdef PDM_BREAKABLE
#include <cstdlib>
#include <cstring>

bool vfd_Broken(vfd_Rule rule) {
  static constexpr const char* kNames[] = {
      "commit-sync", "checkpoint-sync", "directory-sync", "header-sync",       "direct-sync",
      "apply-first", "floor",           "checksum",       "direct-everywhere", "recovery-sync"};
  static const char* const broken = std::getenv("PDM_BREAK");
  return broken != nullptr && std::strcmp(broken, kNames[static_cast<int>(rule)]) == 0;
}

std::uint64_t vfd_Limit(const char* variable, std::uint64_t ordinary) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? ordinary : std::strtoull(text, nullptr, 10);
}
#endif
