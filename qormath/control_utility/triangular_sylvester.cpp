#include <algorithm>
#include <cstddef>
#include <vector>

#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/small_sylvester.hpp>
#include <qormath/control_utility/triangular_sylvester.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {
namespace {

using lapack::Op;

// Up to this order a column-wise kernel on packed copies is faster than further cuts.
constexpr int leafOrder = largestSmallSylvester;
constexpr std::size_t leafElements = std::size_t{leafOrder} * leafOrder;

// Each update of a block of c adds a product of at most this size, about 1e271, and a block is updated at most once a
// cut of either order, which is less than 64 times. The room above it keeps LAPACK's guards for small systems, which
// bring a right-hand side near the largest number down to 1, to the cases in which the solution itself would overflow.
constexpr double updateLimit = 0x1p900;

class RecursiveSolver {
  public:
    RecursiveSolver(Op opA, Op opB, int sign, int lda, int ldb, int ldc, double largestA, double largestB)
        : opA_(opA),
          opB_(opB),
          sign_(sign),
          lda_(lda),
          ldb_(ldb),
          ldc_(ldc),
          largestA_(largestA),
          largestB_(largestB) {}

    struct Outcome {
        double scale = 1.0;
        double largest = 0.0;  // the largest absolute element of the solution
    };

    Outcome solve(int m, int n, const double* a, const double* b, double* c) {
        if (m <= leafOrder && n <= leafOrder) {
            return solveLeaf(m, n, a, b, c);
        }
        return m >= n ? solveCutA(m, n, a, b, c) : solveCutB(m, n, a, b, c);
    }

    int info() const { return info_; }

  private:
    Outcome solveLeaf(int m, int n, const double* a, const double* b, double* c) {
        Outcome outcome;
        if (solveSmallSylvester(opA_, opB_, sign_, m, n, a, lda_, b, ldb_, c, ldc_, outcome.largest)) {
            return outcome;
        }
        leafA_.resize(leafElements);
        leafB_.resize(leafElements);
        copyQuasiTriangular(m, a, lda_, leafA_.data(), leafOrder);
        copyQuasiTriangular(n, b, ldb_, leafB_.data(), leafOrder);
        const int info = lapack::trsyl(opA_, opB_, sign_, m, n, leafA_.data(), leafOrder, leafB_.data(), leafOrder, c,
                                       ldc_, outcome.scale);
        info_ = std::max(info_, info);
        outcome.largest = largestElement(m, n, c, ldc_);
        return outcome;
    }

    // op(a) is block upper triangular as stored and block lower triangular when transposed, so that the lower rows of
    // x come first in the one case and the upper rows in the other.
    Outcome solveCutA(int m, int n, const double* a, const double* b, double* c) {
        const int cut = cutOutsidePair(a, lda_, m / 2);
        const double* const upperRight = at(a, lda_, 0, cut);
        const double* const lowerRight = at(a, lda_, cut, cut);
        double* const lower = at(c, ldc_, cut, 0);
        if (opA_ == Op::none) {
            Outcome first = solve(m - cut, n, lowerRight, b, lower);
            const double damping = dampingBeforeUpdate(m - cut, largestA_, first);
            scaleMatrix(m - cut, n, damping, lower, ldc_);
            scaleMatrix(cut, n, first.scale, c, ldc_);
            lapack::gemm(Op::none, Op::none, cut, n, m - cut, -1.0, upperRight, lda_, lower, ldc_, 1.0, c, ldc_);
            return joined(first, solve(cut, n, a, b, c), m - cut, n, lower);
        }
        Outcome first = solve(cut, n, a, b, c);
        const double damping = dampingBeforeUpdate(cut, largestA_, first);
        scaleMatrix(cut, n, damping, c, ldc_);
        scaleMatrix(m - cut, n, first.scale, lower, ldc_);
        lapack::gemm(Op::transpose, Op::none, m - cut, n, cut, -1.0, upperRight, lda_, c, ldc_, 1.0, lower, ldc_);
        return joined(first, solve(m - cut, n, lowerRight, b, lower), cut, n, c);
    }

    Outcome solveCutB(int m, int n, const double* a, const double* b, double* c) {
        const int cut = cutOutsidePair(b, ldb_, n / 2);
        const double* const upperRight = at(b, ldb_, 0, cut);
        const double* const lowerRight = at(b, ldb_, cut, cut);
        double* const right = at(c, ldc_, 0, cut);
        const double factor = -sign_;
        if (opB_ == Op::none) {
            Outcome first = solve(m, cut, a, b, c);
            const double damping = dampingBeforeUpdate(cut, largestB_, first);
            scaleMatrix(m, cut, damping, c, ldc_);
            scaleMatrix(m, n - cut, first.scale, right, ldc_);
            lapack::gemm(Op::none, Op::none, m, n - cut, cut, factor, c, ldc_, upperRight, ldb_, 1.0, right, ldc_);
            return joined(first, solve(m, n - cut, a, lowerRight, right), m, cut, c);
        }
        Outcome first = solve(m, n - cut, a, lowerRight, right);
        const double damping = dampingBeforeUpdate(n - cut, largestB_, first);
        scaleMatrix(m, n - cut, damping, right, ldc_);
        scaleMatrix(m, cut, first.scale, c, ldc_);
        lapack::gemm(Op::none, Op::transpose, m, cut, n - cut, factor, right, ldc_, upperRight, ldb_, 1.0, c, ldc_);
        return joined(first, solve(m, cut, a, b, c), m, n - cut, right);
    }

    // The factor that keeps a product with the solved half within updateLimit. It goes into the half's outcome.
    static double dampingBeforeUpdate(int inner, double largestCoefficient, Outcome& first) {
        const double growth = inner * std::max(1.0, largestCoefficient);
        if (first.largest <= updateLimit / growth) {
            return 1.0;
        }
        const double damping = updateLimit / growth / first.largest;
        first.scale *= damping;
        first.largest *= damping;
        return damping;
    }

    // Brings the half that was solved first to the scale of both.
    Outcome joined(const Outcome& first, const Outcome& second, int rows, int columns, double* firstHalf) const {
        scaleMatrix(rows, columns, second.scale, firstHalf, ldc_);
        return {first.scale * second.scale, std::max(first.largest * second.scale, second.largest)};
    }

    Op opA_;
    Op opB_;
    int sign_;
    int lda_;
    int ldb_;
    int ldc_;
    double largestA_;
    double largestB_;
    int info_ = 0;
    std::vector<double> leafA_;
    std::vector<double> leafB_;
};

}  // namespace

int solveTriangularSylvester(lapack::Op opA, lapack::Op opB, int sign, int m, int n, const double* a, int lda,
                             const double* b, int ldb, double* c, int ldc, double& scale) {
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
    RecursiveSolver solver(opA, opB, sign, lda, ldb, ldc, largestOfQuasiTriangular(m, a, lda),
                           largestOfQuasiTriangular(n, b, ldb));
    scale = damping * solver.solve(m, n, a, b, c).scale;
    return solver.info();
}

}  // namespace qormath::control_utility
