#pragma once

#include <vector>

namespace qormath::control_utility {

/// The powers c, c^2, c^4 ... of a stable loop in single precision, down to one that is small. They solve Stein
/// equations with c by products alone, to about six digits where the solution for the identity is not large.
///
/// Source: R. A. Smith, "Matrix equation XA + BX = C", SIAM J. Appl. Math. 16 (1968), 198-201, whose iteration squares
/// the matrices in each step. Cost: 2 n^3 flops for a square and 3 n^3 for a step of a solution; five or six of either
/// for an ordinary loop.
class LoopSquares {
  public:
    /// Makes the squares of a loop of order n. False where they are not small soon enough: when the spectral radius is
    /// above about 1 - 2^-6, or the numbers leave the range of single precision.
    bool make(int n, const std::vector<double>& loop);

    /// The solution d of c' d c - d + w = 0 for a symmetric w, with as many steps as leave no more than the given share
    /// of w as residual, or with all of them. Not finite where w is not.
    std::vector<double> solve(const std::vector<double>& w, double share = 0.0) const;

    /// An estimate of the spectral radius of c: the growth of a vector under many steps of the loop. Where the vector
    /// has no part of the slowest mode it is too small.
    double radius() const;

    /// A p with p - c' p c / radius^2 between about 0.75 i and i, where the spectral radius of c is below the given one
    /// and p not too large for single precision. Whether it is so is for the caller to see.
    std::vector<double> lyapunovFunction(double radius) const;

  private:
    int n_ = 0;
    std::vector<std::vector<float>> squares_;
    std::vector<double> norms_;
};

}  // namespace qormath::control_utility
