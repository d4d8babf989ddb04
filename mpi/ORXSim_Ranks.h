#pragma once

#include <mpi/ORXSim_RanksExport.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>

#include <mpi.h>

#include <functional>
#include <memory>

/// The ranks of an MPI job on one simulation file. Rank 0 has the file, its objects and its journal; the
/// others help it to move bulk data. Objects are read and set on rank 0 alone, as ever.
///
///     ORXSimRanks ranks = ORXSimRanks::Open(MPI_COMM_WORLD, "plate.pdm", 0, 102, false, 1);
///     ORXSimRankUpdate update(ranks);
///     ORXSimRankTransfer transfer(ranks, displacement); // its identifier counts on rank 0
///     transfer.SetWrite();
///     transfer.SetRows(first, count);
///     transfer.SetBuffer(0, values, bytes);
///     transfer.ExecWrite();
///     update.Commit();
///
/// "Collective" means: every rank of the communicator makes the call, in the same order. The answer and
/// LastError() are then the same on every rank, and when a call answers false nothing of it counts anywhere.
/// A rank that leaves a collective call out makes the others wait in it for ever, as everywhere in MPI; so
/// does a rank that has died, until MPI ends the job.
///
/// A job in which not every rank reaches the same file (one of the same name on another disk, a file system
/// without locks, a network file system) works all the same: everything goes through rank 0 (Funnelled()).
///
/// Owned by one place: moved, never copied.
/// Threads: one at a time; MPI is called in the thread that makes the call.
class ORXSIM_MPI_API ORXSimRanks {
 public:
  /// No ranks: every collective call on it answers false.
  ORXSimRanks() noexcept;
  ORXSimRanks(ORXSimRanks&& other) noexcept;
  ORXSimRanks& operator=(ORXSimRanks&& other) noexcept;
  /// Collective where it was not closed: as Close().
  ~ORXSimRanks();

  /// Makes a simulation file on rank 0 and joins it. Collective. It appears under its name, whole, with its
  /// first commit point.
  /// The parameters after the communicator are
  /// those of ORXSimManager::CreateContext, and count on rank 0.
  /// \return no ranks on failure.
  static ORXSimRanks Create(MPI_Comm comm, const cow_String& fileName, int createFlags, int version,
                            bool reserved, int contextOption);
  /// Opens a simulation file on rank 0 and joins it. Collective. As ORXSimManager::OpenContext.
  static ORXSimRanks Open(MPI_Comm comm, const cow_String& fileName, int openFlags, int version,
                          bool reserved, int contextOption);
  /// Joins a file that rank 0 has open. Collective.
  /// \param context  rank 0's; it stays rank 0's to close, after Close(). Null on all other ranks.
  static ORXSimRanks Join(MPI_Comm comm, ORXSimContextID context);
  /// Lets go of the file on every rank, and on rank 0 closes what Create() or Open() opened. Collective;
  /// after MPI_Finalize it is not.
  /// \return false when anything was lost.
  bool Close();

  /// True when there are no ranks.
  bool operator!() const { return m_state == nullptr; }
  /// The communicator of the ranks, a duplicate of the host's; valid until Close().
  MPI_Comm Comm() const;
  int Rank() const;
  int Size() const;
  /// Rank 0's context, null on all other ranks.
  ORXSimContextID Context() const;
  /// True when all data goes through rank 0; the same on every rank.
  bool Funnelled() const;
  /// Why; "" when it does not. The same text on every rank.
  const char* FunnelCause() const;
  /// A live reader's file moves on to the newest commit point of its writer. Collective. As
  /// ORXSimManager::Refresh.
  bool Refresh();

  /// The last failure of a collective call in this thread, "FILE: OBJECT PATH: operation: cause": the same
  /// text on every rank; "" when none was. Valid until the next collective call that fails.
  static const char* LastError();

 private:
  friend class rnk_Access;
  struct State;
  static ORXSimRanks Start(MPI_Comm comm, const std::function<ORXSimContextID()>& open, bool owns);

  std::unique_ptr<State> m_state; // null: no ranks
};
