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
  std::shared_ptr<const mesh_Element> own; // the type, where it is of these cells alone
  std::vector<int> nodes;                  // [cells][type->nodes] 0-based, in the node order of Exodus II
  std::vector<long long> labels;           // [cells]; empty: the mesh has none
  std::vector<int> families;               // [cells] places in mesh_Raw::families, -1 for none; empty: all -1
};

/// The dimension of a group whose cells have several: always an element set.
inline constexpr int mesh_kAnyDimension = 4;

/// A named group of cells, or of nodes. Cells of other dimensions are not in it, even where their family
/// names it.
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
  /// The same as integers, of a field that has some which a double does not hold. Else null.
  std::function<std::vector<long long>(std::size_t step)> readIntegers = nullptr;
};

/// A mesh as most formats have it: nodes, cells of all dimensions in one list, groups of any of them.
struct mesh_Raw {
  std::string path;
  std::vector<std::string> otherFiles; // that numbers are in besides
  std::size_t dimension = 3;         // of the coordinates; 3 become 2 where no solid is and every third is 0
  std::string lengthUnit;            // "" for unknown
  std::vector<double> coordinates;   // [nodes][dimension]
  std::vector<long long> nodeLabels; // [nodes]; empty: the mesh has none
  std::vector<mesh_RawCells> cells;  // one type may come more than once
  std::vector<mesh_RawGroup> groups;
  std::vector<std::vector<int>> families; // [family] the groups that its cells are in
  std::vector<double> times;              // of the steps; empty: fields have no steps
  std::vector<mesh_RawField> nodeFields, cellFields;
  std::vector<std::string> notes; // what could not be kept, one line each
  bool keepSides = false;         // true: cells without group stay elements though they are sides of others
  bool pointsAreNodes = false;    // true: beside other cells, groups of points are groups of nodes
};

/// Makes a mesh of what a format has.
///
/// Blocks: one for each group of the highest dimension and element type. It has the group's name and id where
/// it is all of the group, else NAME_TYPE, and the group is an element set besides. A cell of several such
/// groups is in the block of the first. Cells without group make blocks by type, which have no name.
///
/// A group one dimension lower is a side set where each of its cells is a side of a cell of the highest
/// dimension, by its corners: the side that is seen from outside as the cell is, if two elements share it.
/// Those cells are no elements of the mesh, and neither are lower cells without group that are sides of
/// others (but see keepSides). All further cells are elements, in blocks as above. Node groups become node
/// sets,
/// and so do groups of points where `pointsAreNodes`.
///
/// In space triangles and quadrilaterals are SHELLs, in the plane TRI and QUAD. Throws mesh_Error for what
/// does not fit together. Keeps the arrays of `raw`, and 4 bytes a cell besides.
std::unique_ptr<mesh_Source> mesh_Assemble(mesh_Raw raw);
