#pragma once

#include "modal_Mesh.h"

#include <optional>
#include <vector>

enum class modal_Ends { kFreeFree, kClampedFree };

/// A solid that fills a box which is a good deal longer than it is wide: a beam, as theory has it.
struct modal_Beam {
  int axis = 0;           // along which it is long
  int across[2] = {1, 2}; // the other two
  double length = 0;
  double width[2] = {0, 0}; // along the other two
  modal_Ends ends = modal_Ends::kFreeFree;
  Eigen::Vector3d centre;
  modal_Material material;

  double Area() const { return width[0] * width[1]; }
  /// Second moment of area that resists bending along across[k].
  double Inertia(int k) const { return Area() * width[k] * width[k] / 12; }
};

/// The beam that a mesh is.
/// \param volume of the solids.
/// \param clamp the word that says what is fixed.
/// \return none when it fills no box, is shorter than four widths, or is held elsewhere than at one end.
std::optional<modal_Beam> modal_RecogniseBeam(const modal_Mesh& mesh, double volume, const std::string& clamp,
                                              const modal_Material& material);

// Frequencies in Hz, ascending, of the first `count` modes that are no rigid-body motions. Each follows from
// theory alone; nothing of the mesh enters but the beam's sizes.

/// Euler and Bernoulli's beam: slender, without shear. Bending along across[k].
std::vector<double> modal_EulerBending(const modal_Beam& beam, int k, int count);
/// Timoshenko's beam: with shear and the inertia of turning sections; Cowper's shear coefficient.
std::vector<double> modal_TimoshenkoBending(const modal_Beam& beam, int k, int count);
/// A bar that stretches along its axis.
std::vector<double> modal_Axial(const modal_Beam& beam, int count);
/// Saint-Venant's torsion with sections free to warp.
std::vector<double> modal_Torsion(const modal_Beam& beam, int count);
