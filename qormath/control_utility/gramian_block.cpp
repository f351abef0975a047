#include <algorithm>
#include <cmath>

#include <qormath/control_utility/gramian_block.hpp>
#include <qormath/control_utility/gramian_pair.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/triangular_stein.hpp>
#include <qormath/control_utility/triangular_sylvester.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {
namespace {

using lapack::Op;

std::size_t elements(int rows, int columns) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
}

// Reflectors whose product h takes the active rows of [similar, y] of a cell to unit vectors: the columns of h past the
// order of the cell then span what is orthogonal to those rows. A reflector of an inactive row stays the identity.
class CellReflectors {
  public:
    CellReflectors(const GramianCell& cell, int order, int width, const double* y)
        : size_(order + width), vectors_(elements(size_, order)) {
        for (int row = 0; row < order; ++row) {
            double* const v = at(vectors_.data(), size_, 0, row);
            for (int k = 0; k < order; ++k) {
                v[k] = cell.similar[row + 2 * k];
            }
            lapack::copy(width, y + row, order, v + order, 1);
        }
        for (int row = 0; row < order; ++row) {
            tau_[row] = cell.active[row] ? makeReflector(order, row) : 0.0;
        }
    }

    // x = x h for x of m rows.
    void applyFromRight(int m, double* x, int ldx) const {
        std::vector<double> product(static_cast<std::size_t>(m));
        for (int row = 0; row * size_ < static_cast<int>(vectors_.size()); ++row) {
            const double* const v = at(vectors_.data(), size_, 0, row);
            lapack::gemv(Op::none, m, size_, tau_[row], x, ldx, v, 1, 0.0, product.data(), 1);
            lapack::ger(m, size_, -1.0, product.data(), 1, v, 1, x, ldx);
        }
    }

    // x = h' x for x of n columns.
    void applyTransposedFromLeft(int n, double* x, int ldx) const {
        std::vector<double> product(static_cast<std::size_t>(n));
        for (int row = 0; row * size_ < static_cast<int>(vectors_.size()); ++row) {
            const double* const v = at(vectors_.data(), size_, 0, row);
            lapack::gemv(Op::transpose, size_, n, tau_[row], x, ldx, v, 1, 0.0, product.data(), 1);
            lapack::ger(size_, n, -1.0, v, 1, product.data(), 1, x, ldx);
        }
    }

  private:
    // The reflector keeps clear of the unit vectors of earlier rows, and is applied to the later rows.
    double makeReflector(int order, int row) {
        double* const v = at(vectors_.data(), size_, 0, row);
        std::fill_n(v, row, 0.0);
        double tau = 0.0;
        lapack::larfg(size_ - row, v[row], v + row + 1, 1, tau);
        v[row] = 1.0;
        for (int later = row + 1; later < order; ++later) {
            double* const other = at(vectors_.data(), size_, 0, later);
            lapack::axpy(size_, -tau * lapack::dot(size_, v, 1, other, 1), v, 1, other, 1);
        }
        return tau;
    }

    int size_;
    std::vector<double> vectors_;
    double tau_[2] = {0.0, 0.0};
};

class BlockFactorisation {
  public:
    BlockFactorisation(bool discrete, int k, int width, const double* a, int lda, double* b, int ldb, double* s,
                       int lds)
        : discrete_(discrete), k_(k), width_(width), a_(a), lda_(lda), b_(b), ldb_(ldb), s_(s), lds_(lds) {
        block_.order = k;
        block_.width = width;
        block_.similar.assign(elements(k, k + width), 0.0);
        if (discrete) {
            block_.complement.assign(elements(width, k + width), 0.0);
            lapack::laset(width, width, 0.0, 1.0, complementAt(0, k), width);
        }
    }

    GramianBlock run(double& scale) {
        for (int first = k_; first > 0;) {
            const int order = first > 1 && startsPair(k_, a_, lda_, first - 2) ? 2 : 1;
            first -= order;
            solveCell(first, order);
        }
        scale = scale_;
        return std::move(block_);
    }

  private:
    double* similarAt(int row, int column) { return at(block_.similar.data(), k_, row, column); }
    double* complementAt(int row, int column) { return at(block_.complement.data(), width_, row, column); }

    void solveCell(int first, int order) {
        std::vector<double> y(elements(order, width_));
        const double* const a = at(a_, lda_, first, first);
        const double* const b = b_ + first;
        const GramianCell cell = order == 1 ? factorOfReal(discrete_, *a, width_, b, ldb_, y.data(), order)
                                            : factorOfPair(discrete_, a, lda_, width_, b, ldb_, y.data(), order);
        lapack::lacpy(order, order, cell.s, 2, at(s_, lds_, first, first), lds_);
        lapack::lacpy(order, order, cell.similar, 2, similarAt(first, first), k_);
        const int later = first + order;
        if (discrete_) {
            lapack::gemm(Op::none, Op::none, order, k_ + width_ - later, width_, 1.0, y.data(), order,
                         complementAt(0, later), width_, 0.0, similarAt(first, later), k_);
        } else {
            lapack::lacpy(order, width_, y.data(), order, similarAt(first, k_), k_);
            lapack::gemm(Op::none, Op::transpose, order, k_ - later, width_, -1.0, y.data(), order,
                         similarAt(later, k_), k_, 0.0, similarAt(first, later), k_);
        }
        solveAbove(first, order, cell, y.data());
    }

    // The columns of s above the cell, and the right-hand side that is left for the rows above.
    void solveAbove(int first, int order, const GramianCell& cell, const double* y) {
        double* const s = at(s_, lds_, 0, first);
        const double* const cellOfS = s + first;
        const double* const beside = at(a_, lda_, 0, first);
        if (!discrete_) {
            double scale = 1.0;
            lapack::gemm(Op::none, Op::none, first, order, order, -1.0, beside, lda_, cellOfS, lds_, 0.0, s, lds_);
            lapack::gemm(Op::none, Op::transpose, first, order, width_, -1.0, b_, ldb_, y, order, 1.0, s, lds_);
            solveTriangularSylvester(Op::none, Op::transpose, 1, first, order, a_, lda_, cell.similar, 2, s, lds_,
                                     scale);
            applyScale(first, order, scale);
            lapack::gemm(Op::none, Op::none, first, width_, order, -1.0, s, lds_, y, order, 1.0, b_, ldb_);
            return;
        }
        const CellReflectors reflectors(cell, order, width_, y);
        solveSteinAbove(first, order, cell, y, s);
        // What is left is [a s, b] without its part along the rows of [similar, y].
        std::vector<double> extended(elements(first, order + width_));
        lapack::gemm(Op::none, Op::none, first, order, first, 1.0, a_, lda_, s, lds_, 0.0, extended.data(), first);
        lapack::gemm(Op::none, Op::none, first, order, order, 1.0, beside, lda_, cellOfS, lds_, 1.0, extended.data(),
                     first);
        double* const right = at(extended.data(), first, 0, order);
        lapack::lacpy(first, width_, b_, ldb_, right, first);
        reflectors.applyFromRight(first, extended.data(), first);
        lapack::lacpy(first, width_, right, first, b_, ldb_);
        extendComplement(first, order, reflectors);
    }

    void solveSteinAbove(int first, int order, const GramianCell& cell, const double* y, double* s) {
        double coupling[4] = {0.0, 0.0, 0.0, 0.0};
        double scale = 1.0;
        lapack::gemm(Op::none, Op::transpose, order, order, order, 1.0, s + first, lds_, cell.similar, 2, 0.0, coupling,
                     2);
        lapack::gemm(Op::none, Op::none, first, order, order, 1.0, at(a_, lda_, 0, first), lda_, coupling, 2, 0.0, s,
                     lds_);
        lapack::gemm(Op::none, Op::transpose, first, order, width_, 1.0, b_, ldb_, y, order, 1.0, s, lds_);
        solveTriangularStein(first, order, a_, lda_, cell.similar, 2, s, lds_, scale);
        applyScale(first, order, scale);
    }

    void extendComplement(int first, int order, const CellReflectors& reflectors) {
        const int later = first + order;
        const int columns = k_ + width_ - first;
        const int rows = order + width_;
        std::vector<double> extended(elements(rows, columns), 0.0);
        lapack::laset(order, order, 0.0, 1.0, extended.data(), rows);
        lapack::lacpy(width_, columns - order, complementAt(0, later), width_, at(extended.data(), rows, order, order),
                      rows);
        reflectors.applyTransposedFromLeft(columns, extended.data(), rows);
        lapack::lacpy(width_, columns, extended.data() + order, rows, complementAt(0, first), width_);
    }

    // Brings all that is solved and all that is left to the scale of the columns just solved.
    void applyScale(int first, int order, double scale) {
        if (scale == 1.0) {
            return;
        }
        scale_ *= scale;
        scaleMatrix(order, order, scale, at(s_, lds_, first, first), lds_);
        for (int column = first + order; column < k_; ++column) {
            lapack::scal(column + 1, scale, at(s_, lds_, 0, column), 1);
        }
        scaleMatrix(first, width_, scale, b_, ldb_);
    }

    bool discrete_;
    int k_;
    int width_;
    const double* a_;
    int lda_;
    double* b_;
    int ldb_;
    double* s_;
    int lds_;
    double scale_ = 1.0;
    GramianBlock block_;
};

}  // namespace

GramianBlock factorGramianBlock(bool discrete, int k, int width, const double* a, int lda, double* b, int ldb,
                                double* s, int lds, double& scale) {
    return BlockFactorisation(discrete, k, width, a, lda, b, ldb, s, lds).run(scale);
}

}  // namespace qormath::control_utility
