#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/triangular_stein.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {
namespace {

using lapack::Op;

// Up to this order the plain kernel is faster than further cuts.
constexpr int leafOrder = 16;

// Columns of x that are solved together. The product of a with what the later columns add is taken once a panel.
constexpr int panelOrder = 128;

// As in the Sylvester kernel: a block gets fewer than 64 updates, each within this limit, about 1e271, and the guard of
// the small systems is left to those that need it.
constexpr double updateLimit = 0x1p900;

struct Outcome {
    double scale = 1.0;
    double largest = 0.0;  // the largest absolute element of the solution
};

// Gaussian elimination with complete pivoting for a system of order 1, 2 or 4.
class SmallSystem {
  public:
    SmallSystem(int order, double smallestPivot) : order_(order), smallestPivot_(smallestPivot) {}

    double& element(int row, int column) { return matrix_[static_cast<std::size_t>(row * 4 + column)]; }
    double& right(int row) { return right_[static_cast<std::size_t>(row)]; }

    // The solution takes the place of the right-hand side, times the scale that is returned. A pivot below the
    // smallest is lifted to it and tells so in perturbed.
    double solve(bool& perturbed) {
        std::array<int, 4> order = {0, 1, 2, 3};
        for (int step = 0; step < order_; ++step) {
            bringLargestToPivot(step, order);
            if (std::abs(element(step, step)) < smallestPivot_) {
                element(step, step) = smallestPivot_;
                perturbed = true;
            }
            for (int row = step + 1; row < order_; ++row) {
                const double factor = element(row, step) / element(step, step);
                right(row) -= factor * right(step);
                for (int column = step + 1; column < order_; ++column) {
                    element(row, column) -= factor * element(step, column);
                }
            }
        }
        const double scale = scaleAgainstOverflow();
        for (int row = order_ - 1; row >= 0; --row) {
            for (int column = row + 1; column < order_; ++column) {
                right(row) -= element(row, column) * right(column);
            }
            right(row) /= element(row, row);
        }
        const std::array<double, 4> permuted = right_;
        for (int row = 0; row < order_; ++row) {
            right(order[static_cast<std::size_t>(row)]) = permuted[static_cast<std::size_t>(row)];
        }
        return scale;
    }

  private:
    void bringLargestToPivot(int step, std::array<int, 4>& order) {
        int pivotRow = step;
        int pivotColumn = step;
        for (int row = step; row < order_; ++row) {
            for (int column = step; column < order_; ++column) {
                if (std::abs(element(row, column)) > std::abs(element(pivotRow, pivotColumn))) {
                    pivotRow = row;
                    pivotColumn = column;
                }
            }
        }
        for (int column = 0; column < order_; ++column) {
            std::swap(element(step, column), element(pivotRow, column));
        }
        std::swap(right(step), right(pivotRow));
        for (int row = 0; row < order_; ++row) {
            std::swap(element(row, step), element(row, pivotColumn));
        }
        std::swap(order[static_cast<std::size_t>(step)], order[static_cast<std::size_t>(pivotColumn)]);
    }

    // With complete pivoting the back substitution of order 4 grows by less than 8.
    double scaleAgainstOverflow() {
        constexpr double tiny = 8 * std::numeric_limits<double>::min();
        double largest = 0.0;
        bool needed = false;
        for (int row = 0; row < order_; ++row) {
            largest = std::max(largest, std::abs(right(row)));
            needed = needed || tiny * std::abs(right(row)) > std::abs(element(row, row));
        }
        if (!needed) {
            return 1.0;
        }
        const double scale = 0.125 / largest;
        for (int row = 0; row < order_; ++row) {
            right(row) *= scale;
        }
        return scale;
    }

    int order_;
    double smallestPivot_;
    std::array<double, 16> matrix_ = {};
    std::array<double, 4> right_ = {};
};

class RecursiveSolver {
  public:
    RecursiveSolver(int m, int n, int lda, int ldf, int ldc, double largestA, double largestF)
        : lda_(lda),
          ldf_(ldf),
          ldc_(ldc),
          largestA_(largestA),
          largestF_(largestF),
          product_(static_cast<std::size_t>(m) * static_cast<std::size_t>(n)) {}

    Outcome solve(int m, int n, const double* a, const double* f, double* c) {
        if (n > panelOrder) {
            return solvePanels(m, n, panelOrder, a, f, c);
        }
        if (m > leafOrder) {
            return solveCutA(m, n, a, f, c);
        }
        return n > leafOrder ? solvePanels(m, n, leafOrder, a, f, c) : solveLeaf(m, n, a, f, c);
    }

    int info() const { return perturbed_ ? 1 : 0; }

  private:
    Outcome solveCutA(int m, int n, const double* a, const double* f, double* c) {
        const int cut = cutOutsidePair(a, lda_, m / 2);
        double* const lower = at(c, ldc_, cut, 0);
        Outcome first = solve(m - cut, n, at(a, lda_, cut, cut), f, lower);
        scaleMatrix(m - cut, n, dampingBeforeUpdate(m - cut, n, first), lower, ldc_);
        scaleMatrix(cut, n, first.scale, c, ldc_);
        multiplyByTransposedF(m - cut, n, f, lower);
        lapack::gemm(Op::none, Op::none, cut, n, m - cut, 1.0, at(a, lda_, 0, cut), lda_, product_.data(), m - cut, 1.0,
                     c, ldc_);
        return joined(first, solve(cut, n, a, f, c), m - cut, n, lower);
    }

    Outcome solvePanels(int m, int n, int width, const double* a, const double* f, double* c) {
        Outcome solved;
        for (int end = n; end > 0;) {
            const int start = end <= width ? 0 : cutOutsidePair(f, ldf_, end - width);
            const int order = end - start;
            double* const panel = at(c, ldc_, 0, start);
            double* const later = at(c, ldc_, 0, end);
            if (end < n) {
                scaleMatrix(m, n - end, dampingBeforeUpdate(m, n - end, solved), later, ldc_);
                scaleMatrix(m, order, solved.scale, panel, ldc_);
                lapack::gemm(Op::none, Op::transpose, m, order, n - end, 1.0, later, ldc_, at(f, ldf_, start, end),
                             ldf_, 0.0, product_.data(), m);
                addQuasiTriangularProduct(m, order, a, product_.data(), m, panel);
            }
            const Outcome next = solve(m, order, a, at(f, ldf_, start, start), panel);
            solved = joined(solved, next, m, n - end, later);
            end = start;
        }
        return solved;
    }

    // product_ = x f', with f quasi-triangular, by block rows of f from their diagonal blocks on.
    void multiplyByTransposedF(int m, int n, const double* f, const double* x) {
        for (int first = 0; first < n;) {
            const int last = blockEnd(n, f, ldf_, first);
            const int corner = last - first;
            // The rows first..last of f are zero left of column first.
            copyQuasiTriangular(corner, at(f, ldf_, first, first), ldf_, cornerCopy_.data(), cornerOrder);
            double* const target = product_.data() + static_cast<std::ptrdiff_t>(first) * m;
            lapack::gemm(Op::none, Op::transpose, m, corner, corner, 1.0, at(x, ldc_, 0, first), ldc_,
                         cornerCopy_.data(), cornerOrder, 0.0, target, m);
            lapack::gemm(Op::none, Op::transpose, m, corner, n - last, 1.0, at(x, ldc_, 0, last), ldc_,
                         at(f, ldf_, first, last), ldf_, 1.0, target, m);
            first = last;
        }
    }

    // c = c + a x, with a quasi-triangular.
    void addQuasiTriangularProduct(int m, int n, const double* a, const double* x, int ldx, double* c) {
        for (int first = 0; first < m;) {
            const int last = blockEnd(m, a, lda_, first);
            const int corner = last - first;
            copyQuasiTriangular(corner, at(a, lda_, first, first), lda_, cornerCopy_.data(), cornerOrder);
            lapack::gemm(Op::none, Op::none, corner, n, corner, 1.0, cornerCopy_.data(), cornerOrder,
                         at(x, ldx, first, 0), ldx, 1.0, at(c, ldc_, first, 0), ldc_);
            lapack::gemm(Op::none, Op::none, corner, n, m - last, 1.0, at(a, lda_, first, last), lda_,
                         at(x, ldx, last, 0), ldx, 1.0, at(c, ldc_, first, 0), ldc_);
            first = last;
        }
    }

    static int blockEnd(int n, const double* a, int lda, int first) {
        const int wanted = first + cornerOrder - 1;
        return wanted >= n ? n : cutOutsidePair(a, lda, wanted);
    }

    // Column blocks of x from the last to the first, and in each the row blocks from the last to the first.
    Outcome solveLeaf(int m, int n, const double* a, const double* f, double* c) {
        Outcome outcome;
        for (int column = n; column > 0;) {
            const int width = column > 1 && startsPair(n, f, ldf_, column - 2) ? 2 : 1;
            column -= width;
            addLaterColumns(m, n, column, width, a, f, c);
            for (int row = m; row > 0;) {
                const int height = row > 1 && startsPair(m, a, lda_, row - 2) ? 2 : 1;
                row -= height;
                addLowerRows(m, row, height, column, width, a, f, c);
                const double scale = solveBlock(row, height, column, width, a, f, c);
                if (scale != 1.0) {
                    scaleAllBut(m, n, row, height, column, width, scale, c);
                    outcome.scale *= scale;
                }
            }
        }
        outcome.largest = largestElement(m, n, c, ldc_);
        return outcome;
    }

    // Adds a (x f') of the columns that are solved to the columns column..column + width.
    void addLaterColumns(int m, int n, int column, int width, const double* a, const double* f, double* c) {
        std::array<double, leafOrder> sum = {};
        for (int target = column; target < column + width; ++target) {
            sum.fill(0.0);
            for (int solved = column + width; solved < n; ++solved) {
                const double factor = *at(f, ldf_, target, solved);
                for (int row = 0; row < m; ++row) {
                    sum[static_cast<std::size_t>(row)] += factor * *at(c, ldc_, row, solved);
                }
            }
            for (int inner = 0; inner < m; ++inner) {
                const double factor = sum[static_cast<std::size_t>(inner)];
                const int filled = inner + (startsPair(m, a, lda_, inner) ? 2 : 1);
                for (int row = 0; row < filled; ++row) {
                    *at(c, ldc_, row, target) += *at(a, lda_, row, inner) * factor;
                }
            }
        }
    }

    // Adds a (x f') of the rows that are solved, below row + height, to the block.
    void addLowerRows(int m, int row, int height, int column, int width, const double* a, const double* f, double* c) {
        for (int inner = row + height; inner < m; ++inner) {
            for (int target = 0; target < width; ++target) {
                double factor = 0.0;
                for (int solved = 0; solved < width; ++solved) {
                    factor += *at(c, ldc_, inner, column + solved) * *at(f, ldf_, column + target, column + solved);
                }
                for (int offset = 0; offset < height; ++offset) {
                    *at(c, ldc_, row + offset, column + target) += *at(a, lda_, row + offset, inner) * factor;
                }
            }
        }
    }

    double solveBlock(int row, int height, int column, int width, const double* a, const double* f, double* c) {
        // The pivots of I - f (x) a are judged against the sizes of what they are made of.
        const double size = std::max(1.0, largestElement(height, height, at(a, lda_, row, row), lda_) *
                                              largestElement(width, width, at(f, ldf_, column, column), ldf_));
        SmallSystem system(height * width, lapack::machineEpsilon() * size);
        for (int j = 0; j < width; ++j) {
            for (int i = 0; i < height; ++i) {
                system.right(i + j * height) = *at(c, ldc_, row + i, column + j);
                for (int l = 0; l < width; ++l) {
                    for (int k = 0; k < height; ++k) {
                        const double identity = i == k && j == l ? 1.0 : 0.0;
                        system.element(i + j * height, k + l * height) =
                            identity - *at(a, lda_, row + i, row + k) * *at(f, ldf_, column + j, column + l);
                    }
                }
            }
        }
        const double scale = system.solve(perturbed_);
        for (int j = 0; j < width; ++j) {
            for (int i = 0; i < height; ++i) {
                *at(c, ldc_, row + i, column + j) = system.right(i + j * height);
            }
        }
        return scale;
    }

    void scaleAllBut(int m, int n, int row, int height, int column, int width, double factor, double* c) const {
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < m; ++i) {
                const bool inside = i >= row && i < row + height && j >= column && j < column + width;
                *at(c, ldc_, i, j) *= inside ? 1.0 : factor;
            }
        }
    }

    // The factor that keeps a x f' of the solved half, m by n, within updateLimit. It goes into the half's outcome.
    double dampingBeforeUpdate(int m, int n, Outcome& first) const {
        const double limit =
            updateLimit / (n * std::max(1.0, largestF_)) / (static_cast<double>(m) * std::max(1.0, largestA_));
        if (first.largest <= limit) {
            return 1.0;
        }
        const double damping = limit / first.largest;
        first.scale *= damping;
        first.largest *= damping;
        return damping;
    }

    // Brings the half that was solved first to the scale of both.
    Outcome joined(const Outcome& first, const Outcome& second, int rows, int columns, double* firstHalf) const {
        scaleMatrix(rows, columns, second.scale, firstHalf, ldc_);
        return {first.scale * second.scale, std::max(first.largest * second.scale, second.largest)};
    }

    // Order of the diagonal blocks in products with a quasi-triangular matrix.
    static constexpr int cornerOrder = 64;

    int lda_;
    int ldf_;
    int ldc_;
    double largestA_;
    double largestF_;
    bool perturbed_ = false;
    std::vector<double> product_;
    std::vector<double> cornerCopy_ = std::vector<double>(cornerOrder * cornerOrder);
};

}  // namespace

int solveTriangularStein(int m, int n, const double* a, int lda, const double* f, int ldf, double* c, int ldc,
                         double& scale) {
    scale = 1.0;
    if (m <= 0 || n <= 0) {
        return 0;
    }
    const double largestC = largestElement(m, n, c, ldc);
    double damping = 1.0;
    if (largestC > updateLimit) {
        damping = updateLimit / largestC;
        scaleMatrix(m, n, damping, c, ldc);
    }
    RecursiveSolver solver(m, n, lda, ldf, ldc, largestOfQuasiTriangular(m, a, lda),
                           largestOfQuasiTriangular(n, f, ldf));
    scale = damping * solver.solve(m, n, a, f, c).scale;
    return solver.info();
}

}  // namespace qormath::control_utility
