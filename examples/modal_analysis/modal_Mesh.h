#pragma once

#include "modal_Elements.h"
#include "modal_File.h"

#include <Eigen/Core>
#include <Eigen/Geometry>

#include <string>
#include <vector>

/// The solid elements of one block.
struct modal_Block {
  modal_Shape shape = modal_Shape::kHex8;
  std::string type;       // as the mesh names it
  std::vector<int> nodes; // [elements x NodesOf(shape)] 0-based
  std::size_t NodesEach() const { return static_cast<std::size_t>(modal_NodesOf(shape)); }
  std::size_t Elements() const { return nodes.size() / NodesEach(); }
  const int* Element(std::size_t i) const { return nodes.data() + i * NodesEach(); }
};

/// What an analysis of solids needs of a mesh.
struct modal_Mesh {
  Eigen::Matrix3Xd points; // [3 x nodes] in the mesh's own unit of length
  std::vector<int> labels; // [nodes] the user's numbers
  std::vector<modal_Block> solids;
  std::vector<std::string> skipped; // types of blocks that are no solids: shells, beams, points...
  std::vector<bool> used;           // [nodes] whether a solid has the node

  int Nodes() const { return static_cast<int>(points.cols()); }
  std::size_t Elements() const;
  /// The nodes of one solid element, as the columns of a matrix.
  Eigen::Matrix3Xd PointsOf(const modal_Block& block, std::size_t element) const;
  /// Corners of the box around the nodes that are used.
  Eigen::AlignedBox3d Box() const;
};

/// Reads the coordinates, labels and connectivity that `pdmsim import` makes. Throws when there are no solid
/// elements, when a solid is of a type that has no formulation here, or when the mesh is not in order.
modal_Mesh modal_ReadMesh(const std::string& file, const msfD_Mesh& mesh);

/// The nodes that a word names: "none", a face of the box around the solids as "x-min", or a node set.
/// \return [nodes] Throws when the mesh has no set of that name.
std::vector<bool> modal_FindNodes(const std::string& file, const msfD_Mesh& mesh, const modal_Mesh& model,
                                  const std::string& word);
