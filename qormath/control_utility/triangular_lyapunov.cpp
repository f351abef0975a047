#include <algorithm>
#include <cstddef>
#include <vector>

#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/triangular_lyapunov.hpp>
#include <qormath/control_utility/triangular_stein.hpp>
#include <qormath/control_utility/triangular_sylvester.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {
namespace {

using lapack::Op;
using lapack::Side;
using lapack::Triangle;

// Up to this order the equation with two coefficients, solved on both triangles, is faster than further cuts.
constexpr int leafOrder = 32;

// As in the kernels for two coefficients: a block gets fewer than 64 updates, each within this limit, about 1e271.
constexpr double updateLimit = 0x1p900;

std::size_t elements(int rows, int columns) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
}

// With a = [a1 a12; 0 a2] and x = [x1 x12; x12' x2] the equation is, from its last block on,
//   continuous:  a2 x2 + x2 a2' = c2,     a1 x12 + x12 a2' = c12 - a12 x2,
//                a1 x1 + x1 a1' = c1 - (a12 x12' + x12 a12');
//   discrete:    x2 - a2 x2 a2' = c2,     x12 - a1 x12 a2' = c12 + a12 x2 a2',
//                x1 - a1 x1 a1' = c1 + (z a12' + a12 z'), with z = a12 x2 / 2 + a1 x12.
// Only the upper triangle of x is in use.
class RecursiveSolver {
  public:
    // a, n by n and packed, has zeros below its subdiagonal.
    RecursiveSolver(bool discrete, int n, int ldx)
        : discrete_(discrete), lda_(n), ldx_(ldx), product_(discrete ? elements(n / 2 + 1, n / 2 + 1) : 0) {}

    // Solves for a diagonal block of x and returns the scale of it.
    double solve(int n, const double* a, double* x) {
        if (n <= leafOrder) {
            return solveLeaf(n, a, x);
        }
        const int cut = cutOutsidePair(a, lda_, n / 2);
        double scale = solve(n - cut, at(a, lda_, cut, cut), at(x, ldx_, cut, cut));
        // What is not solved yet comes to the scale of what is.
        scaleMatrix(cut, n, scale, x, ldx_);
        scale *= discrete_ ? solveDiscreteBeside(n, cut, a, x) : solveContinuousBeside(n, cut, a, x);
        const double last = solve(cut, a, x);
        scaleMatrix(n, n - cut, last, at(x, ldx_, 0, cut), ldx_);
        return scale * last;
    }

    int info() const { return info_; }

  private:
    // Solves for the block x12 beside the last diagonal block and takes both out of the right-hand side of the first.
    // Returns the scale that x comes to.
    double solveContinuousBeside(int n, int cut, const double* a, double* x) {
        const int rest = n - cut;
        const double* const a12 = at(a, lda_, 0, cut);
        double* const x12 = at(x, ldx_, 0, cut);
        const double growth = growthBy(cut, rest, a12);
        double scale = damp(n, x, largestOfUpper(rest, x12 + cut), growth);
        lapack::symm(Side::right, Triangle::upper, cut, rest, -1.0, x12 + cut, ldx_, a12, lda_, 1.0, x12, ldx_);
        double solved = 1.0;
        note(solveTriangularSylvester(Op::none, Op::transpose, 1, cut, rest, a, lda_, a12 + cut, lda_, x12, ldx_,
                                      solved));
        scaleMatrix(cut, cut, solved, x, ldx_);
        scaleMatrix(rest, rest, solved, x12 + cut, ldx_);
        scale *= solved * damp(n, x, largestElement(cut, rest, x12, ldx_), 2.0 * growth);
        lapack::syr2k(Triangle::upper, Op::none, cut, rest, -1.0, a12, lda_, x12, ldx_, 1.0, x, ldx_);
        return scale;
    }

    double solveDiscreteBeside(int n, int cut, const double* a, double* x) {
        const int rest = n - cut;
        const double* const a12 = at(a, lda_, 0, cut);
        double* const x12 = at(x, ldx_, 0, cut);
        double* const z = product_.data();
        const double growth = growthBy(cut, rest, a12);
        double scale = damp(n, x, largestOfUpper(rest, x12 + cut), growth * growthBy(rest, rest, a12 + cut));
        lapack::symm(Side::right, Triangle::upper, cut, rest, 1.0, x12 + cut, ldx_, a12, lda_, 0.0, z, cut);
        lapack::gemm(Op::none, Op::transpose, cut, rest, rest, 1.0, z, cut, a12 + cut, lda_, 1.0, x12, ldx_);
        double solved = 1.0;
        note(solveTriangularStein(cut, rest, a, lda_, a12 + cut, lda_, x12, ldx_, solved));
        scaleMatrix(cut, cut, solved, x, ldx_);
        scaleMatrix(rest, rest, solved, x12 + cut, ldx_);
        solved *= damp(n, x, largestElement(cut, rest, x12, ldx_), growthBy(cut, cut, a));
        scaleMatrix(cut, rest, solved, z, cut);
        lapack::gemm(Op::none, Op::none, cut, rest, cut, 1.0, a, lda_, x12, ldx_, 0.5, z, cut);
        const double last = damp(n, x, largestElement(cut, rest, z, cut), 2.0 * growth);
        scaleMatrix(cut, rest, last, z, cut);
        lapack::syr2k(Triangle::upper, Op::none, cut, rest, 1.0, z, cut, a12, lda_, 1.0, x, ldx_);
        return scale * solved * last;
    }

    // The mean of both triangles: either alone would leave a residual that grows with the condition of the equation.
    double solveLeaf(int n, const double* a, double* x) {
        double scale = 1.0;
        lapack::lacpy(Triangle::upper, n, n, x, ldx_, leaf_.data(), leafOrder);
        mirrorUpperTriangle(n, leaf_.data(), leafOrder);
        note(discrete_ ? solveTriangularStein(n, n, a, lda_, a, lda_, leaf_.data(), leafOrder, scale)
                       : solveTriangularSylvester(Op::none, Op::transpose, 1, n, n, a, lda_, a, lda_, leaf_.data(),
                                                  leafOrder, scale));
        for (int column = 0; column < n; ++column) {
            for (int row = 0; row <= column; ++row) {
                *at(x, ldx_, row, column) =
                    0.5 * *at(leaf_.data(), leafOrder, row, column) + 0.5 * *at(leaf_.data(), leafOrder, column, row);
            }
        }
        return scale;
    }

    // How much larger than the elements of a matrix those of its product with a block of a may be.
    double growthBy(int rows, int columns, const double* block) const {
        return std::max(rows, columns) * std::max(1.0, largestElement(rows, columns, block, lda_));
    }

    // Keeps an update by what has elements up to largest, and grows in products, within updateLimit. Returns the factor
    // that has gone into the whole of x.
    double damp(int n, double* x, double largest, double growth) const {
        const double limit = updateLimit / growth;
        const double damping = largest <= limit ? 1.0 : limit / largest;
        scaleMatrix(n, n, damping, x, ldx_);
        return damping;
    }

    // What stands below the diagonal is stale.
    double largestOfUpper(int n, const double* x) const {
        double largest = 0.0;
        for (int column = 0; column < n; ++column) {
            largest = std::max(largest, largestElement(column + 1, 1, at(x, ldx_, 0, column), ldx_));
        }
        return largest;
    }

    void note(int info) { info_ = std::max(info_, info); }

    bool discrete_;
    int lda_;
    int ldx_;
    int info_ = 0;
    std::vector<double> product_;
    std::vector<double> leaf_ = std::vector<double>(elements(leafOrder, leafOrder));
};

}  // namespace

int solveTriangularLyapunov(bool discrete, int n, const double* a, int lda, double* x, int ldx, double& scale) {
    scale = 1.0;
    if (n <= 0) {
        return 0;
    }
    std::vector<double> packed(elements(n, n));
    copyQuasiTriangular(n, a, lda, packed.data(), n);
    // The triangle below the diagonal holds nothing on entry.
    mirrorUpperTriangle(n, x, ldx);
    double damping = 1.0;
    const double largest = largestElement(n, n, x, ldx);
    if (largest > updateLimit) {
        damping = updateLimit / largest;
        scaleMatrix(n, n, damping, x, ldx);
    }
    RecursiveSolver solver(discrete, n, ldx);
    scale = damping * solver.solve(n, packed.data(), x);
    mirrorUpperTriangle(n, x, ldx);
    return solver.info();
}

}  // namespace qormath::control_utility
