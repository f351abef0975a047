#pragma once

#include <vector>

namespace qormath::control_utility {

/// The singular value decomposition x = u diag(values) v' of a square matrix, of which the vectors are made as they are
/// asked for: whoever needs a tenth of them spares most of the work that follows the values.
class SingularFactors {
  public:
    enum class Route {
        asAsked,  ///< the reflectors of the bidiagonal form are kept and applied to the vectors that are asked for
        atOnce    ///< all vectors at once, by divide and conquer or, where that does not converge, by iteration
    };

    /// Decomposes the packed n by n matrix of finite elements, which is overwritten. False where neither method
    /// converges. The first route goes over to the second where the largest element is not within 2^-400 and 2^400,
    /// where the reduction might leave the range of numbers, and where it does not converge.
    bool decompose(int n, std::vector<double> x, Route route = Route::asAsked);

    /// All n values, in descending order.
    const std::vector<double>& values() const { return values_; }

    /// The first k left singular vectors, n by k.
    std::vector<double> left(int k) const;

    /// The first k right singular vectors, n by k.
    std::vector<double> right(int k) const;

  private:
    bool decomposeBidiagonal();
    bool decomposeAtOnce(std::vector<double> x);
    std::vector<double> turned(char which, int k, const std::vector<double>& tau, std::vector<double> vectors) const;

    int n_ = 0;
    bool whole_ = false;              // u_ and vt_ are those of the matrix, not of its bidiagonal form
    std::vector<double> reflectors_;  // as the reduction leaves them
    std::vector<double> tauq_;
    std::vector<double> taup_;
    std::vector<double> values_;
    std::vector<double> u_;
    std::vector<double> vt_;
};

}  // namespace qormath::control_utility
