#pragma once

#include <Eigen/Core>

/// Linear elastic, isotropic, and the same everywhere. Any consistent units.
struct modal_Material {
  double young = 0, poisson = 0, density = 0;
};

/// The solid elements that have a formulation here, nodes in the order of Exodus II.
enum class modal_Shape { kTet4, kTet10, kHex8, kHex20 };

constexpr int modal_NodesOf(modal_Shape shape) {
  constexpr int nodes[] = {4, 10, 8, 20};
  return nodes[static_cast<int>(shape)];
}
constexpr bool modal_IsTet(modal_Shape shape) {
  return shape == modal_Shape::kTet4 || shape == modal_Shape::kTet10;
}

/// Matrices of one element; row 3 i + k is displacement k of the element's node i.
struct modal_ElementMatrices {
  Eigen::MatrixXd stiffness, mass; // [3 n x 3 n] symmetric
  double volume = 0;
};

/// Integrates an element. The mass matrix is consistent. HEX8 has nine incompatible modes, condensed out of
/// the stiffness; the others are plain isoparametric elements.
/// \param points [3 x nodes] Either orientation will do.
/// \return a negative volume when the element is flat, folded or has twisted nodes; the rest is undefined
/// then.
modal_ElementMatrices modal_Integrate(modal_Shape shape, const Eigen::Matrix3Xd& points,
                                      const modal_Material& material);
