#pragma once

#include <pdmsim/view/view_Output.h>

/// The geometry of a mesh in a view: points, cells, and the block of each cell.
class view_Grid {
 public:
  /// \param notes  receives what is shown otherwise than it is, one line each.
  view_Grid(const sto_Mesh& mesh, view_Output& output, std::vector<std::string>& notes)
      : m_mesh(mesh), m_output(output), m_notes(notes) {}
  /// Writes it. Every number of the connectivity is looked at: viewers do not. Throws mesh_Error or
  /// cli_Failure.
  void Write();

 private:
  /// How the elements of a block look in VTK.
  struct Cells {
    int vtk = 0;
    std::size_t nodes = 0;  // of each cell; of polygons unused
    std::vector<int> order; // of the nodes; empty: as stored
    bool polygons = false;
  };
  Cells CellsOf(const mesh_Block& block);
  void WritePoints();
  void WriteTypes();
  void ReadBlock(std::size_t block);
  void MapConnectivity();
  template <class T>
  void WriteConnectivity();
  template <class T>
  void WriteOffsets();

  const sto_Mesh& m_mesh;
  view_Output& m_output;
  std::vector<std::string>& m_notes;
  std::vector<Cells> m_cells;              // [block]
  std::vector<std::vector<int>> m_corners; // [block] of polygons: the corners of each
  std::size_t m_ids = 0;                   // numbers in the connectivity
};
