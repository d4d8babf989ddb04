#pragma once

#include <pdmsim/mesh/mesh_Source.h>

#include <PDM_Core.h>

#include <map>

/// The mesh of a simulation file, in the layout that docs/import.md describes, as a mesh source again. What a
/// host program has stored otherwise is kept as far as it goes, and named in Notes() where it does not.
///
/// A block is a drawer of `elementFields/connectivity`. Where the elements of the blocks do not follow each
/// other in the file, they are handed out block by block all the same: Item() has the file's own numbers.
class sto_Mesh : public mesh_Source {
 public:
  /// Reads the lists. Throws mesh_Error.
  /// \param mesh  must outlive this object, and its file be open as long.
  sto_Mesh(std::string file, const msfD_Mesh& mesh);

  /// The 0-based item of the file's collection of elements that an element is.
  int Item(std::size_t element) const {
    return m_items.empty() ? static_cast<int>(element) : m_items[element];
  }
  /// True when elements have the numbers of the file's items.
  bool HasOwnOrder() const { return m_items.empty(); }

  /// Where the rows of a variable are that mesh_Source::Values hands out.
  struct Rows {
    ORXSimDistributionID distribution;
    int drawer = 0;
    std::size_t first = 0, count = 0;
    std::vector<int> order; // rows of the drawer; empty: from `first` on
  };
  /// The parts of one entity's values at one step, one after the other.
  std::vector<Rows> RowsOf(mesh_Place place, std::size_t variable, std::size_t entity,
                           std::size_t step) const;
  ORXSimDistributionID CoordinateField() const { return m_coordinates; }
  ORXSimDistributionID NodeNumberField() const { return m_nodeLabels; } // null: none
  ORXSimDistributionID ElementNumberField() const { return m_elementLabels; }
  ORXSimDistributionID NodeMapField(std::size_t map) const { return m_nodeMapFields[map]; }
  ORXSimDistributionID ElementMapField(std::size_t map) const { return m_elementMapFields[map]; }
  /// Where the rows of a field with one row an element are, in the order of the elements.
  std::vector<Rows> ElementRows(ORXSimDistributionID field) const {
    return {{field, 0, 0, m_elements, m_items}};
  }
  ORXSimDistributionID ConnectivityField() const { return m_connectivity; } // drawer k is block k

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
  using FieldMap = kda_MapString<ORXSimDistributionID>;
  using SetMap = kda_MapString<ORXSimCSetID>;
  struct StoredBlock {
    ORXSimCSetID members;
    std::vector<int> rows; // of the connectivity drawer, where the elements are handed out otherwise
    int attributeDrawer = -1;
  };
  struct Part { // of a set: a drawer of a surface, or the whole
    ORXSimCSetID members;
    int drawer = -1, factorDrawer = -1;
    std::size_t size = 0;
  };
  struct StoredSet {
    ORXSimDistributionID surface;
    std::vector<Part> parts;
  };
  struct Field {
    ORXSimDistributionID id;
    int columns = 0;                         // drawers of one step
    std::vector<std::vector<Rows>> entities; // [entity] its parts at step 0; none: absent
  };

  [[noreturn]] void Fail(const std::string& what) const;
  std::vector<int> Members(ORXSimCSetID set) const;
  std::vector<ORXSimPersistentDrawerDesc> Drawers(ORXSimDistributionID id) const;
  std::map<std::string, long long> Labels(const char* field, const std::vector<std::string>& keys) const;

  void ReadNodes();
  void ReadBlocks();
  void NameBlocks();
  void CountElements();
  std::size_t Corners(const mesh_Block& block) const;
  void OrderElements();
  void ReadSets();
  void AddSets(mesh_SetKind kind, const SetMap& sets, const char* label);
  void AddSurfaces();
  void FindFactors(mesh_SetKind kind, const FieldMap& fields);
  void ReadTimes();
  void ReadFields();
  void AddField(const std::string& name, ORXSimDistributionID id, const std::vector<mesh_Place>& places);
  /// A field that has no drawer yet.
  void AddEmptyField(const std::string& name, ORXSimDistributionID id, mesh_Place place);
  bool IsSet(mesh_SetKind kind, const std::string& name) const;
  int Columns(const std::vector<ORXSimPersistentDrawerDesc>& drawers, bool& constant) const;
  bool AddVariable(mesh_Place place, const std::string& name, ORXSimDistributionID id,
                   const std::vector<ORXSimPersistentDrawerDesc>& drawers, int columns, bool constant);
  bool PlaceColumn(mesh_Place place, Field& field, int column,
                   const ORXSimPersistentDrawerDesc& drawer) const;
  bool PlaceOnBlocks(Field& field, int column, const ORXSimPersistentDrawerDesc& drawer) const;
  std::vector<std::size_t> EntitySizes(mesh_Place place) const;

  msfD_Mesh m_mesh;
  ORXSimDistributionID m_coordinates, m_connectivity, m_nodeLabels, m_elementLabels, m_attributes;
  std::vector<StoredBlock> m_storedBlocks;
  std::vector<StoredSet> m_storedSets[3];
  std::vector<ORXSimDistributionID> m_nodeMapFields, m_elementMapFields;
  std::vector<Field> m_fields[mesh_kPlaces]; // as the variables of each place
  std::vector<int> m_items;                  // [element] the file's item; empty: the same
  std::vector<int> m_places;                 // [item] the element, -1 for none; empty: the same
};
