#include <cmath>
#include <utility>

#include <qormath/control_utility/loop_squares.hpp>
#include <qormath/control_utility/plain_products.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;
using Elements = std::vector<double>;
using Floats = std::vector<float>;

// A loop of radius 1 - 2^-6 is small after eight squarings; with more, a Schur form costs no more.
constexpr int mostSquarings = 8;
// Squares and solutions with a larger loop may leave the range of single precision.
constexpr double largestLoop = 0x1p50;
// The first square that is no larger is the last one. What is missing after it is a share of its norm to the fourth.
constexpr double smallSquare = 0x1p-5;
// What is missing in a Lyapunov function changes the identity that it leaves by the square of the first power that is
// left out: by this much at the most.
constexpr double missingInIdentity = 0.25;
// Applications of the last square to a vector: the first ones turn it to the slowest modes, the others measure.
constexpr int turningSteps = 4;
constexpr int measuringSteps = 4;

/// d + weight c' d c
void addStep(int n, double weight, const Floats& c, Floats& d, Floats& half) {
    multiply(Op::none, Op::none, n, 1.0F, d, c, 0.0F, half);
    multiplyToSymmetric(Op::transpose, Op::none, n, n, static_cast<float>(weight), c, half, 1.0F, d);
}

/// Numbers of either sign in no order, by the multiples of the golden section.
Floats scatteredVector(int n) {
    constexpr double goldenSection = 0.61803398874989485;
    Floats v(static_cast<std::size_t>(n));
    for (int k = 0; k < n; ++k) {
        const double multiple = (k + 1) * goldenSection;
        v[static_cast<std::size_t>(k)] = static_cast<float>(multiple - std::floor(multiple) - 0.5);
    }
    return v;
}

}  // namespace

bool LoopSquares::make(int n, const Elements& loop) {
    if (!(plainNorm(loop) <= largestLoop)) {
        return false;
    }
    n_ = n;
    squares_.assign(1, inPrecisionOf<float>(loop));
    norms_.assign(1, plainNorm(squares_.back()));
    while (norms_.back() > smallSquare) {
        if (static_cast<int>(squares_.size()) > mostSquarings || !std::isfinite(norms_.back())) {
            return false;
        }
        Floats square(squares_.back().size());
        multiply(Op::none, Op::none, n, 1.0F, squares_.back(), squares_.back(), 0.0F, square);
        squares_.push_back(std::move(square));
        norms_.push_back(plainNorm(squares_.back()));
    }
    return std::isfinite(norms_.back());
}

Elements LoopSquares::solve(const Elements& w, double share) const {
    const double norm = plainNorm(w);
    // A power of two near the norm, for single precision has few exponents.
    const double unit = norm > 0.0 && std::isfinite(norm) ? std::ldexp(1.0, std::ilogb(norm)) : 1.0;
    Floats d(w.size()), half(w.size());
    for (std::size_t k = 0; k < w.size(); ++k) {
        d[k] = static_cast<float>(w[k] / unit);
    }
    // What a step finds missing is c_k' w c_k.
    for (std::size_t k = 0; k < squares_.size() && norms_[k] * norms_[k] > share; ++k) {
        addStep(n_, 1.0, squares_[k], d, half);
    }
    Elements result = inPrecisionOf<double>(d);
    scaleMatrix(n_, n_, unit, result.data(), n_);
    return result;
}

double LoopSquares::radius() const {
    Floats v = scatteredVector(n_), next(v.size());
    double before = 0.0;
    for (int step = 0; step < turningSteps + measuringSteps; ++step) {
        if (step == turningSteps) {
            before = plainNorm(v);
        }
        lapack::gemm(Op::none, Op::none, n_, 1, n_, 1.0F, squares_.back().data(), n_, v.data(), n_, 0.0F, next.data(),
                     n_);
        v.swap(next);
    }
    const double growth = before > 0.0 ? plainNorm(v) / before : 0.0;
    return std::pow(growth, std::ldexp(1.0 / measuringSteps, 1 - static_cast<int>(squares_.size())));
}

Elements LoopSquares::lyapunovFunction(double radius) const {
    double weight = 1.0 / (radius * radius);
    Floats p(elementCount(n_, n_)), half(p.size());
    for (int k = 0; k < n_; ++k) {
        *at(p.data(), n_, k, k) = 1.0F;
    }
    for (std::size_t k = 0; k < squares_.size() && weight * norms_[k] * norms_[k] > missingInIdentity; ++k) {
        if (k == 0) {
            multiplyToSymmetric(Op::transpose, Op::none, n_, n_, static_cast<float>(weight), squares_[0], squares_[0],
                                1.0F, p);
        } else {
            addStep(n_, weight, squares_[k], p, half);
        }
        weight *= weight;
    }
    return inPrecisionOf<double>(p);
}

}  // namespace qormath::control_utility
