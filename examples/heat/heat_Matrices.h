#pragma once

#include <Eigen/SparseCore>
#include <pdm/pdm.hpp>

/// The two matrices of heat conduction with unit material: dT/dt = -a inverse(capacity) conduction T.
struct heat_Matrices {
  Eigen::SparseMatrix<double> capacity, conduction; // [nodes x nodes] symmetric; length^3 and length
};

/// Integrates all HEX8 and TET4 elements of a mesh.
/// \param points  [3 x nodes] coordinates.
/// Throws std::runtime_error for other types, and for elements that are flat or inside out.
heat_Matrices heat_Assemble(const pdm::Mesh& mesh, const Eigen::Matrix3Xd& points);
