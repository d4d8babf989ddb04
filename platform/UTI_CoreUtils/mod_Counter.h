#pragma once

#include <atomic>

/// Counts the initialisations of one module.
///
/// Only the first initialisation and the last finalisation do work; nested pairs only move the counter.
/// There is no guard against an unbalanced finaliser: it drives the counter below zero, and the next
/// initialiser moves it back without bringing anything up.
///
/// Threads: any, at any time.
class mod_Counter {
 public:
  constexpr mod_Counter() = default;

  /// Counts one initialisation.
  /// \param modules the caller's counter, +1 when this was the first.
  /// \return true when the module has to be brought up now.
  bool Initialize(int& modules) {
    if (m_count.fetch_add(1) != 0)
      return false;
    ++modules;
    return true;
  }

  /// Counts one finalisation.
  /// \param modules the caller's counter, -1 when this was the last.
  /// \return true when the module has to be taken down now.
  bool Finalize(int& modules) {
    if (m_count.fetch_sub(1) != 1)
      return false;
    --modules;
    return true;
  }

 private:
  std::atomic<int> m_count = 0;
};
