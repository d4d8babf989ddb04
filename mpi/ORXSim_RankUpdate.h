#pragma once

#include <mpi/ORXSim_Ranks.h>

#include <memory>

/// Joins the writes of its lifetime, of all ranks, into one commit point: all ranks enter it and leave it
/// with one outcome. On rank 0 it is an ORXSimUpdate, with what that promises; scopes nest as those do.
///
/// Entering and leaving it are collective. Left without a successful Commit() it takes back what was written
/// in it, as soon as rank 0 leaves it.
///
/// Threads: that of the ranks.
class ORXSIM_MPI_API ORXSimRankUpdate {
 public:
  /// Enters a scope.
  /// \param ranks  outlive it.
  explicit ORXSimRankUpdate(const ORXSimRanks& ranks);
  ORXSimRankUpdate(const ORXSimRankUpdate&) = delete;
  ORXSimRankUpdate& operator=(const ORXSimRankUpdate&) = delete;
  ~ORXSimRankUpdate();

  /// Ends the scope; the outermost one makes the commit point. Collective: rank 0 makes it when every rank
  /// has come here, so that a rank that has died before is missed, not forgotten.
  /// \param mine  false on a rank that does not want it: then nothing is committed, and the scope is rolled
  ///     back on all.
  /// \return true when the commit point is made, the same on every rank. When making it failed the scope is
  ///     still open, and may be committed again, rolled back or left.
  bool Commit(bool mine = true);
  /// Ends the scope and takes back everything since the last commit point. Collective.
  /// \return false when there is no journal, or the file cannot be opened again.
  bool Rollback();

 private:
  const ORXSimRanks* m_ranks;
  std::unique_ptr<ORXSimUpdate> m_update; // on rank 0, while the scope is open
};
