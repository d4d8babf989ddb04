#include "modal_Assembly.h"

#include <algorithm>

namespace {

/// Rows of a node's three displacements, -1 where the solver has none.
class Rows {
 public:
  explicit Rows(const fesD_NodalDofDefinition& dofs)
      : m_dofs(dofs), m_places(modal_PlacesInSolverOrder(dofs)) {}

  int Of(int node, int axis) const {
    const int dof = m_dofs.SystemOrdinal(node, m_dofs.SystemDofId(axis + 1));
    return dof < 0 ? -1 : m_places[static_cast<std::size_t>(dof)];
  }

 private:
  const fesD_NodalDofDefinition& m_dofs;
  std::vector<int> m_places;
};

/// A matrix of zeros with an entry for each pair of DOFs that share an element.
modal_Matrix Pattern(const modal_Neighbours& neighbours, const fesD_NodalDofDefinition& dofs,
                     const Rows& rows) {
  const int size = dofs.NumberOfSolverDofs();
  modal_Matrix matrix(size, size);
  std::vector<int> column;
  for (int place = 0; place < size; ++place) {
    column.clear();
    for (const int node : neighbours.Of(dofs.NodeDofFromSystemDof(dofs.SystemDofFromSolverDof(place)).node))
      for (int axis = 0; axis < 3; ++axis)
        if (const int row = rows.Of(node, axis); row >= place)
          column.push_back(row);
    std::sort(column.begin(), column.end());
    matrix.startVec(place);
    for (const int row : column)
      matrix.insertBack(row, place) = 0;
  }
  matrix.finalize();
  return matrix;
}

void AddElement(const int* nodes, const modal_ElementMatrices& element, const Rows& rows,
                modal_Matrices& matrices) {
  const auto size = static_cast<int>(element.mass.rows());
  std::vector<int> places(static_cast<std::size_t>(size));
  for (int i = 0; i < size; ++i)
    places[static_cast<std::size_t>(i)] = rows.Of(nodes[i / 3], i % 3);
  for (int j = 0; j < size; ++j)
    for (int i = 0; i < size; ++i) {
      const int row = places[static_cast<std::size_t>(i)], column = places[static_cast<std::size_t>(j)];
      if (column < 0 || row < column)
        continue;
      matrices.stiffness.coeffRef(row, column) += element.stiffness(i, j);
      if (i % 3 == j % 3)
        matrices.mass.coeffRef(row, column) += element.mass(i, j);
    }
}

} // namespace

modal_Matrices modal_Assemble(const std::string& file, const modal_Mesh& mesh,
                              const modal_Neighbours& neighbours, const fesD_NodalDofDefinition& dofs,
                              const modal_Material& material) {
  const Rows rows(dofs);
  modal_Matrices matrices;
  matrices.stiffness = Pattern(neighbours, dofs, rows);
  matrices.mass = matrices.stiffness;
  for (const modal_Block& block : mesh.solids)
    for (std::size_t i = 0; i < block.Elements(); ++i) {
      const auto element = modal_Integrate(block.shape, mesh.PointsOf(block, i), material);
      if (!(element.volume > 0))
        throw modal_Failure(file + ": expected elements with a volume, found a flat or folded " + block.type +
                            " at node " +
                            std::to_string(mesh.labels[static_cast<std::size_t>(block.Element(i)[0])]));
      AddElement(block.Element(i), element, rows, matrices);
      matrices.volume += element.volume;
    }
  return matrices;
}
