#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// A block of elements of one shape. Blocks number the mesh's elements one after the other.
struct mesh_Block {
  int number = 0;                      // place in the mesh, from 1
  long long id = 0;                    // the user's number
  std::string name;                    // "" when the mesh gives none
  std::string type;                    // the element type's text, as HEX8
  std::size_t elements = 0;            // 0: an empty block
  std::size_t nodesPerElement = 0;     // of polygons: the sum over all elements
  std::size_t firstElement = 0;        // 0-based place of the first element in the mesh
  std::vector<std::string> attributes; // the names of its elements' attributes, some perhaps ""
  enum class Shape { kFixed, kPolygons, kPolyhedra } shape = Shape::kFixed;
};

enum class mesh_SetKind { kNodes, kElements, kSides };

/// A set of nodes, of elements, or of element sides.
struct mesh_Set {
  mesh_SetKind kind = mesh_SetKind::kNodes;
  int number = 0;   // place in the mesh among the sets of its kind, from 1
  long long id = 0; // the user's number
  std::string name; // "" when the mesh gives none
  std::size_t size = 0;
  std::size_t factors = 0; // number of distribution factors
};

/// An integer for every node or element of the mesh, beside the user's numbers.
struct mesh_Map {
  std::string name;
  long long id = 0;
};

/// What result variables belong to.
enum class mesh_Place { kGlobal, kNodes, kBlocks, kNodeSets, kElementSets, kSideSets };
inline constexpr std::size_t mesh_kPlaces = 6;

/// The result variables of one place. A variable has values on some of the place's entities (blocks, sets)
/// only; nodes and the whole mesh count as one entity.
struct mesh_Variables {
  mesh_Place place = mesh_Place::kGlobal;
  std::vector<std::string> names;
  std::vector<std::size_t> components;    // [variable] numbers in a row; empty: 1 each
  std::vector<std::string> units;         // [variable]; empty: none is known
  std::vector<bool> constant;             // [variable] has one value for all time: step 0; empty: none has
  std::vector<std::size_t> entitySizes;   // number of rows on each entity
  std::vector<std::vector<bool>> present; // [entity][variable]

  std::size_t Components(std::size_t variable) const { return components.empty() ? 1 : components[variable]; }
  bool Constant(std::size_t variable) const { return !constant.empty() && constant[variable]; }
  std::string Unit(std::size_t variable) const { return units.empty() ? std::string() : units[variable]; }
};
