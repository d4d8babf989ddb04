#pragma once

#include <Eigen/SparseCore>

#include <string>
#include <vector>

/// The two matrices of heat conduction with unit material: dT/dt = -a inverse(capacity) conduction T.
struct heat_Matrices {
  Eigen::SparseMatrix<double> capacity, conduction; // [nodes x nodes] symmetric; length^3 and length
};

/// Elements of one block, all or some of them.
struct heat_Elements {
  int block = 0;          // 0-based, for messages
  std::string type;       // "HEX8"
  int width = 0;          // nodes an element
  std::vector<int> nodes; // [elements][width] columns of the points
  std::vector<int> rows;  // [elements] which of the block they are; none: all, in order
};

/// Throws std::runtime_error for other elements than HEX8 and TET4.
void heat_RequireType(const std::string& type, int width);

/// Integrates elements.
/// \param blocks  with no entry twice.
/// \param points  [3 x nodes] coordinates.
/// Throws std::runtime_error for elements of other types, flat ones, and such that are inside out.
heat_Matrices heat_Assemble(const std::vector<heat_Elements>& blocks, const Eigen::Matrix3Xd& points);
