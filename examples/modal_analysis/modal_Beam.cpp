#include "modal_Beam.h"

#include <unsupported/Eigen/MatrixFunctions>

#include <cmath>
#include <numbers>

namespace {

constexpr double kPi = std::numbers::pi;

/// A beam without dimensions: shear = EI / (k G A L^2), turning = I / (A L^2); both 0 is Euler's.
struct Slenderness {
  double shear, turning;
};

/// What the end conditions leave to be zero at a frequency of the beam.
///
/// The state (deflection, rotation, moment, shear force) obeys four linear equations along the beam, so the
/// matrix exponential carries it from one end to the other, where two of the four must vanish.
/// \param beta fourth root of rho A omega^2 L^4 / EI.
double Characteristic(const Slenderness& beam, modal_Ends ends, double beta) {
  const double load = std::pow(beta, 4);
  Eigen::Matrix4d along;
  along << 0, 1, 0, beam.shear,       //
      0, 0, 1, 0,                     //
      0, -load * beam.turning, 0, -1, //
      -load, 0, 0, 0;
  const Eigen::Matrix4d carried = along.exp();
  return ends == modal_Ends::kClampedFree ? carried.bottomRightCorner<2, 2>().determinant()
                                          : carried.bottomLeftCorner<2, 2>().determinant();
}

/// The first `count` positive roots of the characteristic.
std::vector<double> Roots(const Slenderness& beam, modal_Ends ends, int count) {
  constexpr double kStep = 0.01;
  const auto value = [&](double beta) { return Characteristic(beam, ends, beta); };
  std::vector<double> roots;
  for (double low = 0.5; static_cast<int>(roots.size()) < count && low < 200; low += kStep) {
    double a = low, b = low + kStep;
    if (std::signbit(value(a)) == std::signbit(value(b)))
      continue;
    for (int i = 0; i < 50; ++i) {
      const double middle = (a + b) / 2;
      (std::signbit(value(middle)) == std::signbit(value(a)) ? a : b) = middle;
    }
    roots.push_back((a + b) / 2);
  }
  return roots;
}

std::vector<double> Bending(const modal_Beam& beam, int k, int count, bool withShear) {
  const modal_Material& m = beam.material;
  const double length2 = beam.length * beam.length, radius2 = beam.Inertia(k) / beam.Area();
  const double coefficient = 10 * (1 + m.poisson) / (12 + 11 * m.poisson);
  const Slenderness slenderness{2 * (1 + m.poisson) * radius2 / (coefficient * length2), radius2 / length2};
  std::vector<double> frequencies;
  for (const double beta : Roots(withShear ? slenderness : Slenderness{0, 0}, beam.ends, count))
    frequencies.push_back(beta * beta / (2 * kPi * length2) * std::sqrt(m.young * radius2 / m.density));
  return frequencies;
}

/// Standing waves of a speed: a quarter and odd multiples of it when one end is clamped, else halves.
std::vector<double> Waves(const modal_Beam& beam, double speed, int count) {
  std::vector<double> frequencies;
  for (int n = 1; n <= count; ++n)
    frequencies.push_back(speed / beam.length * (beam.ends == modal_Ends::kClampedFree ? n - 0.5 : n) / 2);
  return frequencies;
}

/// Saint-Venant's torsion constant of a rectangle: the exact series.
double TorsionConstant(double width, double height) {
  const double a = std::max(width, height), b = std::min(width, height);
  double sum = 0;
  for (int n = 1; n < 60; n += 2)
    sum += std::tanh(n * kPi * a / (2 * b)) / std::pow(n, 5);
  return a * b * b * b / 3 * (1 - 192 * b / (std::pow(kPi, 5) * a) * sum);
}

} // namespace

std::optional<modal_Beam> modal_RecogniseBeam(const modal_Mesh& mesh, double volume, const std::string& clamp,
                                              const modal_Material& material) {
  const Eigen::AlignedBox3d box = mesh.Box();
  const Eigen::Vector3d sizes = box.sizes();
  modal_Beam beam;
  beam.length = sizes.maxCoeff(&beam.axis);
  for (int k = 0; k < 2; ++k) {
    beam.across[k] = (beam.axis + 1 + k) % 3;
    beam.width[k] = sizes[beam.across[k]];
  }
  beam.centre = box.center();
  beam.material = material;
  const char letter = static_cast<char>('x' + beam.axis);
  if (clamp == std::string{letter} + "-min" || clamp == std::string{letter} + "-max")
    beam.ends = modal_Ends::kClampedFree;
  else if (clamp != "none")
    return std::nullopt;
  const bool fillsBox = std::abs(volume - box.volume()) <= 1e-6 * box.volume();
  const bool isLong = beam.length >= 4 * std::max(beam.width[0], beam.width[1]);
  return fillsBox && isLong ? std::optional(beam) : std::nullopt;
}

std::vector<double> modal_EulerBending(const modal_Beam& beam, int k, int count) {
  return Bending(beam, k, count, false);
}

std::vector<double> modal_TimoshenkoBending(const modal_Beam& beam, int k, int count) {
  return Bending(beam, k, count, true);
}

std::vector<double> modal_Axial(const modal_Beam& beam, int count) {
  return Waves(beam, std::sqrt(beam.material.young / beam.material.density), count);
}

std::vector<double> modal_Torsion(const modal_Beam& beam, int count) {
  const double polar = beam.Inertia(0) + beam.Inertia(1);
  const double shear = beam.material.young / (2 * (1 + beam.material.poisson));
  return Waves(
      beam,
      std::sqrt(shear * TorsionConstant(beam.width[0], beam.width[1]) / (beam.material.density * polar)),
      count);
}
