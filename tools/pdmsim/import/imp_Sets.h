#pragma once

#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/import/imp_Names.h>
#include <pdmsim/import/imp_Store.h>
#include <pdmsim/mesh/mesh_Source.h>

#include <map>

/// Rows of a mesh variable that go together into one drawer.
struct imp_Piece {
  std::size_t entity = 0; // the block or set of the mesh whose rows they are
  std::size_t size = 0;   // number of rows
  std::vector<int> rows;  // which rows of the entity, ascending; empty: all of them
};

/// The members of one drawer and where its rows come from, piece after piece.
struct imp_Column {
  ORXSimCSetID members;
  std::string key; // of the set; "" where the drawer belongs to no set
  std::vector<imp_Piece> pieces;
  std::size_t Rows() const;
};

/// A set or block as it stands in the simulation file.
struct imp_SetOut {
  std::string key;
  std::vector<imp_Column> columns; // of a side set one for each time that an element occurs again
};

/// Writes the blocks and sets of a mesh as member sets.
class imp_Sets {
 public:
  imp_Sets(const mesh_Source& mesh, const imp_Store& store, cli_Progress& progress, ORXSimCollectionID nodes,
           ORXSimCollectionID elements, ORXSimCollectionID regions);

  /// In the order of the mesh.
  const std::vector<imp_SetOut>& Blocks() const { return m_blocks; }
  const std::vector<imp_SetOut>& Sets(mesh_SetKind kind) const {
    return m_sets[static_cast<std::size_t>(kind)];
  }
  ORXSimCSetID Region(std::size_t block) const { return m_regions[block]; }

  /// The elements of several blocks. A union that was asked for before is not stored again.
  ORXSimCSetID Elements(const std::vector<bool>& blocks);

  /// Names that gave way, and what had to be left out; for the summary.
  const std::vector<imp_Renamed>& Renamed() const { return m_renamed; }
  const std::vector<std::string>& Notes() const { return m_notes; }

 private:
  void MakeBlocks(ORXSimCollectionID regions);
  ORXSimCSetID MakeElements(const std::vector<bool>& blocks);
  void MakeKeys();
  std::vector<int> Read(const mesh_Set& set) const;
  imp_SetOut WithoutRepetitions(const mesh_Set& set, std::string key, ORXSimCollectionID collection);
  imp_SetOut Sides(const mesh_Set& set, std::string key);

  const mesh_Source& m_mesh;
  const imp_Store& m_store;
  cli_Progress& m_progress;
  ORXSimCollectionID m_elements;
  std::vector<imp_SetOut> m_blocks, m_sets[3];
  std::vector<ORXSimCSetID> m_regions;
  std::map<std::vector<bool>, ORXSimCSetID> m_unions;
  std::vector<imp_Renamed> m_renamed;
  std::vector<std::string> m_notes;
};
