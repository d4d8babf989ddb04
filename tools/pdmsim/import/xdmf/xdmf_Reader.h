#pragma once

#include <pdmsim/import/xdmf/xdmf_Document.h>
#include <pdmsim/mesh/mesh_VtkCells.h>

#include <limits>

/// Reads the mesh of an XDMF file and what its grids tell of it. Nodes and cells are read at once, values
/// when they are asked for.
class xdmf_Reader {
 public:
  explicit xdmf_Reader(const std::string& path);
  /// Throws mesh_Error.
  mesh_Raw Read();

 private:
  static constexpr double kNoTime = -std::numeric_limits<double>::infinity();

  struct Grid {
    const byt_XmlNode* node;
    double time; // kNoTime: none
  };
  struct Steps {
    mesh_RawField field;
    std::map<double, xdmf_Item> items; // by time
  };

  void FindGrids(const byt_XmlNode& parent);
  void FindSteps(const byt_XmlNode& collection);
  std::vector<double> CollectionTimes(const byt_XmlNode& collection) const;
  double TimeOf(const byt_XmlNode& grid) const;
  double Real(const std::string& text) const;
  static std::string Text(double time); // " at time 0.5", "" for none
  std::uint64_t Number(const byt_XmlNode& node, const char* attribute, std::uint64_t otherwise) const;

  const byt_XmlNode* Part(const byt_XmlNode& grid, const char* name) const;
  std::vector<xdmf_Item> Items(const byt_XmlNode& node) const;
  bool AreSame(const byt_XmlNode& one, const byt_XmlNode& other) const;
  bool IsOfMesh(const Grid& grid);

  void ReadGeometry();
  void ReadTopology();
  void ReadMixed(const std::vector<int>& codes, mesh_VtkCells& cells) const;
  void ReadAttribute(const byt_XmlNode& node, double time);
  void ReadSet(const byt_XmlNode& node);
  void FinishFields(std::vector<Steps>& from, std::vector<mesh_RawField>& to, const std::vector<int>& order);
  void Note(const std::string& what);

  std::shared_ptr<const xdmf_Document> m_document;
  mesh_Raw m_raw;
  std::vector<Grid> m_grids;
  const byt_XmlNode *m_topology = nullptr, *m_geometry = nullptr;
  std::size_t m_nodes = 0, m_cells = 0; // m_cells: in the file's list
  std::vector<int> m_order;             // as mesh_AddVtkCells gives it
  std::vector<Steps> m_nodeFields, m_cellFields;
};
