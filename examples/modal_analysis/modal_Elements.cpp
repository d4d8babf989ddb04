#include "modal_Elements.h"

#include "modal_Shapes.h"

#include <Eigen/Cholesky>
#include <Eigen/LU>

#include <cmath>

namespace {

using Elasticity = Eigen::Matrix<double, 6, 6>;

/// Stress from strain (xx, yy, zz, xy, yz, zx), shears as angles.
Elasticity ElasticityOf(const modal_Material& material) {
  const double shear = material.young / (2 * (1 + material.poisson));
  const double lame = 2 * shear * material.poisson / (1 - 2 * material.poisson);
  Elasticity matrix = Elasticity::Zero();
  matrix.topLeftCorner<3, 3>().setConstant(lame);
  matrix.diagonal() << lame + 2 * shear, lame + 2 * shear, lame + 2 * shear, shear, shear, shear;
  return matrix;
}

/// Strain from the displacements of functions with these gradients, as columns from `first` on.
void PutStrains(const Eigen::MatrixX3d& gradient, Eigen::Index first, Eigen::Matrix<double, 6, -1>& strain) {
  for (Eigen::Index i = 0; i < gradient.rows(); ++i) {
    const double x = gradient(i, 0), y = gradient(i, 1), z = gradient(i, 2);
    strain.middleCols<3>(first + 3 * i) << x, 0, 0, //
        0, y, 0,                                    //
        0, 0, z,                                    //
        y, x, 0,                                    //
        0, z, y,                                    //
        z, 0, x;
  }
}

/// Removes the last `inner` unknowns, which nothing outside the element knows, from a stiffness.
Eigen::MatrixXd Condense(const Eigen::MatrixXd& full, Eigen::Index inner) {
  const Eigen::Index outer = full.rows() - inner;
  return full.topLeftCorner(outer, outer) -
         full.topRightCorner(outer, inner) *
             full.bottomRightCorner(inner, inner).ldlt().solve(full.bottomLeftCorner(inner, outer));
}

/// Gradients of the incompatible functions 1 - x_k^2 at a point. The Jacobian is that of the centre and
/// scaled by the ratio of the determinants, so that the functions do no work in a state of constant stress.
Eigen::MatrixX3d IncompatibleGradients(const Eigen::Vector3d& at, const Eigen::Matrix3d& centre,
                                       double determinant) {
  const Eigen::Matrix3d own = (-2 * at).asDiagonal();
  return centre.determinant() / determinant * own * centre.inverse();
}

} // namespace

modal_ElementMatrices modal_Integrate(modal_Shape shape, const Eigen::Matrix3Xd& points,
                                      const modal_Material& material) {
  const Elasticity elasticity = ElasticityOf(material);
  const bool incompatible = shape == modal_Shape::kHex8;
  const Eigen::Index nodes = points.cols(), inner = incompatible ? 9 : 0, size = 3 * nodes + inner;
  const Eigen::Matrix3d centre = points * modal_Evaluate(shape, Eigen::Vector3d::Zero()).gradient;
  Eigen::MatrixXd stiffness = Eigen::MatrixXd::Zero(size, size);
  Eigen::MatrixXd mass = Eigen::MatrixXd::Zero(nodes, nodes); // of one displacement
  Eigen::Matrix<double, 6, -1> strain(6, size);
  modal_ElementMatrices result;
  int negative = 0, positive = 0;
  for (const modal_Point& point : modal_Quadrature(shape)) {
    const modal_ShapeValues functions = modal_Evaluate(shape, point.at);
    const Eigen::Matrix3d jacobian = points * functions.gradient; // d x_i / d xi_j
    const double determinant = jacobian.determinant();
    ++(determinant > 0 ? positive : negative);
    const double volume = std::abs(determinant) * point.weight;
    PutStrains(functions.gradient * jacobian.inverse(), 0, strain);
    if (incompatible)
      PutStrains(IncompatibleGradients(point.at, centre, determinant), 3 * nodes, strain);
    stiffness += volume * strain.transpose() * elasticity * strain;
    mass += volume * material.density * functions.value * functions.value.transpose();
    result.volume += volume;
  }
  const double size3 = std::pow((points.colwise() - points.rowwise().mean()).norm(), 3);
  if ((negative && positive) || !(result.volume > 1e-12 * size3)) {
    result.volume = -1;
    return result;
  }
  result.stiffness = incompatible ? Condense(stiffness, inner) : stiffness;
  result.mass = Eigen::MatrixXd::Zero(3 * nodes, 3 * nodes);
  for (Eigen::Index i = 0; i < nodes; ++i)
    for (Eigen::Index j = 0; j < nodes; ++j)
      result.mass.block<3, 3>(3 * i, 3 * j).diagonal().setConstant(mass(i, j));
  return result;
}
