#pragma once

#include <pdmsim/mesh/mesh_Assembled.h>
#include <pdmsim/mesh/mesh_Sides.h>

/// The work of mesh_Assemble, step by step.
class mesh_Assembly {
 public:
  explicit mesh_Assembly(mesh_Raw raw);
  std::unique_ptr<mesh_Source> Make();

 private:
  struct Surface { // a group whose cells are all sides
    int group;
    std::vector<mesh_SideOf> sides;
  };

  [[noreturn]] void Fail(const std::string& what) const;
  void CheckSizes();
  void CheckNodes(const mesh_RawCells& cells) const;
  void Flatten();
  void ChooseTypes();

  void MakePointsNodes();
  void LeaveOutSides(int dimension);
  void FindSurfaces(int dimension, const std::vector<mesh_SideOf>& found);
  bool IsIn(int family, int dimension, bool surfaces) const;
  int FirstGroup(int family, int dimension) const;

  void MakeBlocks(int dimension);
  void AddBlock(int group, const mesh_Element& type, std::size_t elements, bool whole);
  std::size_t Corners(const mesh_Block& block) const; // of polygons
  void NumberBlocks();
  void MakeElementSets();
  void MakeSideSets();
  void MakeNodeSets();
  void AddSet(mesh_SetKind kind, const mesh_RawGroup& group, mesh_Assembled::Members members);
  void MakeLabels();
  void MakeVariables();
  void Note(const std::string& text, std::size_t count); // unless the count is 0
  mesh_Variables Variables(mesh_Place place, const std::vector<mesh_RawField>& fields,
                           std::vector<std::size_t> sizes) const;
  /// Calls use(cell, list, place in the list) for every cell of a dimension, -1 for all.
  template <class Use>
  void ForCells(int dimension, const Use& use) const;

  std::unique_ptr<mesh_Assembled> m_mesh;
  mesh_Raw& m_raw;
  std::vector<std::size_t>& m_starts;
  int m_highest = 0;
  std::vector<bool> m_leftOut; // [cell]
  std::vector<Surface> m_surfaces;
  std::vector<bool> m_isSurface; // [group]
  std::vector<bool> m_isBlock;   // [group]: a block is all of it
  std::vector<int> m_elementOf;  // [cell], -1 for none
  long long m_lastId = 0;        // of all blocks and groups
};
