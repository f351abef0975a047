#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/small_sylvester.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;

constexpr int ld = largestSmallSylvester;

// Pivots of at least this, beside the elements of the diagonal blocks, leave four of them a determinant of 2^-36: the
// complete pivoting of DTRSYL then meets none as small as 2^-52, which is what it replaces.
constexpr double clearPivot = 0x1p-12;
// DTRSYL measures some pivots by the largest element of all. With blocks of this size beside it they are clear too.
constexpr double clearBlock = 0x1p-26;
// And one by the smallest normal number.
constexpr double clearSize = 0x1p-900;
// DTRSYL scales for solutions near the largest number alone.
constexpr double clearSolution = 0x1p900;

/// An upper quasi-triangular factor, and the largest elements of it and of its diagonal blocks, by their first rows.
struct Factor {
    int order = 0;
    double largest = 0.0;
    std::array<double, ld * ld> elements;
    std::array<double, ld> largestOfBlock;

    const double* column(int j) const { return elements.data() + static_cast<std::ptrdiff_t>(j) * ld; }
    double operator()(int i, int j) const { return column(j)[i]; }
    int blockAt(int first) const { return startsPair(order, elements.data(), ld, first) ? 2 : 1; }
    int blockBefore(int end) const { return end >= 2 && (*this)(end - 1, end - 2) != 0.0 ? 2 : 1; }

    /// Takes factor op(a) over, the transpose with both of its orders reversed, which makes it upper triangular again.
    void take(Op op, double factor, int n, const double* a, int lda) {
        order = n;
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < std::min(n, j + 2); ++i) {
                const double element =
                    factor * (op == Op::none ? *at(a, lda, i, j) : *at(a, lda, n - 1 - j, n - 1 - i));
                *at(elements.data(), ld, i, j) = element;
                largest = std::max(largest, std::abs(element));
            }
        }
        for (int first = 0; first < n; first += blockAt(first)) {
            double size = std::abs((*this)(first, first));
            if (blockAt(first) == 2) {
                size = std::max({size, std::abs((*this)(first + 1, first + 1)), std::abs((*this)(first, first + 1)),
                                 std::abs((*this)(first + 1, first))});
            }
            largestOfBlock[static_cast<std::size_t>(first)] = size;
        }
    }
};

template <int order>
using System = std::array<std::array<double, order + 1>, order>;

/// Solves a system for the last column, which becomes the solution; false for a pivot below the least.
template <int order>
bool eliminate(System<order>& rows, double least) {
    for (std::size_t k = 0; k < order; ++k) {
        std::size_t pivot = k;
        for (std::size_t i = k + 1; i < order; ++i) {
            if (std::abs(rows[i][k]) > std::abs(rows[pivot][k])) {
                pivot = i;
            }
        }
        if (!(std::abs(rows[pivot][k]) >= least)) {
            return false;
        }
        if (pivot != k) {
            std::swap(rows[pivot], rows[k]);
        }
        for (std::size_t i = k + 1; i < order; ++i) {
            const double factor = rows[i][k] / rows[k][k];
            for (std::size_t j = k + 1; j <= order; ++j) {
                rows[i][j] -= factor * rows[k][j];
            }
        }
    }
    for (std::size_t k = order; k-- > 0;) {
        rows[k][order] /= rows[k][k];
        for (std::size_t i = 0; i < k; ++i) {
            rows[i][order] -= rows[i][k] * rows[k][order];
        }
    }
    return true;
}

void subtractMultiple(int length, double factor, const double* from, double* to) {
    for (int i = 0; i < length; ++i) {
        to[i] -= factor * from[i];
    }
}

/// a x + x b = c for upper quasi-triangular a and b, from the last rows of x to the first and from the first columns to
/// the last.
class SmallSylvester {
  public:
    SmallSylvester(Op opA, Op opB, int sign, int m, int n, const double* a, int lda, const double* b, int ldb)
        : reversedRows_(opA != Op::none), reversedColumns_(opB != Op::none) {
        a_.take(opA, 1.0, m, a, lda);
        b_.take(opB, sign, n, b, ldb);
        leastBlock_ = std::max(clearSize, clearBlock * std::max(a_.largest, b_.largest));
    }

    bool solve(const double* c, int ldc) {
        for (int j = 0; j < b_.order; ++j) {
            for (int i = 0; i < a_.order; ++i) {
                x(j)[i] = *at(c, ldc, rowOf(i), columnOf(j));
            }
        }
        int size = 0;
        for (int first = 0; first < b_.order; first += size) {
            size = b_.blockAt(first);
            for (int j = first; j < first + size; ++j) {
                for (int k = 0; k < first; ++k) {
                    subtractMultiple(a_.order, b_(k, j), x(k), x(j));
                }
            }
            if (!solveColumns(first, size)) {
                return false;
            }
        }
        return true;
    }

    /// False, and nothing is written, if an element is too large or no number.
    bool copyTo(double* c, int ldc, double& largest) {
        double size = 0.0;
        for (int j = 0; j < b_.order; ++j) {
            for (int i = 0; i < a_.order; ++i) {
                const double modulus = std::abs(x(j)[i]);
                if (!(modulus <= clearSolution)) {
                    return false;
                }
                size = std::max(size, modulus);
            }
        }
        largest = size;
        for (int j = 0; j < b_.order; ++j) {
            for (int i = 0; i < a_.order; ++i) {
                *at(c, ldc, rowOf(i), columnOf(j)) = x(j)[i];
            }
        }
        return true;
    }

  private:
    double* x(int j) { return x_.data() + static_cast<std::ptrdiff_t>(j) * ld; }
    int rowOf(int i) const { return reversedRows_ ? a_.order - 1 - i : i; }
    int columnOf(int j) const { return reversedColumns_ ? b_.order - 1 - j : j; }

    bool solveColumns(int column, int columns) {
        for (int end = a_.order; end > 0;) {
            const int rows = a_.blockBefore(end);
            end -= rows;
            if (!solveBlock(end, rows, column, columns)) {
                return false;
            }
            for (int j = column; j < column + columns; ++j) {
                for (int k = end; k < end + rows; ++k) {
                    subtractMultiple(end, x(j)[k], a_.column(k), x(j));
                }
            }
        }
        return true;
    }

    bool solveBlock(int i, int rows, int j, int columns) {
        const double size =
            std::max(a_.largestOfBlock[static_cast<std::size_t>(i)], b_.largestOfBlock[static_cast<std::size_t>(j)]);
        if (!(size >= leastBlock_)) {
            return false;
        }
        const double least = clearPivot * size;
        double* const first = x(j) + i;
        if (rows == 1 && columns == 1) {
            const double sum = a_(i, i) + b_(j, j);
            *first /= sum;
            return std::abs(sum) >= least;
        }
        double* const second = x(j + columns - 1) + i;
        if (columns == 1) {
            System<2> system = {
                {{a_(i, i) + b_(j, j), a_(i, i + 1), first[0]}, {a_(i + 1, i), a_(i + 1, i + 1) + b_(j, j), first[1]}}};
            const bool clear = eliminate<2>(system, least);
            first[0] = system[0][2];
            first[1] = system[1][2];
            return clear;
        }
        const double b11 = b_(j, j), b21 = b_(j + 1, j), b12 = b_(j, j + 1), b22 = b_(j + 1, j + 1);
        if (rows == 1) {
            System<2> system = {{{a_(i, i) + b11, b21, *first}, {b12, a_(i, i) + b22, *second}}};
            const bool clear = eliminate<2>(system, least);
            *first = system[0][2];
            *second = system[1][2];
            return clear;
        }
        const double a11 = a_(i, i), a21 = a_(i + 1, i), a12 = a_(i, i + 1), a22 = a_(i + 1, i + 1);
        System<4> system = {{{a11 + b11, a12, b21, 0.0, first[0]},
                             {a21, a22 + b11, 0.0, b21, first[1]},
                             {b12, 0.0, a11 + b22, a12, second[0]},
                             {0.0, b12, a21, a22 + b22, second[1]}}};
        const bool clear = eliminate<4>(system, least);
        first[0] = system[0][4];
        first[1] = system[1][4];
        second[0] = system[2][4];
        second[1] = system[3][4];
        return clear;
    }

    bool reversedRows_;
    bool reversedColumns_;
    double leastBlock_ = 0.0;
    Factor a_;
    Factor b_;
    std::array<double, ld * ld> x_;
};

}  // namespace

bool solveSmallSylvester(Op opA, Op opB, int sign, int m, int n, const double* a, int lda, const double* b, int ldb,
                         double* c, int ldc, double& largest) {
    SmallSylvester equation(opA, opB, sign, m, n, a, lda, b, ldb);
    return equation.solve(c, ldc) && equation.copyTo(c, ldc, largest);
}

}  // namespace qormath::control_utility
