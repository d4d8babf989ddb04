#include <H5Journal/opening/vfd_Registry.h>

#include <atomic>
#include <mutex>
#include <new>

namespace {
constinit std::mutex s_guard; // of the list and of what its members say; taken last, for moments
constinit vfd_Registered* s_first = nullptr;

// A child made by fork() finds the guard free, whatever other threads of its parent were at. No store of
// theirs counts for it.
void beginAnew() {
  new (&s_guard) std::mutex;
  s_first = nullptr;
}
constinit std::atomic<bool> s_told = false;
} // namespace

vfd_Registered::vfd_Registered(bool readOnly, bool live) : m_readOnly(readOnly), m_live(live) {
  vfd_TellForks(s_told, &beginAnew);
  const std::lock_guard lock(s_guard);
  m_next = s_first;
  s_first = this;
}

vfd_Registered::~vfd_Registered() {
  const std::lock_guard lock(s_guard);
  vfd_Registered** at = &s_first;
  while (*at != nullptr && *at != this)
    at = &(*at)->m_next;
  if (*at != nullptr) // else it is the parent process's
    *at = m_next;
}

void vfd_Registered::Has(const vfd_FileIdentity& file) {
  const std::lock_guard lock(s_guard);
  m_file = file;
}

bool vfd_Registered::InTheWay(const vfd_FileIdentity& file, bool readOnly, bool live) {
  const std::lock_guard lock(s_guard);
  for (const vfd_Registered* at = s_first; at != nullptr; at = at->m_next)
    if (at->m_file == file && !at->m_owner.Forked() && !(at->m_readOnly && readOnly) && !at->m_live && !live)
      return true;
  return false;
}
