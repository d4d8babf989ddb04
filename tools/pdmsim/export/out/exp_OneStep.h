#pragma once

#include <pdmsim/mesh/mesh_Source.h>

/// Another mesh with only one of its steps, which is step 0 here.
class exp_OneStep : public mesh_Source {
 public:
  /// \param mesh  must outlive this object.
  /// \param step  of it. Throws cli_Failure when it has no such.
  exp_OneStep(const mesh_Source& mesh, std::size_t step);
  const mesh_Source& Whole() const { return m_mesh; }
  std::size_t Step() const { return m_step; }

  mesh_NumbersPtr Coordinate(std::size_t axis) const override { return m_mesh.Coordinate(axis); }
  mesh_NumbersPtr NodeNumbers() const override { return m_mesh.NodeNumbers(); }
  mesh_NumbersPtr ElementNumbers() const override { return m_mesh.ElementNumbers(); }
  mesh_NumbersPtr NodeMap(std::size_t map) const override { return m_mesh.NodeMap(map); }
  mesh_NumbersPtr ElementMap(std::size_t map) const override { return m_mesh.ElementMap(map); }
  std::unique_ptr<mesh_Connectivity> Connectivity(const mesh_Block& block) const override {
    return m_mesh.Connectivity(block);
  }
  mesh_NumbersPtr Attributes(const mesh_Block& block) const override { return m_mesh.Attributes(block); }
  void ReadSet(const mesh_Set& set, std::size_t first, std::size_t count, int* out) const override {
    m_mesh.ReadSet(set, first, count, out);
  }
  void ReadSides(const mesh_Set& set, std::size_t first, std::size_t count, const int* elements,
                 int* out) const override {
    m_mesh.ReadSides(set, first, count, elements, out);
  }
  mesh_NumbersPtr Factors(const mesh_Set& set) const override { return m_mesh.Factors(set); }
  mesh_NumbersPtr Values(mesh_Place place, std::size_t variable, std::size_t entity,
                         std::size_t) const override {
    return m_mesh.Values(place, variable, entity, m_step);
  }

 private:
  const mesh_Source& m_mesh;
  std::size_t m_step;
};
