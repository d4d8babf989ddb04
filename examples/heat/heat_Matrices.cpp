#include "heat_Matrices.h"

#include <Eigen/LU>

#include <cmath>
#include <stdexcept>

namespace {
struct Point { // of a quadrature, with the shape functions there
  double weight;
  Eigen::VectorXd value;     // [n]
  Eigen::MatrixX3d gradient; // [n x 3] by the element's own coordinates
};

std::vector<Point> hexahedron() {
  const double a = 1 / std::sqrt(3.0);
  const int signs[8][3] = {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1},
                           {-1, -1, 1},  {1, -1, 1},  {1, 1, 1},  {-1, 1, 1}};
  std::vector<Point> points;
  for (const auto& at : signs) {
    Point point{1, Eigen::VectorXd(8), Eigen::MatrixX3d(8, 3)};
    for (int i = 0; i < 8; ++i) {
      double factor[3];
      for (int k = 0; k < 3; ++k)
        factor[k] = (1 + signs[i][k] * a * at[k]) / 2;
      point.value[i] = factor[0] * factor[1] * factor[2];
      for (int k = 0; k < 3; ++k)
        point.gradient(i, k) = signs[i][k] / 2.0 * factor[(k + 1) % 3] * factor[(k + 2) % 3];
    }
    points.push_back(std::move(point));
  }
  return points;
}

std::vector<Point> tetrahedron() {
  constexpr double a = 0.58541019662496852, b = 0.13819660112501052; // (5 + 3 sqrt 5) / 20, (5 - sqrt 5) / 20
  std::vector<Point> points;
  for (int near = 0; near < 4; ++near) {
    Point point{1 / 24.0, Eigen::VectorXd::Constant(4, b), Eigen::MatrixX3d::Zero(4, 3)};
    point.value[near] = a;
    point.gradient.row(0).setConstant(-1);
    point.gradient.bottomRows(3).setIdentity();
    points.push_back(std::move(point));
  }
  return points;
}

std::vector<Point> quadrature(const std::string& type) {
  if (type.starts_with("HEX"))
    return hexahedron();
  if (type.starts_with("TET"))
    return tetrahedron();
  return {};
}
} // namespace

void heat_RequireType(const std::string& type, int width) {
  const std::vector<Point> points = quadrature(type);
  if (points.empty() || width != points.front().value.size())
    throw std::runtime_error("expected elements HEX8 or TET4, found " + type + " of " +
                             std::to_string(width) + " nodes");
}

heat_Matrices heat_Assemble(const std::vector<heat_Elements>& blocks, const Eigen::Matrix3Xd& points) {
  std::vector<Eigen::Triplet<double>> capacity, conduction;
  for (const heat_Elements& block : blocks) {
    heat_RequireType(block.type, block.width);
    const std::vector<Point> quadrature = ::quadrature(block.type);
    const int n = block.width, elements = static_cast<int>(block.nodes.size()) / n;
    for (int element = 0; element < elements; ++element) {
      const Eigen::Map<const Eigen::VectorXi> own(block.nodes.data() + std::ptrdiff_t{element} * n, n);
      const Eigen::Matrix3Xd corners = points(Eigen::all, own);
      Eigen::MatrixXd c = Eigen::MatrixXd::Zero(n, n), k = c;
      for (const Point& point : quadrature) {
        const Eigen::Matrix3d jacobian = corners * point.gradient;
        const double volume = jacobian.determinant() * point.weight;
        if (!(volume > 0)) {
          const int row = block.rows.empty() ? element : block.rows[static_cast<std::size_t>(element)];
          throw std::runtime_error("element " + std::to_string(row) + " of block " +
                                   std::to_string(block.block) + " is flat or inside out");
        }
        const Eigen::MatrixX3d slope = point.gradient * jacobian.inverse();
        c += volume * point.value * point.value.transpose();
        k += volume * slope * slope.transpose();
      }
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
          capacity.emplace_back(own[i], own[j], c(i, j));
          conduction.emplace_back(own[i], own[j], k(i, j));
        }
    }
  }
  heat_Matrices result{{points.cols(), points.cols()}, {points.cols(), points.cols()}};
  result.capacity.setFromTriplets(capacity.begin(), capacity.end());
  result.conduction.setFromTriplets(conduction.begin(), conduction.end());
  return result;
}
