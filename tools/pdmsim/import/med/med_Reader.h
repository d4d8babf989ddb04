#pragma once

#include <pdmsim/import/med/med_File.h>
#include <pdmsim/mesh/mesh_VtkCells.h>

#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

/// A type of cells in a MED file.
struct med_Type {
  const char* name; // as HE8
  const char* type;
  int nodes;
  std::span<const int> toOurs; // [nodes]: the file's i-th node is our toOurs[i]-th; empty: the same order
};
std::span<const med_Type> med_Types();

/// The values of a field in one of its steps, in parts: for nodes or for cells of one type.
struct med_Part {
  std::string data;                // the dataset
  std::string profile;             // the dataset of the rows, from 1; "": all
  std::size_t first = 0, rows = 0; // of the nodes or type among all
};

/// Reads the first mesh of a MED file with its families and fields. Nodes and cells are read at once, values
/// when they are asked for.
class med_Reader {
 public:
  explicit med_Reader(const std::string& path);
  /// Throws mesh_Error.
  mesh_Raw Read();

 private:
  using Families = std::map<long long, std::vector<std::string>>; // [number] names of groups
  struct FieldSteps {
    mesh_RawField field;
    std::map<double, std::vector<med_Part>> parts; // by time
    bool areLong = false;                          // all of them integers of 64 bits
  };

  void FindMesh();
  void ReadNodes();
  void ReadCells();
  void ReadType(const med_Type& type, const std::string& place);
  void ReadPolygons(const std::string& place);
  void FinishCells(const std::string& type, const std::string& place, std::size_t count);
  [[noreturn]] void FailWithType(const std::string& type, const std::string& place) const;
  Families ReadFamilies(const char* kind) const;
  void GroupNodes(const std::vector<long long>& numbers, const Families& families);
  std::vector<int> GroupCells(const std::vector<long long>& numbers, int dimension);
  int Group(int dimension, const std::string& name);

  void FindTimes();
  void ReadField(const std::string& name);
  void ReadStep(const std::string& field, const std::string& step, FieldSteps& nodes, FieldSteps& cells);
  void ReadPart(const std::string& place, double time, std::size_t first, std::size_t rows, FieldSteps& to);
  void FinishFields();
  void Note(const std::string& what);

  std::shared_ptr<const med_File> m_file;
  mesh_Raw m_raw;
  std::string m_name, m_step; // of the mesh, and the place of its numbers
  std::size_t m_nodes = 0;
  std::map<std::string, std::pair<std::size_t, std::size_t>> m_cells; // of a type: first and number among all
  std::size_t m_allCells = 0;
  bool m_byNumber = false; // steps are told by their numbers, not by their times
  Families m_cellFamilies;
  std::map<std::pair<int, long long>, int> m_familyOf;  // of dimension and number in the file
  std::map<std::pair<int, std::string>, int> m_groupOf; // of dimension and name
  std::vector<FieldSteps> m_nodeFields, m_cellFields;
};
