#pragma once

#include "heat_Team.h"

#include <mpi/ORXSim_RankTransfer.h>

#include <pdm/pdm.hpp>

#include <span>

/// One drawer of a field, which all ranks read or write together. All but its number counts on rank 0.
struct heat_Drawer {
  ORXSimDistributionID field;
  ORXSimCSetID members;
  int number = 0;
};

/// The simulation file. Rank 0 has its objects; all ranks move rows of its drawers.
class heat_File {
 public:
  /// Opens it for writing. Every rank; throws heat_Failure on all of them.
  heat_File(const heat_Team& team, const std::string& name);

  const ORXSimRanks& Ranks() const { return m_ranks; }
  /// On rank 0.
  const pdm::Mesh& Mesh() const { return m_mesh; }

  /// Every rank reads the rows that it wants. Throws heat_Failure on all ranks.
  /// \param rows    of this rank, 0-based.
  /// \param values  [rows][components] receives them.
  void Read(const heat_Drawer& drawer, const std::vector<int>& rows, std::span<int> values) const;
  void Read(const heat_Drawer& drawer, const std::vector<int>& rows, std::span<double> values) const;
  /// Every rank writes its rows, which together are all. Throws heat_Failure on all ranks.
  void Write(const heat_Drawer& drawer, const std::vector<int>& rows, std::span<const double> values) const;

 private:
  ORXSimRankTransfer Transfer(const heat_Drawer& drawer, const std::vector<int>& rows,
                              ORXSimItemType type) const;

  pdm::Sim m_sim; // rank 0's; closed after the ranks have let go of it
  pdm::Mesh m_mesh;
  ORXSimRanks m_ranks;
};
