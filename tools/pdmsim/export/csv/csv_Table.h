#pragma once

#include <pdmsim/export/out/exp_Format.h>
#include <pdmsim/export/out/exp_Stream.h>

/// A field of a mesh.
struct csv_Field {
  enum class What { kCoordinates, kMap, kVariable } what = What::kCoordinates;
  mesh_Place place = mesh_Place::kNodes; // of a map: the nodes or the blocks
  std::size_t index = 0;                 // of the map or the variable
};

/// Writes one field as comma-separated values.
class csv_Table {
 public:
  /// \param written  where the bytes go, an existing file.
  csv_Table(const exp_Task& task, const csv_Field& field, const std::string& written);
  void Write();

 private:
  void WriteHeader();
  void WriteCoordinates();
  void WriteMap();
  void WriteGlobal(std::size_t step);
  void WriteEntity(std::size_t entity, std::size_t step);
  /// What stands before the numbers of a row.
  void BeginRow(std::size_t row, std::size_t step);
  /// The numbers of the entity's rows, for BeginRow.
  void ReadItems(std::size_t entity);
  bool HasSteps() const;
  /// How many rows the nodes, a block or a set have.
  std::size_t RowsOf(std::size_t entity) const { return m_mesh.Variables(m_field.place).entitySizes[entity]; }

  const exp_Task& m_task;
  const mesh_Source& m_mesh;
  csv_Field m_field;
  exp_Stream m_out;
  mesh_NumbersPtr m_labels;            // null: 1, 2, 3...
  std::vector<long long> m_itemLabels; // [row] of the entity at hand
  std::vector<int> m_sides;            // [row], of a side set
  std::string m_group;                 // the entity's name
};
