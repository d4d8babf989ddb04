#include <modal_Elements.h>

#include <Eigen/Core>
#include <gtest/gtest.h>

#include <random>

namespace {

const modal_Material kMaterial{70, 0.3, 2.5};

/// Corners of a hexahedron or tetrahedron moved about, with midside nodes in the middle of straight edges.
Eigen::Matrix3Xd Distorted(modal_Shape shape) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> move(-0.2, 0.2);
  const bool tet = modal_IsTet(shape);
  Eigen::Matrix3Xd points(3, modal_NodesOf(shape));
  const double corners[8][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                                {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
  const int ofTet[] = {0, 1, 3, 4};
  for (int i = 0; i < (tet ? 4 : 8); ++i)
    for (int k = 0; k < 3; ++k)
      points(k, i) = corners[tet ? ofTet[i] : i][k] + move(random);
  const std::vector<std::pair<int, int>> tetEdges{{0, 1}, {1, 2}, {0, 2}, {0, 3}, {1, 3}, {2, 3}};
  const std::vector<std::pair<int, int>> hexEdges{{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 5},
                                                  {2, 6}, {3, 7}, {4, 5}, {5, 6}, {6, 7}, {7, 4}};
  int next = tet ? 4 : 8;
  for (const auto& [a, b] : tet ? tetEdges : hexEdges)
    if (next < points.cols())
      points.col(next++) = (points.col(a) + points.col(b)) / 2;
  return points;
}

/// Strain energy density, doubled, of a state of constant strain, from the law of elasticity.
double Density(const Eigen::Matrix3d& gradient) {
  const Eigen::Matrix3d strain = (gradient + gradient.transpose()) / 2;
  const double shear = kMaterial.young / (2 * (1 + kMaterial.poisson));
  const double lame = 2 * shear * kMaterial.poisson / (1 - 2 * kMaterial.poisson);
  return lame * strain.trace() * strain.trace() + 2 * shear * strain.squaredNorm();
}

} // namespace

// The patch test for one element of any form: constant strain has exactly the energy that it must have, which
// incompatible modes spoil unless they do no work in it.
TEST(ModalElements, ConstantStrainHasItsEnergyInDistortedElements) {
  Eigen::Matrix3d gradient;
  gradient << 0.3, -0.2, 0.7, 0.1, 0.5, -0.4, 0.9, 0.2, -0.6;
  for (const auto shape :
       {modal_Shape::kTet4, modal_Shape::kTet10, modal_Shape::kHex8, modal_Shape::kHex20}) {
    const Eigen::Matrix3Xd points = Distorted(shape);
    const modal_ElementMatrices element = modal_Integrate(shape, points, kMaterial);
    const Eigen::Matrix3Xd moved = (gradient * points).colwise() + Eigen::Vector3d(1, 2, 3);
    const Eigen::Map<const Eigen::VectorXd> u(moved.data(), moved.size());
    ASSERT_GT(element.volume, 0);
    EXPECT_NEAR(u.dot(element.stiffness * u) / (element.volume * Density(gradient)), 1, 1e-10)
        << static_cast<int>(shape);
  }
}
