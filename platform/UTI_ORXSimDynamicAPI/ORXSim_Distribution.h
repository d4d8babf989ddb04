#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Array.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Drawer.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_MappedDrawer.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_OpenDrawer.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Verification.h>

/// A distribution of a simulation file: numbers over member sets, in one or more drawers. Drawer k has the
/// number k, from 0.
///
/// Calls on a null or unknown identifier or drawer, or one whose context is closed, answer false, "", 0 or
/// null and leave the cause in ORXSimManager::LastError(). Data goes straight between the caller's buffer
/// and the file, as rows of components in the drawer's own type.
/// Threads: one at a time for everything of one context; contexts of other threads are not in the way.
class ORXSIM_API ORXSimDistributionRef {
 public:
  explicit ORXSimDistributionRef(ORXSimDistributionID id) : m_id(id) {}

  /// Makes a distribution with its drawers; their data is undefined until it is written. One commit point.
  /// \param name, unit for people; may be empty.
  /// \param drawers [n] what to make; n may be 0.
  /// \return null on failure; a failed call leaves no distribution behind.
  static ORXSimDistributionID Create(ORXSimContextID context, const cow_String& name, const cow_String& unit,
                                     const ORXSimDrawerDescription* drawers, int n);

  ORXSimDistributionID ID() const { return m_id; }
  bool Exists() const;
  cow_String Name() const;
  cow_String Unit() const;

  /// Number of drawers; reads no drawer.
  int NumDrawers() const;
  /// Adds a drawer; one commit point.
  /// \return its number, -1 on failure.
  int AddDrawer(const ORXSimDrawerDescription& description) const;
  /// Fills the first min(drawers.Size(), NumDrawers()) elements; the others stay. Reads no data.
  bool QueryDrawers(ORXSimArray<ORXSimPersistentDrawerDesc>& drawers) const;
  /// Describes one drawer; a description of nothing on failure.
  ORXSimPersistentDrawerDesc Drawer(int drawer) const;
  /// Rows of a drawer.
  int DataSizeItems(int drawer) const;

  /// Reads rows [first, first + count) of a drawer and checks them: every drawer keeps a checksum for each
  /// block of its rows (64 KiB, or 1/4096 of the drawer where that is more, in whole rows and chunks).
  /// Drawers without checksums, of older versions and other writers, are read unchecked.
  /// \param buffer receives count x components numbers.
  /// \param bytes its size, which must be exactly that.
  /// \return false when a block does not match; LastError() names it and the buffer's content is undefined.
  /// Cost: of the blocks that the rows lie in.
  bool ReadItems(int drawer, int first, int count, void* buffer, std::int64_t bytes) const;
  /// Writes rows [first, first + count) of a drawer; a commit point, so write blocks inside an update scope.
  /// The rest of a block that is written for the first time becomes zero; a block that is only written in
  /// part and no longer matches its checksum is refused, and nothing is written.
  bool WriteItems(int drawer, int first, int count, const void* buffer, std::int64_t bytes) const;
  /// Opens a drawer for moving its rows in several pieces, each of which then opens nothing.
  /// \param drawer its number.
  /// \return an empty one on failure.
  ORXSimOpenDrawer OpenDrawer(int drawer) const;
  /// Maps a drawer into memory instead of copying it: for a file that nobody writes to, and a drawer that is
  /// stored as it is (neither chunked nor deflated, and little-endian).
  /// \param drawer  its number.
  /// \return an empty one on failure; the drawer may then be read all the same.
  ORXSimMappedDrawer MapDrawer(int drawer) const;
  /// Where other programs find a drawer in the file: the path of its dataset, [rows] or [rows][components].
  /// They see what the file itself holds, without what a journal beside it has, and unchecked.
  /// \param drawer  its number.
  /// \return "" on failure, and for a file that is open live or for writing: its content may not stand in it.
  cow_String DatasetPath(int drawer) const;
  /// Holds a whole drawer against its checksums. Memory: 256 KiB, or one block where that is larger.
  ORXSimVerification Verify(int drawer) const;

 private:
  ORXSimDistributionID m_id;
};
