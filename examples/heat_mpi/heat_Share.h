#pragma once

#include "heat_File.h"
#include "heat_Matrices.h"

/// What one rank has of the mesh: some of the elements, and all nodes of these.
struct heat_Share {
  std::vector<heat_Elements> blocks; // their nodes are places in `nodes`
  std::vector<int> nodes;            // 0-based nodes of the mesh, ascending
  Eigen::Matrix3Xd points;           // [3 x nodes]
  int allNodes = 0;                  // of the mesh
  std::string told;                  // how the elements were dealt out, for people; rank 0's

  int Elements() const;
};

/// Deals the elements out to the ranks, by the field `partition` where its parts go evenly to them, and else
/// in slices; reads what each rank then needs. Every rank; throws heat_Failure on all of them.
heat_Share heat_ReadShare(const heat_Team& team, const heat_File& file);
