#pragma once

#include <pdmsim/mesh/mesh_Raw.h>

/// What mesh_Assemble makes: the arrays of a mesh_Raw and the order in which its cells are elements.
class mesh_Assembled : public mesh_Source {
 public:
  explicit mesh_Assembled(mesh_Raw raw);

  mesh_NumbersPtr Coordinate(std::size_t axis) const override;
  mesh_NumbersPtr NodeNumbers() const override;
  mesh_NumbersPtr ElementNumbers() const override;
  mesh_NumbersPtr NodeMap(std::size_t) const override { return nullptr; }
  mesh_NumbersPtr ElementMap(std::size_t) const override { return nullptr; }
  std::unique_ptr<mesh_Connectivity> Connectivity(const mesh_Block& block) const override;
  mesh_NumbersPtr Attributes(const mesh_Block&) const override { return nullptr; }
  void ReadSet(const mesh_Set& set, std::size_t first, std::size_t count, int* out) const override;
  void ReadSides(const mesh_Set& set, std::size_t first, std::size_t count, const int* elements,
                 int* out) const override;
  mesh_NumbersPtr Factors(const mesh_Set&) const override { return nullptr; }
  mesh_NumbersPtr Values(mesh_Place place, std::size_t variable, std::size_t entity,
                         std::size_t step) const override;

 private:
  friend class mesh_Assembly;
  struct Members { // of a set
    std::vector<int> items, sides;
  };

  mesh_Raw m_raw;
  std::vector<std::size_t> m_starts;       // [raw.cells] place of its first cell among all, and the end
  std::vector<int> m_cells;                // [element] place of its cell among all
  std::vector<long long> m_elementNumbers; // [element]; empty: none
  std::vector<Members> m_members[3];       // [kind][set]
  template <class T>
  std::shared_ptr<const std::vector<T>> Read(const mesh_RawField& field,
                                             const std::function<std::vector<T>(std::size_t)>& read,
                                             std::size_t rows, std::size_t step) const;

  // The field that was read last, as integers or reals: entities ask one after the other.
  mutable std::shared_ptr<const void> m_values;
  mutable const mesh_RawField* m_valuesOf = nullptr;
  mutable std::size_t m_valuesStep = 0;
};
