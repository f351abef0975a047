#include <algorithm>
#include <cmath>
#include <cstddef>

#include <qormath/control_utility/pencil_balancing.hpp>
#include <qormath/control_utility/plain_products.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using Elements = std::vector<double>;

// A row and its column are scaled where that lowers the sum of their norms to this share at least.
constexpr double worthwhileShare = 0.95;
// Moduli and factors within these are numbers when squared and multiplied with each other.
constexpr double largestModulus = 0x1p200;
constexpr int largestScale = 100;
// A balancing ends after a few rounds; one that does not is left to the other way.
constexpr int mostRounds = 100;

/// The squares of the moduli of the pencil,
///
///   a   0   b
///   q   a'  s    with zeros on the diagonals of a and r,
///   s'  b'  r
///
/// and the scales of its states, costates and inputs so far.
class SquaredPencil {
  public:
    explicit SquaredPencil(const RiccatiProblem& problem)
        : n_(problem.n),
          m_(problem.m),
          a_(squares(n_, n_, problem.a, true)),
          at_(transposed(n_, n_, a_)),
          q_(squares(n_, n_, problem.q, false)),
          b_(squares(n_, m_, problem.b, false)),
          bt_(transposed(n_, m_, b_)),
          s_(squares(n_, m_, problem.s, false)),
          st_(transposed(n_, m_, s_)),
          r_(squares(m_, m_, problem.r, true)),
          exponents_(2 * static_cast<std::size_t>(n_) + static_cast<std::size_t>(m_), 0.0),
          ofColumns_(exponents_.size(), 1.0),
          ofRows_(exponents_.size(), 1.0) {}

    /// False where a square, or a scale, is out of range, or where it does not come to an end.
    bool balance() {
        for (int round = 0; round < mostRounds && isInRange_; ++round) {
            bool changed = false;
            for (int k = 0; k < 2 * n_ + m_; ++k) {
                changed = scale(k) || changed;
            }
            if (!changed) {
                return isInRange_;
            }
        }
        return false;
    }

    const Elements& exponents() const { return exponents_; }

  private:
    Elements squares(int rows, int columns, const Elements& block, bool hasZeroDiagonal) {
        Elements result(block.size());
        double largest = 0.0;
        double least = 1.0;
        for (std::size_t k = 0; k < block.size(); ++k) {
            const double modulus = std::abs(block[k]);
            largest = std::max(largest, modulus);
            least = modulus > 0.0 ? std::min(least, modulus) : least;
            result[k] = modulus * modulus;
        }
        for (int k = 0; k < std::min(rows, columns) && hasZeroDiagonal; ++k) {
            *at(result.data(), rows, k, k) = 0.0;
        }
        isInRange_ = isInRange_ && largest <= largestModulus && least >= 1.0 / largestModulus;
        return result;
    }

    static Elements transposed(int rows, int columns, const Elements& block) {
        constexpr int side = 32;
        Elements result(block.size());
        for (int first = 0; first < columns; first += side) {
            const int last = std::min(columns, first + side);
            for (int i = 0; i < rows; ++i) {
                for (int j = first; j < last; ++j) {
                    *at(result.data(), columns, j, i) = *at(block.data(), rows, i, j);
                }
            }
        }
        return result;
    }

    /// The sum of a column of a block, weighted.
    static double sum(int rows, const Elements& block, int column, const double* weights) {
        return lapack::dot(rows, at(block.data(), rows, 0, column), 1, weights, 1);
    }

    /// The norms of column k and of row k, each without its own scale.
    void measure(int k, double& column, double& row) const {
        const double* const rowsOfStates = ofRows_.data();
        const double* const rowsOfCostates = rowsOfStates + n_;
        const double* const rowsOfInputs = rowsOfCostates + n_;
        const double* const columnsOfStates = ofColumns_.data();
        const double* const columnsOfCostates = columnsOfStates + n_;
        const double* const columnsOfInputs = columnsOfCostates + n_;
        if (k < n_) {
            column = sum(n_, a_, k, rowsOfStates) + sum(n_, q_, k, rowsOfCostates) + sum(m_, st_, k, rowsOfInputs);
            row = sum(n_, at_, k, columnsOfStates) + sum(m_, bt_, k, columnsOfInputs);
        } else if (k < 2 * n_) {
            const int j = k - n_;
            column = sum(n_, at_, j, rowsOfCostates) + sum(m_, bt_, j, rowsOfInputs);
            row =
                sum(n_, q_, j, columnsOfStates) + sum(n_, a_, j, columnsOfCostates) + sum(m_, st_, j, columnsOfInputs);
        } else {
            const int j = k - 2 * n_;
            column = sum(n_, b_, j, rowsOfStates) + sum(n_, s_, j, rowsOfCostates) + sum(m_, r_, j, rowsOfInputs);
            row = sum(n_, s_, j, columnsOfStates) + sum(n_, b_, j, columnsOfCostates) + sum(m_, r_, j, columnsOfInputs);
        }
    }

    /// Makes the norms of column k and row k alike, but for a factor of two, where that is worthwhile.
    bool scale(int k) {
        const auto here = static_cast<std::size_t>(k);
        double column = 0.0;
        double row = 0.0;
        measure(k, column, row);
        column = std::sqrt(column * ofColumns_[here]);
        row = std::sqrt(row * ofRows_[here]);
        if (!(column > 0.0) || !(row > 0.0) || !std::isfinite(column) || !std::isfinite(row)) {
            return false;
        }
        const double before = column + row;
        int exponent = 0;
        for (; column < 0.5 * row; ++exponent) {
            column *= 2.0;
            row *= 0.5;
        }
        for (; 0.5 * column >= row; --exponent) {
            column *= 0.5;
            row *= 2.0;
        }
        if (exponent == 0 || column + row >= worthwhileShare * before) {
            return false;
        }
        exponents_[here] += exponent;
        isInRange_ = isInRange_ && std::abs(exponents_[here]) <= largestScale;
        ofColumns_[here] = std::exp2(2.0 * exponents_[here]);
        ofRows_[here] = std::exp2(-2.0 * exponents_[here]);
        return isInRange_;
    }

    bool isInRange_ = true;
    int n_;
    int m_;
    Elements a_, at_, q_, b_, bt_, s_, st_, r_;
    Elements exponents_;
    // The squares of the scales, and of their reciprocals.
    Elements ofColumns_, ofRows_;
};

/// The moduli of the pencil of order 2 n + m in states, costates and inputs, with a diagonal of zeros.
Elements moduliOfPencil(const RiccatiProblem& problem) {
    const int n = problem.n;
    const int m = problem.m;
    const int order = 2 * n + m;
    Elements moduli(elementCount(order, order), 0.0);
    const auto element = [&](int i, int j) -> double& { return *at(moduli.data(), order, i, j); };
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const double modulus = i == j ? 0.0 : std::abs(*at(problem.a.data(), n, i, j));
            element(i, j) = modulus;
            element(n + j, n + i) = modulus;
            element(n + i, j) = std::abs(*at(problem.q.data(), n, i, j));
        }
    }
    for (int j = 0; j < m; ++j) {
        for (int i = 0; i < n; ++i) {
            const double input = std::abs(*at(problem.b.data(), n, i, j));
            const double cross = std::abs(*at(problem.s.data(), n, i, j));
            element(i, 2 * n + j) = input;
            element(2 * n + j, n + i) = input;
            element(n + i, 2 * n + j) = cross;
            element(2 * n + j, i) = cross;
        }
        for (int i = 0; i < m; ++i) {
            element(2 * n + i, 2 * n + j) = i == j ? 0.0 : std::abs(*at(problem.r.data(), m, i, j));
        }
    }
    return moduli;
}

}  // namespace

Elements balancingExponentsByLapack(const RiccatiProblem& problem) {
    const int order = 2 * problem.n + problem.m;
    Elements moduli = moduliOfPencil(problem);
    Elements scale(static_cast<std::size_t>(order), 1.0);
    int ilo = 0;
    int ihi = 0;
    lapack::gebal('S', order, moduli.data(), order, ilo, ihi, scale.data());
    std::transform(scale.begin(), scale.end(), scale.begin(), [](double factor) { return std::log2(factor); });
    return scale;
}

Elements balancingExponents(const RiccatiProblem& problem) {
    SquaredPencil pencil(problem);
    return pencil.balance() ? pencil.exponents() : balancingExponentsByLapack(problem);
}

}  // namespace qormath::control_utility
