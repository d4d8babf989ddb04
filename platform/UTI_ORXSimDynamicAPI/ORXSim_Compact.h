#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>

#include <cstdint>
#include <functional>
#include <set>
#include <string>

/// Copies the content of a file into an empty new one, which then has no unused space: groups, attributes and
/// datasets with their types, shapes, layouts and compression, under their names. Data that was never written
/// stays so. Hard links are all that it copies; a file with links of other kinds, with references, or with
/// data of variable length (one text as an attribute excepted) is refused.
/// Threads: one at a time for everything of one context; contexts of other threads are not in the way.
class ORXSIM_API ORXSimCompact {
 public:
  /// \param moved is told the bytes of data that were copied or compared; what it throws ends the work.
  explicit ORXSimCompact(ORXSimContextID from, std::function<void(std::uint64_t)> moved = {});

  /// Copies all but these objects and what is below them, as "/store/distributions/7". Numbers of others stay
  /// as they are, so that identifiers lead where they did. The caller sees to it that nothing names them.
  /// \param paths  of groups or datasets; those that are not there mean nothing.
  void LeaveOut(std::set<std::string> paths) { m_leftOut = std::move(paths); }
  /// One update; commits at its end.
  /// \param to a context made just now; attributes that its root group has already stay as they are.
  /// \return false with the cause in ORXSimManager::LastError().
  bool Copy(ORXSimContextID to);
  /// Holds every group, attribute and byte of data of the file and its copy, committed or not, against each
  /// other, but for what was left out.
  /// \return false when they differ or cannot be read, with the place and cause in LastError().
  bool Compare(ORXSimContextID copy);

 private:
  ORXSimContextID m_from;
  std::function<void(std::uint64_t)> m_moved;
  std::set<std::string> m_own; // attributes that the new file had of itself
  std::set<std::string> m_leftOut;
};
