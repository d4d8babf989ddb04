#pragma once

#include <pdmsim/mesh/mesh_Source.h>

#include <PDM_Core.h>

/// One system of a mesh that has modes, as far as its host has stored them: `frequencies` (Hz) or else
/// `eigenvalues` ((rad/s)^2), and `modeShapes`, a drawer a mode, among its user distributions. A host that
/// stores less has fewer of them; nothing here fails for that.
struct sto_ModalSystem {
  int number = 0;                  // place among the mesh's systems
  std::string name;                // "" when it has none
  std::vector<double> frequencies; // [modes] in Hz, NaN where unknown, negative for unstable modes
  /// Drawer k is the shape of mode k; null where no shape is stored.
  ORXSimDistributionID shapes;
  std::size_t shapeCount = 0; // modes with a shape, at most frequencies.size(): the first ones
  std::size_t components = 0; // numbers a node: 3 are x, y, z; 6 have rotations behind them; 1 is a scalar
  std::string unit;           // of the shapes

  std::size_t Modes() const { return frequencies.size(); }
  /// Where a mode's rows are.
  struct Shape {
    int drawer = 0;
    std::vector<int> rows; // [nodes] of the drawer, -1 where a node has none; empty: row i is node i
  };
  std::vector<Shape> shapePlaces; // [shapeCount]
};

/// All modal systems of a mesh, in the mesh's order: those of the class and any others with mode shapes.
/// Reads no shape. Throws mesh_Error for what cannot be read.
/// \param mesh  its file must stay open as long as the result is used.
std::vector<sto_ModalSystem> sto_ModalSystems(const std::string& file, const msfD_Mesh& mesh);

/// One mode's shape. Throws mesh_Error.
/// \param mode   below system.shapeCount.
/// \param first, count  nodes.
/// \return [count][system.components], NaN at nodes without.
std::vector<double> sto_ModeShape(const std::string& file, const sto_ModalSystem& system, std::size_t mode,
                                  std::size_t first, std::size_t count);

/// A mode in words, "mode 1 (123.4 Hz)"; without the frequency where that is unknown.
std::string sto_ModeTitle(const sto_ModalSystem& system, std::size_t mode);
