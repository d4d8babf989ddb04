#pragma once

#include <gbb/gbb_ObjectInterface.h>

#include <utility>

/// Objects that a rollback took from their owner. They are not in the file any more and have no place, but
/// handles on them may still be held: so they live as long as the owner, and their calls answer null values.
///
/// Threads: those of the owner.
class gbb_Removed {
 public:
  constexpr gbb_Removed() = default;
  gbb_Removed(gbb_Removed&& other) noexcept : m_last(std::exchange(other.m_last, nullptr)) {}
  gbb_Removed& operator=(gbb_Removed other) noexcept {
    std::swap(m_last, other.m_last);
    return *this;
  }
  ~gbb_Removed() {
    while (m_last != nullptr) {
      Entry* const entry = std::exchange(m_last, m_last->before);
      delete entry->object;
      delete entry;
    }
  }

  /// Takes an object over.
  void Add(gbb_ObjectInterface* object) { m_last = new Entry(object, m_last); }

 private:
  struct Entry : mem_AllocationOperatorsTiny {
    Entry(gbb_ObjectInterface* object_, Entry* before_) : object(object_), before(before_) {}
    gbb_ObjectInterface* object; // owned
    Entry* before;
  };
  Entry* m_last = nullptr; // one pointer for the many owners that never lose anything
};
