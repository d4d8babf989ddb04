#pragma once

#include <pdmsim/export/gmsh/gmsh_Elements.h>
#include <pdmsim/export/out/exp_Format.h>

#include <string>
#include <vector>

/// A physical group with an entity of its own: a block, or the sides of one dimension of a side set.
struct gmsh_Group {
  int dimension = -1, entity = 0, physical = 0; // entities of a dimension count from 1; -1: not written
  std::string name;
};

/// Elements of one type that are the sides of others.
struct gmsh_SideElements {
  std::size_t group = 0; // in gmsh_Groups::groups
  int type = 0;
  std::size_t width = 0;  // nodes of one
  std::vector<int> nodes; // [elements][width] 0-based
};

/// The groups of a mesh, those of the blocks first.
struct gmsh_Groups {
  explicit gmsh_Groups(const mesh_Source& mesh);
  /// Finds the elements of the side sets, in one pass over the mesh.
  void FindSides(const exp_Task& task);

  std::vector<gmsh_Group> groups;
  std::vector<gmsh_Element> elements; // [block]
  std::vector<gmsh_SideElements> sides;
  std::vector<std::string> losses; // of ids and names, one line each

 private:
  std::size_t Add(int dimension, const std::string& name, long long id, const std::string& what);
};
