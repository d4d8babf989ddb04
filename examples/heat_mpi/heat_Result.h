#pragma once

#include "heat_File.h"

#include <Eigen/Core>

/// The temperatures in the file, a drawer a step. Its calls are made by every rank, and throw heat_Failure on
/// all of them.
class heat_Result {
 public:
  /// Finds the field, or makes it. REQUIRES that both outlive this.
  heat_Result(const heat_Team& team, const heat_File& file);

  /// \return how many are there.
  int Steps() const { return m_steps; }
  /// \return the last step's temperatures.
  /// \param nodes  of the mesh, 0-based.
  Eigen::VectorXd Last(const std::vector<int>& nodes) const;
  /// Stores the next step, with its time: one commit point.
  /// \param nodes   that this rank owns, 0-based nodes of the mesh.
  /// \param values  [nodes].
  void Append(double time, const std::vector<int>& nodes, const Eigen::VectorXd& values);

 private:
  heat_Drawer Add() const;

  const heat_Team* m_team;
  const heat_File* m_file;
  pdm::Field m_field; // rank 0's
  int m_steps = 0;
};
