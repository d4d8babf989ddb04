#pragma once

#include <pdmsim/mesh/mesh_Elements.h>
#include <pdmsim/mesh/mesh_Source.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Cells of one type, in the order of the mesh's file.
struct mesh_RawCells {
  const mesh_Element* type = nullptr;
  std::vector<int> nodes;        // [cells][type->nodes] 0-based, in the node order of Exodus II
  std::vector<long long> labels; // [cells]; empty: the mesh has none
  std::vector<int> families;     // [cells] places in mesh_Raw::families; empty: no cell is in a group
};

/// A named group of cells of one dimension, or of nodes.
struct mesh_RawGroup {
  int dimension = 0; // of its cells; -1: of nodes, and `nodes` are its members
  std::string name;  // "" when the mesh gives only a number
  long long id = 0;  // the user's number; 0: none
  std::vector<int> nodes;
};

/// Numbers for every node, or for every cell.
struct mesh_RawField {
  std::string name, unit;
  std::size_t components = 1;
  bool isFloat = false;
  /// The values at one step, [rows][components]: NaN where there are none. Rows are nodes, or cells in the
  /// order of mesh_Raw::cells. A field of a mesh without times has its values at step 0.
  std::function<std::vector<double>(std::size_t step)> read;
};

/// A mesh as most formats have it: nodes, cells of all dimensions in one list, groups of any of them.
struct mesh_Raw {
  std::string path;
  std::size_t dimension = 3;         // 2 when every third coordinate is 0
  std::string lengthUnit;            // "" for unknown
  std::vector<double> coordinates;   // [nodes][dimension]
  std::vector<long long> nodeLabels; // [nodes]; empty: the mesh has none
  std::vector<mesh_RawCells> cells;  // one type may come more than once
  std::vector<mesh_RawGroup> groups;
  std::vector<std::vector<int>> families; // [family] the groups that its cells are in
  std::vector<double> times;              // of the steps; empty: fields have no steps
  std::vector<mesh_RawField> nodeFields, cellFields;
  std::vector<std::string> notes; // what could not be kept, one line each
};

/// Makes a mesh of what a format has: a block for each group of the highest dimension and element type; a
/// surface for each group of a lower dimension whose cells are sides of the solids, and an element set where
/// they are not; node groups become node sets. Every name is kept or named in a note.
///
/// The cells that only name sides of others are no elements of the mesh. Throws mesh_Error for nodes out of
/// range.
std::unique_ptr<mesh_Source> mesh_Assemble(mesh_Raw raw);
