#pragma once

#include <pdmsim/mesh/mesh_Raw.h>

#include <span>
#include <vector>

/// Cells of any types in one list, with VTK's numbers for types and VTK's node orders.
struct mesh_VtkCells {
  std::vector<unsigned char> types; // [cells]
  std::vector<long long> ends;      // [cells] where the nodes of the cell end
  std::vector<int> nodes;           // those of all cells, one cell after the other; 0-based
};

/// Gives the mesh the cells, type by type, without the empty ones.
///
/// Pixels and voxels become quadrilaterals and hexahedra. Lines, strips and points of many nodes become
/// several cells. Polygons of three and four corners become triangles and quadrilaterals, others stay
/// polygons. Throws mesh_Error for types that cannot be kept, and for ends that do not ascend.
///
/// \return [raw cells] the cell of the list that each came of; empty: they are the same.
std::vector<int> mesh_AddVtkCells(mesh_Raw& raw, mesh_VtkCells cells);

/// A field's values, a row for each cell of the list, become rows of the mesh's cells.
/// \param order as mesh_AddVtkCells gives it.
/// Defined for double and long long.
template <class T>
std::vector<T> mesh_InOrder(std::vector<T> values, const std::vector<int>& order, std::size_t components);

/// Keeps the values of a field as integers, where they are integers of 64 bits that a double does not hold. A
/// field that has no value at some place stays of reals, and a note says so.
/// \param steps those at which the field can be read.
/// \param read the same values as field.read, which are integers.
void mesh_KeepIntegers(mesh_Raw& raw, mesh_RawField& field, std::size_t steps,
                       std::function<std::vector<long long>(std::size_t step)> read);

/// The numbers of the mesh's nodes or cells become their labels.
/// \param cells true: [raw cells]; false: [nodes].
/// \return false when they are not as many, or not all different: then nothing is changed.
bool mesh_TakeLabels(mesh_Raw& raw, bool cells, const std::vector<long long>& labels);

/// Adds a group of cells, one for each dimension among them. Throws mesh_Error for cells that are not there.
/// \param members places of cells in the list.
/// \param order as above.
void mesh_AddCellSet(mesh_Raw& raw, const std::string& name, const std::vector<int>& members,
                     const std::vector<int>& order);

/// A field of integers becomes groups, one a value, called NAME_VALUE. What has no value is in no group. The
/// field stays as well. Throws mesh_Error when no field of nodes or cells has that name, or it is no single
/// integer.
/// \param name "": nothing is done.
void mesh_SetsFrom(mesh_Raw& raw, const std::string& name);
