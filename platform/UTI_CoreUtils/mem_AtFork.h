#pragma once

#include <UTI_CoreUtils/UTI_CoreUtils_Export.h>

#include <atomic>
#include <pthread.h>

/// What is to be done at a fork(). The system is told once, by the module's initialiser or at first use,
/// since nothing runs as the library is loaded; before a lock is taken that a child must find free. There is
/// no lock or guard here that a child could find taken: two threads at once may tell the handlers twice, so
/// these must bear being called twice.
/// Threads: any number at once.
class mem_AtFork {
 public:
  using Handler = void (*)();
  /// \param prepare  called before; may be null.
  /// \param parent   called in the parent afterwards; may be null.
  /// \param child    called in the child first of all; may be null.
  constexpr mem_AtFork(Handler prepare, Handler parent, Handler child)
      : m_prepare(prepare), m_parent(parent), m_child(child) {}

  void Tell() noexcept {
    if (m_told.load(std::memory_order_acquire)) [[likely]]
      return;
    ::pthread_atfork(m_prepare, m_parent, m_child);
    m_told.store(true, std::memory_order_release);
  }

 private:
  Handler m_prepare, m_parent, m_child;
  std::atomic<bool> m_told = false;
};

/// For the module's initialiser: the allocator's and the error stream's.
void mem_TellForks() noexcept;
void err_TellForks() noexcept;
