#pragma once

#include <pdmsim/import/exodus/exo_File.h>

/// Fills an exo_File from the header of its netCDF file: dimensions, ids, names, and their checks.
class exo_Reader {
 public:
  explicit exo_Reader(exo_File& mesh) : m_mesh(mesh), m_file(mesh.m_file) {}
  void ReadAll();

 private:
  void CheckFormat() const;
  void ReadSizes();
  void ReadBlocks();
  void ReadBlock(mesh_Block& block);
  void ReadConnectivity(mesh_Block& block);
  void ReadAttributes(mesh_Block& block);
  void ReadSets(mesh_SetKind kind);
  void ReadSet(mesh_Set& set);
  void ReadMaps(const char* kind, std::vector<mesh_Map>& maps, std::vector<std::string>& variables,
                std::size_t size);
  void ReadTimes();
  void ReadVariables();
  void ReadVariables(mesh_Place place, std::vector<std::size_t> entitySizes);
  void CheckValues(const mesh_Variables& variables) const;
  void NoteTheRest();

  std::size_t Count(const std::string& dimension) const;
  std::vector<long long> Ids(const std::string& variable, std::size_t count) const;
  std::vector<std::string> Names(const std::string& variable, std::size_t count) const;
  std::vector<bool> Used(const std::string& variable, std::size_t count) const;
  /// The dimension, if the file has it, must be `size`.
  void CheckDimension(const std::string& name, std::size_t size, const std::string& of) const;

  exo_File& m_mesh;
  const exo_NetCDF& m_file;
};

/// The names under which the format keeps the sets of a kind; numbers from 1 follow the last five.
struct exo_SetNames {
  const char *count, *ids, *names, *status, *entries, *entryCount, *sides, *factors, *factorCount;
};
const exo_SetNames& exo_NamesOf(mesh_SetKind kind);

/// The same for result variables; a value variable is values<N> or values<N><entity><M>. `entities` counts
/// the blocks or sets, and rows<M> the rows of one.
struct exo_VariableNames {
  const char *count, *names, *table, *values, *entity, *entities, *rows;
};
const exo_VariableNames& exo_NamesOf(mesh_Place place);
