#pragma once

#include <pdmsim/export/exodus/exw_NetCDF.h>
#include <pdmsim/export/out/exp_Format.h>

#include <set>

/// Writes a mesh as Exodus II: everything is defined first, then written a few MiB at a time.
class exw_Writer {
 public:
  /// \param path  where to write, an existing file.
  exw_Writer(const exp_Task& task, const std::string& path);
  void Write();

 private:
  using Type = exw_NetCDF::Type;
  struct Column { // a result variable of the format
    std::size_t variable = 0, component = 0;
    std::string name;
  };

  void FindColumns(mesh_Place place);
  /// The type that holds a variable's numbers of all steps and entities.
  Type TypeOf(mesh_Place place, std::size_t variable) const;
  bool IsPresent(mesh_Place place, std::size_t entity, const Column& column) const;

  void DefineSizes();
  void DefineBlocks();
  void DefineSets(mesh_SetKind kind);
  void DefineMaps(const std::string& kind, const std::vector<mesh_Map>& maps, const std::string& size);
  void DefineNames(const std::string& variable, const std::string& dimension, std::size_t count);
  void DefineVariables(mesh_Place place);

  void WriteHeader();
  void WriteNodes();
  void WriteBlocks();
  void WritePolygons(const mesh_Block& block);
  void WriteSets(mesh_SetKind kind);
  void WriteIds(const std::string& variable, const std::vector<long long>& ids);
  void WriteNumbers(const std::string& variable, const mesh_NumbersPtr& numbers);
  void WriteTables(mesh_Place place);
  void WriteGlobals(std::size_t step);
  void WriteStep(mesh_Place place, std::size_t step);
  /// \param name, step  the variable and its row, to which the column's numbers go.
  void WriteColumn(const mesh_Numbers& numbers, std::size_t component, const std::string& name,
                   std::size_t step);

  const exp_Task& m_task;
  const mesh_Source& m_mesh;
  std::vector<double> m_times;
  std::vector<Column> m_columns[mesh_kPlaces];
  std::size_t m_nameWidth = 33;
  bool m_longIds = false, m_longMaps = false;
  exw_NetCDF m_file;
};

/// The ids of blocks or sets as they are written: an id that another has before is a new one.
template <class List>
std::vector<long long> exw_Ids(const List& list) {
  std::set<long long> taken, given;
  for (const auto& one : list)
    taken.insert(one.id);
  std::vector<long long> ids;
  for (const auto& one : list) {
    long long id = one.id;
    if (!given.insert(id).second)
      for (id = 1; !taken.insert(id).second;)
        ++id;
    ids.push_back(id);
  }
  return ids;
}

/// The times of the steps that are written: a mesh without steps has one at 0 where a field needs it.
std::vector<double> exw_Times(const mesh_Source& mesh);
