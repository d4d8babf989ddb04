#pragma once

#include <pdmsim/import/exodus/exo_File.h>

#include <optional>

/// The connectivity of one block of an Exodus II mesh.
class exo_Connectivity : public mesh_Connectivity {
 public:
  exo_Connectivity(const exo_File& file, const mesh_Block& block);
  std::size_t Width() const override { return m_width; }
  void Next(std::size_t count, int* out) override;

 private:
  void NextPolygons(std::size_t count, int* out);
  void CheckNodes(const exo_Array& array, int* nodes, std::size_t count) const;

  const exo_File& m_file;
  const mesh_Block& m_block;
  std::optional<exo_Series> m_nodes, m_corners;
  std::size_t m_width = 0, m_element = 0, m_corner = 0; // the next element, and its first corner
};
