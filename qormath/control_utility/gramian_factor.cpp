#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include <qormath/control_utility/gramian_block.hpp>
#include <qormath/control_utility/gramian_factor.hpp>
#include <qormath/control_utility/gramian_pair.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/triangular_stein.hpp>
#include <qormath/control_utility/triangular_sylvester.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {
namespace {

using lapack::Op;
using lapack::Side;

constexpr int notStable = 1;
constexpr int notFinite = 2;

// Order of the diagonal blocks: as many columns as make the products with the rest efficient, and as few as keep the
// column-wise work inside the blocks, of the order of n times the square of this, small.
constexpr int blockOrder = 48;

// Room for the blocks of reflectors that the QR routines of LAPACK use, up to 64 at a time.
constexpr int reflectorColumns = 64;
constexpr int reflectorRoom = 65 * 64;

std::size_t elements(int rows, int columns) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
}

bool isStable(bool discrete, int n, const double* a) {
    for (int first = 0; first < n;) {
        const int order = startsPair(n, a, n, first) ? 2 : 1;
        if (!isStableCell(discrete, order, at(a, n, first, first), n)) {
            return false;
        }
        first += order;
    }
    return true;
}

// The controllability factor by block columns, from the last. With a = [a1 a12; 0 a2], b = [b1; b2] and
// s = [s1 s12; 0 s2], once s2 is known from a2 and b2, and with f = s2^-1 a2 s2 and y = s2^-1 b2, which the kernel for
// diagonal blocks gives without an inverse, the rest is
//   continuous:  a1 s12 + s12 f' = -(a12 s2 + b1 y'),       and b1 becomes b1 - s12 y;
//   discrete:    s12 - a1 s12 f' = a12 s2 f' + b1 y',       and b1 becomes [a1 s12 + a12 s2, b1] z',
// where the rows of z are an orthonormal basis of what is orthogonal to the rows of [f y]; s1 then belongs to a1 and
// the new b1, of as many columns as before.
class Factorisation {
  public:
    // a, n by n, is zero below its subdiagonal. b, n by m, is overwritten.
    Factorisation(bool discrete, int n, int m, const double* a, double* b, double* s)
        : discrete_(discrete),
          n_(n),
          m_(m),
          a_(a),
          b_(b),
          s_(s),
          tau_(static_cast<std::size_t>(blockOrder + 1)),
          work_(static_cast<std::size_t>(std::max(n, m)) * reflectorColumns + reflectorRoom) {}

    double run() {
        for (int end = n_; end > 0;) {
            const int start = end <= blockOrder ? 0 : cutOutsidePair(a_, n_, end - blockOrder);
            solveBlockColumn(start, end - start);
            end = start;
        }
        return scale_;
    }

  private:
    void solveBlockColumn(int start, int order) {
        const int width = compressRows(start, order);
        double* const b = at(b_, n_, 0, m_ - width);
        std::vector<double> rows(elements(order, width));
        lapack::lacpy(order, width, b + start, n_, rows.data(), order);
        double scale = 1.0;
        const GramianBlock block = factorGramianBlock(discrete_, order, width, at(a_, n_, start, start), n_,
                                                      rows.data(), order, at(s_, n_, start, start), n_, scale);
        applyScale(start + order, start, scale);
        if (discrete_) {
            solveDiscreteAbove(start, block, b);
        } else {
            solveContinuousAbove(start, block, b);
        }
    }

    // Turns the columns of b such that its rows start..start + order are zero but for the last columns, as many as are
    // returned. s does not change when the columns of b are turned.
    int compressRows(int start, int order) {
        if (m_ <= order) {
            return m_;
        }
        const int lwork = static_cast<int>(work_.size());
        double* const rows = b_ + start;
        lapack::gerqf(order, m_, rows, n_, tau_.data(), work_.data(), lwork);
        lapack::ormrq(Side::right, Op::transpose, start, m_, order, rows, n_, tau_.data(), b_, n_, work_.data(), lwork);
        for (int column = 0; column < order; ++column) {
            std::fill_n(at(rows, n_, column + 1, m_ - order + column), order - column - 1, 0.0);
        }
        return order;
    }

    void solveContinuousAbove(int start, const GramianBlock& block, double* b) {
        const int order = block.order;
        const int width = block.width;
        double* const s = at(s_, n_, 0, start);
        const double* const y = at(block.similar.data(), order, 0, order);
        double scale = 1.0;
        lapack::gemm(Op::none, Op::none, start, order, order, -1.0, at(a_, n_, 0, start), n_, s + start, n_, 0.0, s,
                     n_);
        lapack::gemm(Op::none, Op::transpose, start, order, width, -1.0, b, n_, y, order, 1.0, s, n_);
        solveTriangularSylvester(Op::none, Op::transpose, 1, start, order, a_, n_, block.similar.data(), order, s, n_,
                                 scale);
        applyScale(start, start, scale, order);
        lapack::gemm(Op::none, Op::none, start, width, order, -1.0, s, n_, y, order, 1.0, b, n_);
    }

    void solveDiscreteAbove(int start, const GramianBlock& block, double* b) {
        const int order = block.order;
        const int width = block.width;
        double* const s = at(s_, n_, 0, start);
        const double* const beside = at(a_, n_, 0, start);
        const double* const f = block.similar.data();
        const double* const y = at(f, order, 0, order);
        double scale = 1.0;
        std::vector<double> corner(elements(order, order));
        lapack::gemm(Op::none, Op::transpose, order, order, order, 1.0, s + start, n_, f, order, 0.0, corner.data(),
                     order);
        lapack::gemm(Op::none, Op::none, start, order, order, 1.0, beside, n_, corner.data(), order, 0.0, s, n_);
        lapack::gemm(Op::none, Op::transpose, start, order, width, 1.0, b, n_, y, order, 1.0, s, n_);
        solveTriangularStein(start, order, a_, n_, f, order, s, n_, scale);
        applyScale(start, start, scale, order);

        std::vector<double> extended(elements(start, order + width));
        lapack::gemm(Op::none, Op::none, start, order, start + order, 1.0, a_, n_, s, n_, 0.0, extended.data(), start);
        lapack::lacpy(start, width, b, n_, at(extended.data(), start, 0, order), start);
        lapack::gemm(Op::none, Op::transpose, start, width, order + width, 1.0, extended.data(), start,
                     block.complement.data(), width, 0.0, b, n_);
    }

    // Brings what is solved, the columns of s from solved on, and what is left, the upper rows of b, to one scale more.
    // The columns solved..solved + pending are at that scale above row solved already.
    void applyScale(int solved, int rows, double scale, int pending = 0) {
        if (scale == 1.0) {
            return;
        }
        scale_ *= scale;
        scaleMatrix(pending, pending, scale, at(s_, n_, solved, solved), n_);
        scaleMatrix(n_, n_ - solved - pending, scale, at(s_, n_, 0, solved + pending), n_);
        scaleMatrix(rows, m_, scale, b_, n_);
    }

    bool discrete_;
    int n_;
    int m_;
    const double* a_;
    double* b_;
    double* s_;
    double scale_ = 1.0;
    std::vector<double> tau_;
    std::vector<double> work_;
};

// Powers of 2 for the states that bring the off-diagonal elements of each pair to one size. A pair far from that would
// be solved to the size of its larger state, at the cost of the digits of the smaller one. No rounding comes of it.
std::vector<double> pairScaling(int n, const std::vector<double>& a) {
    // Beyond these there is no room for a factor.
    constexpr double largestScaled = 0x1p700;
    constexpr int largestExponent = 200;
    std::vector<double> scaling(static_cast<std::size_t>(n), 1.0);
    if (largestElement(n, n, a.data(), n) > largestScaled) {
        return scaling;
    }
    for (int row = 0; row + 1 < n; ++row) {
        const double upper = *at(a.data(), n, row, row + 1);
        if (startsPair(n, a.data(), n, row) && upper != 0.0) {
            const int exponent = (std::ilogb(*at(a.data(), n, row + 1, row)) - std::ilogb(upper)) / 2;
            scaling[static_cast<std::size_t>(row) + 1] =
                std::ldexp(1.0, std::clamp(exponent, -largestExponent, largestExponent));
        }
    }
    return scaling;
}

// a = d^-1 a d and b = d^-1 b for the diagonal matrix d.
void changeStates(int n, int m, const std::vector<double>& d, std::vector<double>& a, std::vector<double>& b) {
    for (int row = 0; row < n; ++row) {
        const double factor = d[static_cast<std::size_t>(row)];
        if (factor != 1.0) {
            lapack::scal(n, 1.0 / factor, at(a.data(), n, row, 0), n);
            lapack::scal(n, factor, at(a.data(), n, 0, row), 1);
            lapack::scal(m, 1.0 / factor, at(b.data(), n, row, 0), n);
        }
    }
}

// Factor of the packed a and b, into the packed s that is all zeros. a and b are overwritten.
int factorPacked(bool discrete, int n, int m, std::vector<double>& a, std::vector<double>& b, std::vector<double>& s,
                 double& scale) {
    if (!lapack::allFinite(n, n, a.data(), n) || !lapack::allFinite(n, m, b.data(), n)) {
        return notFinite;
    }
    if (!isStable(discrete, n, a.data())) {
        return notStable;
    }
    scale = 1.0;
    const double size = largestElement(n, m, b.data(), n);
    if (size == 0.0) {
        return 0;
    }
    // s is proportional to b, so that the size of b need not be near that of s.
    for (double& element : b) {
        element /= size;
    }
    const std::vector<double> scaling = pairScaling(n, a);
    changeStates(n, m, scaling, a, b);
    scale = Factorisation(discrete, n, m, a.data(), b.data(), s.data()).run();
    for (int row = 0; row < n; ++row) {
        lapack::scal(n, scaling[static_cast<std::size_t>(row)], at(s.data(), n, row, 0), n);
    }
    const double largest = largestElement(n, n, s.data(), n);
    // Half of the largest number, so that rounding does not take the product beyond it.
    constexpr double largestFactor = 0.5 * std::numeric_limits<double>::max();
    double factor = size;
    if (largest > 1.0 && size > largestFactor / largest) {
        factor = largestFactor / largest;
        scale *= factor / size;
    }
    scaleMatrix(n, n, factor, s.data(), n);
    return 0;
}

}  // namespace

int controllabilityFactor(bool discrete, int n, int m, const double* a, int lda, const double* b, int ldb, double* s,
                          int lds, double& scale) {
    std::vector<double> packedA(elements(n, n));
    std::vector<double> packedB(elements(n, m));
    std::vector<double> packedS(elements(n, n));
    copyQuasiTriangular(n, a, lda, packedA.data(), n);
    lapack::lacpy(n, m, b, ldb, packedB.data(), n);
    double found = 1.0;
    const int info = factorPacked(discrete, n, m, packedA, packedB, packedS, found);
    if (info == 0) {
        lapack::lacpy(n, n, packedS.data(), n, s, lds);
        scale = found;
    }
    return info;
}

// With j the reversal of the order of the states, j a' j is quasi-upper-triangular again, and the controllability
// factor of j a' j and j c' is j r' j.
int observabilityFactor(bool discrete, int n, int p, const double* a, int lda, const double* c, int ldc, double* r,
                        int ldr, double& scale) {
    std::vector<double> packedA(elements(n, n));
    std::vector<double> packedB(elements(n, p));
    std::vector<double> packedS(elements(n, n));
    for (int column = 0; column < n; ++column) {
        for (int row = 0; row < std::min(n, column + 2); ++row) {
            *at(packedA.data(), n, n - 1 - column, n - 1 - row) = *at(a, lda, row, column);
        }
        for (int row = 0; row < p; ++row) {
            *at(packedB.data(), n, n - 1 - column, row) = *at(c, ldc, row, column);
        }
    }
    double found = 1.0;
    const int info = factorPacked(discrete, n, p, packedA, packedB, packedS, found);
    if (info == 0) {
        for (int column = 0; column < n; ++column) {
            for (int row = 0; row < n; ++row) {
                *at(r, ldr, row, column) = *at(packedS.data(), n, n - 1 - column, n - 1 - row);
            }
        }
        scale = found;
    }
    return info;
}

}  // namespace qormath::control_utility
