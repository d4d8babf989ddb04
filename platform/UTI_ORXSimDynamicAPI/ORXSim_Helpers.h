#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Drawer.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// \file
/// For several processes that move the bulk data of one file together: one has the context, the others help.
/// Nothing here speaks to another process; PDM_Core_mpi does that for the ranks of an MPI job.
///
/// Writing: the one with the context lends a drawer's space (ORXSimDrawerLoan), tells the others its place,
/// they write whole pages of it straight into the file and tell the checksums of what they wrote, and the
/// loan ends with these. Reading: the one with the context tells the drawer's place and what the file alone
/// does not show (ORXSimDrawerPlace::Look, ForEachPatch).

/// Where a drawer lies in its file.
/// Threads: a value; each thread uses values of its own.
struct ORXSIM_API ORXSimDrawerPlace {
  static constexpr std::int64_t kPage = 4096; ///< bytes of a page, which begin at multiples of it

  std::int64_t offset = 0; ///< of row 0 in the file, in bytes; the rows follow each other without gaps
  std::int64_t rowBytes = 0;
  int rows = 0, components = 0;
  int blockRows = 1; ///< rows of one checksum: block k has the rows from k x blockRows on
  ORXSimItemType type = ORXSimItemType::kDouble;
  bool direct = false;  ///< helpers may reach it; else all of it goes through the one with the context
  bool patched = false; ///< of one that was looked up: the file alone does not show all of it
  bool kept = false;    ///< the drawer keeps checksums
  /// In bytes of the file: what helpers write of a drawer on loan. They never touch the rest.
  std::int64_t lentFirst = 0, lentEnd = 0;

  int Blocks() const { return rows == 0 ? 0 : (rows - 1) / blockRows + 1; }
  std::int64_t Bytes() const { return rows * rowBytes; }

  /// Looks up a drawer for reading. The place holds until something is written to the file.
  /// \param sums  becomes the checksums, one for each block; empty where none are kept.
  /// \return false on failure.
  static bool Look(ORXSimDistributionID distribution, int drawer, ORXSimDrawerPlace& place,
                   std::vector<std::uint64_t>& sums);
  /// Tells the pages between two offsets that the file alone does not show, in their order.
  /// \param take  is given the offset of a page and its kPage bytes; false ends it.
  /// \return false on failure.
  static bool ForEachPatch(ORXSimContextID context, std::int64_t first, std::int64_t end,
                           const std::function<bool(std::int64_t offset, const unsigned char* page)>& take);
  /// The checksum of one block's bytes.
  static std::uint64_t SumOf(const void* bytes, std::size_t count);
};

/// A drawer whose rows other processes write. While it lasts nothing is committed, rolled back or closed;
/// what it writes becomes permanent with the update scope around it, which must be open.
///
/// Owned by one place: moved, never copied. One that is left without End() bars the context as a failed
/// write. Threads: that of the file.
class ORXSIM_API ORXSimDrawerLoan {
 public:
  /// An empty one.
  ORXSimDrawerLoan() noexcept;
  ORXSimDrawerLoan(ORXSimDrawerLoan&& other) noexcept;
  ORXSimDrawerLoan& operator=(ORXSimDrawerLoan&& other) noexcept;
  ~ORXSimDrawerLoan();

  /// Lends all rows of a drawer; what it held is given up. A drawer that has been written before gets new
  /// space.
  /// \param place  becomes where it lies. `direct` is false where nothing could be lent, which is no failure:
  ///     drawers that are chunked, deflated, small or have two names.
  /// \return false on failure, with the cause in ORXSimManager::LastError().
  /// \param toOthers  false: nobody helps, this process writes all of it by Put().
  bool Begin(ORXSimDistributionID distribution, int drawer, ORXSimDrawerPlace& place, bool toOthers = true);
  /// Writes bytes of the drawer that helpers do not write.
  /// \param offset  in the file.
  bool Put(std::int64_t offset, const void* bytes, std::int64_t count);
  /// Ends the loan: every row is written.
  /// \param sums  the checksums, one for each block.
  /// \return false on failure; the context is barred then.
  bool End(const std::vector<std::uint64_t>& sums);
  /// Ends the loan: not all rows were written. The context is barred.
  /// \param why  what LastError() tells.
  void GiveUp(const std::string& why);

 private:
  struct State;

  std::unique_ptr<State> m_state; // null: empty
};

/// One helper's part in a file that another process has open.
///
/// Owned by one place: moved, never copied.
/// Threads: one at a time.
class ORXSIM_API ORXSimHelper {
 public:
  /// An empty one.
  ORXSimHelper() noexcept;
  ORXSimHelper(ORXSimHelper&& other) noexcept;
  ORXSimHelper& operator=(ORXSimHelper&& other) noexcept;
  ~ORXSimHelper();

  /// What a helper must know, in bytes that may be sent to it; "" on failure.
  static std::string Tell(ORXSimContextID context);
  /// What was told of the file.
  struct Facts {
    std::string name;      ///< where it is at the moment
    std::string shown;     ///< as the one with the context calls it, in errors
    bool readOnly = false; ///< nobody writes
    bool syncs = false;    ///< what is written goes to the disk before it is said to be written
  };
  static Facts FactsOf(const std::string& told);
  /// Opens the file as a helper: as long as this lives, no other process than the one that told may write
  /// into it.
  /// \param told  by the process with the context.
  /// \param number  of the helper; whoever has to wait for it is told.
  /// \param cause  becomes why not: no file, another one of that name, a network file system, no locks.
  bool Open(const std::string& told, int number, std::string& cause);
  void Close();

 private:
  struct State;

  std::unique_ptr<State> m_state; // null: empty
};
