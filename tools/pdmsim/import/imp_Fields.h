#pragma once

#include <pdmsim/import/imp_Copy.h>

#include <map>

using imp_FieldMap = std::map<std::string, ORXSimDistributionID>;

/// The collections that an imported mesh is made of.
struct imp_Collections {
  ORXSimCollectionID vectors, localNodes, frames, nodes, elements, regions;
};

/// Writes the mesh's numbers as distributions, in the layout that docs/import.md describes.
class imp_Fields {
 public:
  imp_Fields(const mesh_Source& mesh, const imp_Store& store, cli_Progress& progress, imp_Sets& sets,
             const imp_Collections& collections);

  /// Everything but results: coordinates, labels, connectivity, further maps, surfaces.
  void WriteMesh();
  /// Times, result variables and distribution factors.
  void WriteResults();

  const imp_FieldMap& NodeFields() const { return m_node; }
  const imp_FieldMap& ElementFields() const { return m_element; }
  const imp_FieldMap& RegionFields() const { return m_region; }
  const imp_FieldMap& FrameFields() const { return m_frame; }
  const imp_FieldMap& MeshFields() const { return m_mesh; }
  const imp_FieldMap& Surfaces() const { return m_surfaces; }
  const imp_FieldMap& SurfaceFields() const { return m_surface; }
  const std::vector<imp_Renamed>& Renamed() const { return m_renamed; }
  const std::vector<std::string>& Notes() const { return m_notes; }

 private:
  struct Keys { // of the maps and variables that the mesh names, in its order
    std::vector<std::string> nodeMaps, elementMaps, variables[6];
  };

  void MakeKeys();
  imp_Target Target(ORXSimDistributionID distribution, int drawer);
  void WriteCoordinates();
  ORXSimDistributionID WriteNumbers(const std::string& name, ORXSimCollectionID collection, std::size_t size,
                                    const mesh_NumbersPtr& numbers);
  ORXSimDistributionID WriteIds(const std::string& name, ORXSimCollectionID collection,
                                const std::vector<long long>& ids);
  void WriteSetLabels(const char* field, const char* collection,
                      const std::map<std::string, long long>& labels);
  void WriteAllSetLabels();
  void WriteConnectivity();
  void WriteAttributes();
  void WriteSurfaces();

  void WriteTimes();
  void WriteGlobals();
  ORXSimItemType ResultType(mesh_Place place, std::size_t variable,
                            const std::vector<imp_Column>& columns) const;
  void WriteVariables(mesh_Place place, imp_FieldMap& fields);
  std::vector<imp_Column> Columns(mesh_Place place, std::size_t variable);
  void WriteFactors(mesh_SetKind kind, imp_FieldMap& fields);

  const mesh_Source& m_source;
  const imp_Store& m_store;
  cli_Progress& m_progress;
  imp_Sets& m_sets;
  const imp_Collections& m_collections;
  imp_Room m_room;
  Keys m_keys;
  imp_FieldMap m_node, m_element, m_region, m_frame, m_mesh, m_surfaces, m_surface;
  std::vector<imp_Renamed> m_renamed;
  std::vector<std::string> m_notes;
};
