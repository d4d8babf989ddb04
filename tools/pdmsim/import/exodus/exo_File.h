#pragma once

#include <pdmsim/import/exodus/exo_Series.h>
#include <pdmsim/mesh/mesh_Source.h>

/// An Exodus II mesh, open for reading.
///
/// Opening reads the names, ids and counts and checks that they agree; numbers of nodes, elements and steps
/// are checked when they are read.
class exo_File : public mesh_Source {
 public:
  explicit exo_File(const std::string& path);

  const std::string& Title() const { return m_title; }
  const exo_NetCDF& File() const { return m_file; }

  mesh_NumbersPtr Coordinate(std::size_t axis) const override;
  mesh_NumbersPtr NodeNumbers() const override;
  mesh_NumbersPtr ElementNumbers() const override;
  mesh_NumbersPtr NodeMap(std::size_t map) const override;
  mesh_NumbersPtr ElementMap(std::size_t map) const override;
  std::unique_ptr<mesh_Connectivity> Connectivity(const mesh_Block& block) const override;
  mesh_NumbersPtr Attributes(const mesh_Block& block) const override;
  void ReadSet(const mesh_Set& set, std::size_t first, std::size_t count, int* out) const override;
  void ReadSides(const mesh_Set& set, std::size_t first, std::size_t count, const int* elements,
                 int* out) const override;
  mesh_NumbersPtr Factors(const mesh_Set& set) const override;
  mesh_NumbersPtr Values(mesh_Place place, std::size_t variable, std::size_t entity,
                         std::size_t step) const override;

 private:
  friend class exo_Reader;
  exo_NetCDF m_file;
  std::string m_title;
  std::vector<std::string> m_nodeMapVariables, m_elementMapVariables; // of each map
};
