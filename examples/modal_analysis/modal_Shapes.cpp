#include "modal_Shapes.h"

#include <array>
#include <cmath>
#include <vector>

namespace {

// Corners, then the midpoints of edges as Exodus II orders them: bottom, uprights, top.
constexpr int kHexCorners[20][3] = {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1},  {-1, 1, -1}, {-1, -1, 1},
                                    {1, -1, 1},   {1, 1, 1},   {-1, 1, 1},  {0, -1, -1}, {1, 0, -1},
                                    {0, 1, -1},   {-1, 0, -1}, {-1, -1, 0}, {1, -1, 0},  {1, 1, 0},
                                    {-1, 1, 0},   {0, -1, 1},  {1, 0, 1},   {0, 1, 1},   {-1, 0, 1}};
constexpr int kTetEdges[6][2] = {{0, 1}, {1, 2}, {0, 2}, {0, 3}, {1, 3}, {2, 3}};

/// A product of one-dimensional functions f[k] of each coordinate, with derivatives d[k].
void Product(const double (&f)[3], const double (&d)[3], Eigen::Index row, double factor,
             modal_ShapeValues& result) {
  result.value[row] = factor * f[0] * f[1] * f[2];
  result.gradient.row(row) << factor * d[0] * f[1] * f[2], factor * f[0] * d[1] * f[2],
      factor * f[0] * f[1] * d[2];
}

modal_ShapeValues Hex(const Eigen::Vector3d& at, int nodes) {
  modal_ShapeValues result{Eigen::VectorXd(nodes), Eigen::MatrixX3d(nodes, 3)};
  for (int i = 0; i < nodes; ++i) {
    double f[3], d[3], factor = i < 8 ? 0.125 : 0.25;
    for (int k = 0; k < 3; ++k) {
      const int corner = kHexCorners[i][k];
      f[k] = corner ? 1 + corner * at[k] : 1 - at[k] * at[k];
      d[k] = corner ? corner : -2 * at[k];
    }
    Product(f, d, i, factor, result);
    if (nodes != 20 || i >= 8)
      continue;
    // Serendipity corners: the product above times (sum of the signed coordinates - 2).
    const double product = result.value[i];
    double sum = -2;
    for (int k = 0; k < 3; ++k)
      sum += kHexCorners[i][k] * at[k];
    result.value[i] *= sum;
    result.gradient.row(i) *= sum;
    for (int k = 0; k < 3; ++k)
      result.gradient(i, k) += product * kHexCorners[i][k];
  }
  return result;
}

modal_ShapeValues Tet(const Eigen::Vector3d& at, int nodes) {
  const Eigen::Vector4d corner(1 - at.sum(), at[0], at[1], at[2]);
  Eigen::Matrix<double, 4, 3> slope;
  slope << -1, -1, -1, Eigen::Matrix3d::Identity();
  if (nodes == 4)
    return {corner, slope};
  modal_ShapeValues result{Eigen::VectorXd(10), Eigen::MatrixX3d(10, 3)};
  for (int i = 0; i < 4; ++i) {
    result.value[i] = corner[i] * (2 * corner[i] - 1);
    result.gradient.row(i) = (4 * corner[i] - 1) * slope.row(i);
  }
  for (int i = 0; i < 6; ++i) {
    const auto [a, b] = kTetEdges[i];
    result.value[4 + i] = 4 * corner[a] * corner[b];
    result.gradient.row(4 + i) = 4 * (corner[a] * slope.row(b) + corner[b] * slope.row(a));
  }
  return result;
}

/// Gauss points in each direction: 2 or 3 of them.
std::vector<modal_Point> HexPoints(int each) {
  const double outer = each == 2 ? std::sqrt(1.0 / 3) : std::sqrt(0.6);
  const double at[] = {-outer, each == 2 ? outer : 0, outer};
  const double weight[] = {each == 2 ? 1 : 5.0 / 9, each == 2 ? 1 : 8.0 / 9, 5.0 / 9};
  std::vector<modal_Point> points;
  for (int i = 0; i < each; ++i)
    for (int j = 0; j < each; ++j)
      for (int k = 0; k < each; ++k)
        points.push_back({{at[i], at[j], at[k]}, weight[i] * weight[j] * weight[k]});
  return points;
}

/// The four points whose barycentric coordinates are once 1 - 3 a and else a.
void AddCornerPoints(double a, double weight, std::vector<modal_Point>& points) {
  for (int i = 0; i < 4; ++i) {
    Eigen::Vector3d at(a, a, a);
    if (i > 0)
      at[i - 1] = 1 - 3 * a;
    points.push_back({at, weight / 6});
  }
}

/// Exact for quadratics.
std::vector<modal_Point> FourTetPoints() {
  std::vector<modal_Point> points;
  AddCornerPoints(0.25 - std::sqrt(5.0) / 20, 0.25, points);
  return points;
}

/// Exact for polynomials of degree 5.
std::vector<modal_Point> FourteenTetPoints() {
  std::vector<modal_Point> points;
  AddCornerPoints(0.31088591926330060980, 0.11268792571801585080, points);
  AddCornerPoints(0.092735250310891226402, 0.073493043116361949544, points);
  constexpr double a = 0.045503704125649649492, b = 0.5 - a, weight = 0.042546020777081466438 / 6;
  for (const Eigen::Vector3d& at :
       {Eigen::Vector3d(a, b, b), Eigen::Vector3d(b, a, b), Eigen::Vector3d(b, b, a),
        Eigen::Vector3d(a, a, b), Eigen::Vector3d(a, b, a), Eigen::Vector3d(b, a, a)})
    points.push_back({at, weight});
  return points;
}

} // namespace

modal_ShapeValues modal_Evaluate(modal_Shape shape, const Eigen::Vector3d& at) {
  return modal_IsTet(shape) ? Tet(at, modal_NodesOf(shape)) : Hex(at, modal_NodesOf(shape));
}

std::span<const modal_Point> modal_Quadrature(modal_Shape shape) {
  static const std::array<std::vector<modal_Point>, 4> points{FourTetPoints(), FourteenTetPoints(),
                                                              HexPoints(2), HexPoints(3)};
  return points[static_cast<std::size_t>(shape)];
}
