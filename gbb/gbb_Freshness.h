#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <kda/kda_Export.h>

#include <cstdint>

class gbb_Path;

/// Whether what somebody keeps of a file is still what the file says.
///
/// A rollback and a refresh close and open a file below everything that is held. Who keeps something of a
/// file has one of these, and asks it before each use:
///
///     if (!m_freshness.Holds()) [[unlikely]]
///       LookAgain();
///
/// Threads: those of the object that has it.
class PDM_CORE_API gbb_Freshness {
 public:
  /// What a look finds.
  enum Answer {
    kSame,  ///< as before
    kMoved, ///< the file may say something else; what was kept of it is void
    kGone,  ///< the object is not in the file any more, now and for ever
    kUnread ///< void, and whether the object is there could not be read: the next use looks again
  };

  /// True while no file at all was rolled back or refreshed since the last look. Costs one load.
  bool Holds() const { return m_seen == ORXSimManager::Epochs(); }
  /// What is kept is what the file says now.
  void Keep() { m_seen = ORXSimManager::Epochs(); }
  /// What is kept is what the file was when Epochs() had that number: a bind takes it before its first write,
  /// so that what a part of it took back is not missed.
  void KeepOf(std::uint64_t epochs) { m_seen = epochs; }
  /// What is kept is not known to be what the file says: the next use looks.
  void Doubt() { m_seen = 0; }
  /// True between Doubt() and the look that ends it, and for ever after kGone.
  bool Doubtful() const { return m_seen == 0; }

  /// Looks whether the file of an object has moved, and the object with it. For the rare case that Holds()
  /// is false: it walks up the path and may ask the file.
  /// \param path  where the object sits; below a place without a root nothing is known, nor decided.
  /// \param place  the group that must be there for the object to be; an empty one is not asked for.
  Answer Look(const gbb_Path& path, const hdf_Group& place);
  /// As above for what owns its file, and so is there for as long as it.
  Answer Look(ORXSimContextID context);

  /// Another number after each look that found a change; 0 before the first. Who depends on the object
  /// compares it with the one of its own last look.
  std::uint64_t Change() const { return m_change; }

 private:
  std::uint64_t m_seen = ORXSimManager::Epochs(); // at the last look; 0 in doubt
  std::uint64_t m_change = 0;                     // at the last look that found one
  bool m_gone = false;
};
