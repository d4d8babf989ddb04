#pragma once

#include "modal_Assembly.h"

/// The lowest modes, ascending.
struct modal_Modes {
  Eigen::VectorXd eigenvalues; // [modes] squares of the angular frequencies
  Eigen::MatrixXd shapes;      // [solver DOFs x modes] orthonormal in the mass matrix
  double residual = 0;         // how far K x is from lambda M x, relative, the worst of them
};

/// Solves K x = lambda M x for the modes next above the shift, by Lanczos iterations on the inverse of
/// K - shift M, repeated with the modes that were found taken out until a count of the sign changes says that
/// none is missing (modes of the same frequency are easily missed).
/// \param count wanted; fewer come when the matrices have not so many DOFs.
/// \param shift negative, about the size of the lowest eigenvalue that is not zero, or smaller.
/// Throws when the iteration does not converge.
modal_Modes modal_Solve(const modal_Matrices& matrices, const modal_Envelope& envelope, int count,
                        double shift);
