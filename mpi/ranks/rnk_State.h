#pragma once

#include <mpi/ORXSim_Ranks.h>
#include <mpi/agree/rnk_Agreement.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Helpers.h>

#include <string>

/// What the ranks on one file share. Private to the library.
struct ORXSimRanks::State {
  rnk_Agreement agree;     // over a communicator of our own
  ORXSimContextID context; // rank 0's
  bool owns = false;       // it is ours to close
  ORXSimHelper helper;     // of the other ranks: keeps later writers waiting for this one
  ORXSimHelper::Facts facts;
  MPI_File file = MPI_FILE_NULL; // every rank's own; MPI_FILE_NULL where all goes through rank 0
  std::string funnelCause;       // why, "" when it does not

  bool Funnelled() const { return file == MPI_FILE_NULL; }
  /// The cause of a failure of this rank: "FILE: rank N: operation: cause".
  std::string Told(const char* what, const std::string& cause) const {
    return facts.shown + ": rank " + std::to_string(agree.Rank()) + ": " + what + ": " + cause;
  }
};

/// Lets the rest of the library see what ranks share.
class rnk_Access {
 public:
  using State = ORXSimRanks::State;
  static State* Of(const ORXSimRanks& ranks) { return ranks.m_state.get(); }
  /// For a collective call: null, with the cause as the last error, where there are no ranks.
  static State* Asked(const ORXSimRanks& ranks) {
    if (Of(ranks) == nullptr)
      rnk_Agreement::SetLastError("there are no ranks on a file");
    return Of(ranks);
  }
};
using rnk_State = rnk_Access::State;
