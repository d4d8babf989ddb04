#pragma once

#include "modal_Elements.h"

#include <span>

/// Shape functions and their derivatives by the element's own coordinates, at one point.
struct modal_ShapeValues {
  Eigen::VectorXd value;     // [n]
  Eigen::MatrixX3d gradient; // [n x 3]
};

/// One point of a quadrature; the weights sum to the volume of the parent element.
struct modal_Point {
  Eigen::Vector3d at;
  double weight;
};

/// \param at in [-1, 1]^3 for hexahedra; for tetrahedra the barycentric coordinates of nodes 2, 3 and 4.
modal_ShapeValues modal_Evaluate(modal_Shape shape, const Eigen::Vector3d& at);

/// Points that integrate the stiffness and the consistent mass of an undistorted element exactly.
std::span<const modal_Point> modal_Quadrature(modal_Shape shape);
