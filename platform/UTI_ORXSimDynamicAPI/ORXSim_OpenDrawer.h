#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Drawer.h>

#include <memory>

/// One drawer of a distribution that stays open, so that moving its rows piece by piece costs what the pieces
/// cost: ORXSimDistributionRef::OpenDrawer makes it.
///
/// What its calls promise of rows, buffers, checksums and commit points is what ReadItems and WriteItems of
/// the distribution promise. It may be used beside them and beside other open drawers: each sees what the
/// others have written. After a rollback or a refresh it finds its drawer again when it is next used; when
/// there is none of that number any more, or one of another type or shape, its calls are refused.
///
/// Owned by one place: moved, never copied. It may outlive its context; then, and when it is empty, its calls
/// answer false and leave the cause in ORXSimManager::LastError().
/// Threads: that of the file.
class ORXSIM_API ORXSimOpenDrawer {
 public:
  /// An empty one.
  ORXSimOpenDrawer() noexcept;
  ORXSimOpenDrawer(ORXSimOpenDrawer&& other) noexcept;
  ORXSimOpenDrawer& operator=(ORXSimOpenDrawer&& other) noexcept;
  ~ORXSimOpenDrawer();

  /// True when no drawer was opened.
  bool operator!() const { return m_state == nullptr; }
  /// Type of the numbers, kDouble when empty.
  ORXSimItemType Type() const;
  /// Numbers a row, 0 when empty.
  int Components() const;
  /// Rows, 0 when empty.
  int Items() const;
  /// Rows that have one checksum, 1 or more. Pieces that begin and end at a multiple of it, or at the
  /// drawer's end, cost least: nothing but their own rows is moved.
  int BlockRows() const;

  /// Reads rows as ORXSimDistributionRef::ReadItems does.
  /// \param first  0-based row.
  /// \param count  number of rows.
  /// \param buffer receives count x Components() numbers.
  /// \param bytes  its size, which must be exactly that.
  /// \return false on failure; the buffer's content is undefined then.
  bool Read(int first, int count, void* buffer, std::int64_t bytes) const;
  /// Writes rows as ORXSimDistributionRef::WriteItems does: a commit point, unless an update scope is open.
  /// \param first  0-based row.
  /// \param count  number of rows.
  /// \param buffer count x Components() numbers.
  /// \param bytes  its size, which must be exactly that.
  /// \return false on failure.
  bool Write(int first, int count, const void* buffer, std::int64_t bytes) const;

 private:
  friend class ORXSimDistributionRef;
  struct State;

  std::unique_ptr<State> m_state; // null: empty
};
