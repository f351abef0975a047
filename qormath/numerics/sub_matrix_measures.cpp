#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include <qormath/lapack/lapack.hpp>
#include <qormath/numerics/detail/sub_matrix_measures.hpp>

namespace qormath::numerics {

namespace {

/// A pivot below this multiple of order * eps, relative to the first pivot, is taken for rounding error.
constexpr double singularPivotFactor = 16.0;

/// Up to this order Jacobi's rotations on the Gram matrix are faster than LAPACK's bidiagonal route.
constexpr int largestJacobiOrder = 12;

/// Jacobi's sweeps converge quadratically, within 6 or so; this only ends a loop that rounding would keep alive.
constexpr int maxSweeps = 40;

constexpr double infinity = std::numeric_limits<double>::infinity();

/// The binary exponent of a finite number other than 0.
int exponentOf(double x) {
    const int biased = static_cast<int>((std::bit_cast<std::uint64_t>(x) >> 52U) & 0x7ffU);
    return biased == 0 ? std::ilogb(x) : biased - 1023;
}

/// x 2^exponent. The library function is slow, and 2^exponent is mostly a number itself.
double timesPowerOf2(double x, int exponent) {
    if (exponent > -1000 && exponent < 1000) {
        return x * std::bit_cast<double>(static_cast<std::uint64_t>(exponent + 1023) << 52U);
    }
    return std::scalbn(x, exponent);
}

/// The rotation that annihilates g(p, q).
void rotate(double* g, int order, int p, int q) {
    double* const colP = g + static_cast<std::ptrdiff_t>(p) * order;
    double* const colQ = g + static_cast<std::ptrdiff_t>(q) * order;
    const double difference = colQ[q] - colP[p];
    const double twice = 2.0 * colQ[p];
    const double t = std::copysign(twice / (std::abs(difference) + std::sqrt(difference * difference + twice * twice)),
                                   difference < 0.0 ? -twice : twice);
    const double c = 1.0 / std::sqrt(1.0 + t * t);
    const double s = t * c;
    const double shift = t * colQ[p];
    colP[p] -= shift;
    colQ[q] += shift;
    colP[q] = 0.0;
    colQ[p] = 0.0;
    for (int r = 0; r < order; ++r) {
        if (r != p && r != q) {
            const double rp = colP[r];
            const double rq = colQ[r];
            colP[r] = c * rp - s * rq;
            colQ[r] = s * rp + c * rq;
            g[static_cast<std::ptrdiff_t>(r) * order + p] = colP[r];
            g[static_cast<std::ptrdiff_t>(r) * order + q] = colQ[r];
        }
    }
}

/// The largest eigenvalue of a symmetric matrix of order 3 with eigenvalues of 0 and above, which g may lose. The
/// trigonometric solution of the characteristic polynomial serves unless its two largest roots are close, where the
/// arc cosine loses up to half of the digits. O. K. Smith, "Eigenvalues of a symmetric 3x3 matrix", Communications of
/// the ACM 4 (1961).
double largestEigenvalueOfOrder3(double* g) {
    constexpr double leastSeparation = -0.99;  // 1 for two equal small roots, -1 for two equal large ones
    const double mean = (g[0] + g[4] + g[8]) / 3.0;
    const double x = g[0] - mean;
    const double y = g[4] - mean;
    const double z = g[8] - mean;
    const double offDiagonal = g[3] * g[3] + g[6] * g[6] + g[7] * g[7];
    const double spread = std::sqrt((x * x + y * y + z * z + 2.0 * offDiagonal) / 6.0);
    if (spread > 0.0) {
        const double determinant =
            x * (y * z - g[7] * g[7]) - g[3] * (g[3] * z - g[7] * g[6]) + g[6] * (g[3] * g[7] - y * g[6]);
        const double cosine = determinant / (2.0 * spread * spread * spread);
        if (cosine > leastSeparation) {
            return mean + 2.0 * spread * std::cos(std::acos(std::min(cosine, 1.0)) / 3.0);
        }
    }
    return symmetricEigenvalueRange(g, 3).largest;
}

/// The square of the 2-norm of a matrix whose largest element is about 1. gram is workspace of the same size.
double squaredNormByGramMatrix(const double* a, int order, double* gram) {
    for (int j = 0; j < order; ++j) {
        for (int i = 0; i <= j; ++i) {
            double sum = 0.0;
            for (int r = 0; r < order; ++r) {
                sum += a[static_cast<std::ptrdiff_t>(i) * order + r] * a[static_cast<std::ptrdiff_t>(j) * order + r];
            }
            gram[static_cast<std::ptrdiff_t>(j) * order + i] = sum;
            gram[static_cast<std::ptrdiff_t>(i) * order + j] = sum;
        }
    }
    return order == 3 ? largestEigenvalueOfOrder3(gram) : symmetricEigenvalueRange(gram, order).largest;
}

/// The same through LAPACK, which destroys a; infinite if the iteration fails.
double squaredNormByLapack(double* a, int order) {
    std::vector<double> singularValues(static_cast<std::size_t>(order));
    std::vector<int> integerWork(8 * static_cast<std::size_t>(order));
    double size = 0.0;
    lapack::gesdd('N', order, order, a, order, singularValues.data(), nullptr, 1, nullptr, 1, &size, -1,
                  integerWork.data());
    std::vector<double> work(static_cast<std::size_t>(size));
    const int info = lapack::gesdd('N', order, order, a, order, singularValues.data(), nullptr, 1, nullptr, 1,
                                   work.data(), static_cast<int>(work.size()), integerWork.data());
    return info == 0 ? singularValues[0] * singularValues[0] : infinity;
}

}  // namespace

EigenvalueRange symmetricEigenvalueRange(double* g, int order) {
    const auto at = [g, order](int i, int j) -> double& { return g[static_cast<std::ptrdiff_t>(j) * order + i]; };
    double scale = 0.0;
    for (int i = 0; i < order; ++i) {
        scale = std::max(scale, std::abs(at(i, i)));
    }
    const double negligible = scale * std::numeric_limits<double>::epsilon() / 4.0;
    bool isDiagonal = false;
    for (int sweep = 0; sweep < maxSweeps && !isDiagonal; ++sweep) {
        isDiagonal = true;
        for (int p = 0; p < order - 1; ++p) {
            for (int q = p + 1; q < order; ++q) {
                if (std::abs(at(p, q)) > negligible) {
                    rotate(g, order, p, q);
                    isDiagonal = false;
                }
            }
        }
    }
    EigenvalueRange range{at(0, 0), at(0, 0)};
    for (int i = 1; i < order; ++i) {
        range.smallest = std::min(range.smallest, at(i, i));
        range.largest = std::max(range.largest, at(i, i));
    }
    return range;
}

SubMatrixMeter::SubMatrixMeter(int order)
    : order_(order),
      equilibrated_(at(0, order)),
      factors_(at(0, order)),
      inverse_(at(0, order)),
      work_(at(0, order)),
      scaled_(at(0, order)),
      rowExponents_(at(order, 0)),
      colExponents_(at(order, 0)),
      rowOrder_(at(order, 0)),
      colOrder_(at(order, 0)) {}

SubMatrixMeasures SubMatrixMeter::measure(const double* a) {
    if (order_ == 1) {
        return a[0] == 0.0 ? SubMatrixMeasures{infinity, 0.0} : SubMatrixMeasures{1.0, 1.0};
    }
    if (!equilibrate(a) || !factorize()) {
        return {infinity, 0.0};
    }
    invert();
    int exponent = 0;
    int inverseExponent = 0;
    const double conditionNumber = std::sqrt(squaredNorm(false, exponent) * squaredNorm(true, inverseExponent));
    // Rounding can bring a perfectly conditioned matrix below 1.
    return {std::max(std::scalbn(conditionNumber, exponent + inverseExponent), 1.0), largestRelativeGain()};
}

/// False if there is a row or a column of zeros.
bool SubMatrixMeter::equilibrate(const double* a) {
    constexpr int none = std::numeric_limits<int>::min();
    std::fill(rowExponents_.begin(), rowExponents_.end(), none);
    std::fill(colExponents_.begin(), colExponents_.end(), none);
    for (int j = 0; j < order_; ++j) {
        for (int i = 0; i < order_; ++i) {
            if (a[at(i, j)] != 0.0) {
                int& rowExponent = rowExponents_[at(i, 0)];
                rowExponent = std::max(rowExponent, exponentOf(a[at(i, j)]));
            }
        }
    }
    for (int j = 0; j < order_; ++j) {
        int& colExponent = colExponents_[at(j, 0)];
        for (int i = 0; i < order_; ++i) {
            if (a[at(i, j)] != 0.0) {
                colExponent = std::max(colExponent, exponentOf(a[at(i, j)]) - rowExponents_[at(i, 0)]);
            }
        }
    }
    if (std::ranges::count(rowExponents_, none) + std::ranges::count(colExponents_, none) > 0) {
        return false;
    }
    for (int j = 0; j < order_; ++j) {
        for (int i = 0; i < order_; ++i) {
            equilibrated_[at(i, j)] = timesPowerOf2(a[at(i, j)], -(rowExponents_[at(i, 0)] + colExponents_[at(j, 0)]));
        }
    }
    return true;
}

/// P E Q = L U of the equilibrated matrix E with complete pivoting. False if a pivot is rounding error.
bool SubMatrixMeter::factorize() {
    factors_ = equilibrated_;
    for (int t = 0; t < order_; ++t) {
        rowOrder_[at(t, 0)] = t;
        colOrder_[at(t, 0)] = t;
    }
    double threshold = 0.0;
    for (int step = 0; step < order_; ++step) {
        int pivotRow = step;
        int pivotCol = step;
        for (int j = step; j < order_; ++j) {
            for (int i = step; i < order_; ++i) {
                if (std::abs(factors_[at(i, j)]) > std::abs(factors_[at(pivotRow, pivotCol)])) {
                    pivotRow = i;
                    pivotCol = j;
                }
            }
        }
        const double pivot = factors_[at(pivotRow, pivotCol)];
        if (step == 0) {
            threshold = singularPivotFactor * order_ * std::numeric_limits<double>::epsilon() * std::abs(pivot);
        }
        if (!(std::abs(pivot) > threshold)) {
            return false;
        }
        if (pivotRow != step) {
            for (int j = 0; j < order_; ++j) {
                std::swap(factors_[at(step, j)], factors_[at(pivotRow, j)]);
            }
            std::swap(rowOrder_[at(step, 0)], rowOrder_[at(pivotRow, 0)]);
        }
        if (pivotCol != step) {
            std::swap_ranges(&factors_[at(0, step)], &factors_[at(0, step)] + order_, &factors_[at(0, pivotCol)]);
            std::swap(colOrder_[at(step, 0)], colOrder_[at(pivotCol, 0)]);
        }
        for (int i = step + 1; i < order_; ++i) {
            factors_[at(i, step)] /= pivot;
        }
        for (int j = step + 1; j < order_; ++j) {
            const double multiplier = factors_[at(step, j)];
            for (int i = step + 1; i < order_; ++i) {
                factors_[at(i, j)] -= factors_[at(i, step)] * multiplier;
            }
        }
    }
    return true;
}

/// E^-1 = Q U^-1 L^-1 P, a column at a time.
void SubMatrixMeter::invert() {
    double* const y = work_.data();
    for (int col = 0; col < order_; ++col) {
        std::fill_n(y, order_, 0.0);
        y[col] = 1.0;
        for (int j = col; j < order_; ++j) {
            for (int i = j + 1; i < order_; ++i) {
                y[i] -= factors_[at(i, j)] * y[j];
            }
        }
        for (int j = order_ - 1; j >= 0; --j) {
            y[j] /= factors_[at(j, j)];
            for (int i = 0; i < j; ++i) {
                y[i] -= factors_[at(i, j)] * y[j];
            }
        }
        for (int i = 0; i < order_; ++i) {
            inverse_[at(colOrder_[at(i, 0)], rowOrder_[at(col, 0)])] = y[i];
        }
    }
}

/// Scaling does not change the relative gain array, so that it is taken of the equilibrated matrix.
double SubMatrixMeter::largestRelativeGain() const {
    double largest = 0.0;
    for (int j = 0; j < order_; ++j) {
        for (int i = 0; i < order_; ++i) {
            largest = std::max(largest, std::abs(equilibrated_[at(i, j)] * inverse_[at(j, i)]));
        }
    }
    return largest;
}

/// The square of the 2-norm of the matrix itself, or of its inverse, where that norm is the root of what is returned
/// times 2^exponent: either can be out of the range of numbers where their product is not. What underflows is nothing
/// beside the largest element.
double SubMatrixMeter::squaredNorm(bool ofInverse, int& exponent) {
    const std::vector<double>& source = ofInverse ? inverse_ : equilibrated_;
    const auto scaleOf = [&](int i, int j) {
        return ofInverse ? -(colExponents_[at(i, 0)] + rowExponents_[at(j, 0)])
                         : rowExponents_[at(i, 0)] + colExponents_[at(j, 0)];
    };
    exponent = std::numeric_limits<int>::min();
    for (int j = 0; j < order_; ++j) {
        for (int i = 0; i < order_; ++i) {
            if (source[at(i, j)] != 0.0) {
                exponent = std::max(exponent, exponentOf(source[at(i, j)]) + scaleOf(i, j));
            }
        }
    }
    for (int j = 0; j < order_; ++j) {
        for (int i = 0; i < order_; ++i) {
            scaled_[at(i, j)] = timesPowerOf2(source[at(i, j)], scaleOf(i, j) - exponent);
        }
    }
    return order_ <= largestJacobiOrder ? squaredNormByGramMatrix(scaled_.data(), order_, work_.data())
                                        : squaredNormByLapack(scaled_.data(), order_);
}

}  // namespace qormath::numerics
