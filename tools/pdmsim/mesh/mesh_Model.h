#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// A block of elements of one shape. Blocks number the mesh's elements one after the other.
struct exo_Block {
  int number = 0;                      // place in the file, from 1
  long long id = 0;                    // the user's number
  std::string name;                    // "" when the file gives none
  std::string type;                    // the element type's text, as HEX8
  std::size_t elements = 0;            // 0: an empty block
  std::size_t nodesPerElement = 0;     // of polygons: the sum over all elements
  std::size_t firstElement = 0;        // 0-based place of the first element in the mesh
  std::vector<std::string> attributes; // the names of its elements' attributes, some perhaps ""
  enum class Shape { kFixed, kPolygons, kPolyhedra } shape = Shape::kFixed;
};

enum class exo_SetKind { kNodes, kElements, kSides };

/// A set of nodes, of elements, or of element sides.
struct exo_Set {
  exo_SetKind kind = exo_SetKind::kNodes;
  int number = 0; // place in the file among the sets of its kind, from 1
  long long id = 0;
  std::string name;
  std::size_t size = 0;
  std::size_t factors = 0; // number of distribution factors
};

/// A number for every node or element of the mesh, beside the user's numbers.
struct exo_Map {
  std::string variable; // the netCDF variable
  std::string name;
  long long id = 0;
};

/// What result variables belong to.
enum class exo_Place { kGlobal, kNodes, kBlocks, kNodeSets, kElementSets, kSideSets };

/// The result variables of one place. A variable has values on some of the place's entities (blocks, sets)
/// only; nodes and the whole mesh count as one entity.
struct exo_Variables {
  exo_Place place = exo_Place::kGlobal;
  std::vector<std::string> names;
  std::vector<std::size_t> entitySizes;   // number of values on each entity
  std::vector<std::vector<bool>> present; // [entity][variable]
};
