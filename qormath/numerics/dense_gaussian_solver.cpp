#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>
#include <qormath/numerics/dense_gaussian_solver.hpp>

namespace QorMathLA {

namespace lapack = qormath::lapack;

namespace {

/// Multiplies by a power of 2, which rounds nothing but what leaves the range of numbers.
void scale(Matrix<double>& matrix, int exponent) {
    if (exponent != 0) {
        for (double& element : matrix) {
            element = std::scalbn(element, exponent);
        }
    }
}

bool isFinite(const Matrix<double>& matrix) {
    return lapack::allFinite(matrix.rows(), matrix.cols(), matrix.numericData(true), matrix.storedRows);
}

}  // namespace

DenseGaussianSolver::DenseGaussianSolver(const Matrix<double>& a) : matrix_(a) {}

void DenseGaussianSolver::initialize() {
    stage_ = Stage::fresh;
    if (matrix_.rows() != matrix_.cols() || !isFinite(matrix_)) {
        throw -1;
    }
    factors_ = matrix_;
    pivots_ = Vector<int>(matrix_.rows());
    // With elements of about 1 neither the norm nor the elimination overflows.
    const double largest = matrix_.maxAbs();
    exponent_ = largest == 0.0 ? 0 : std::ilogb(largest);
    scale(factors_, -exponent_);
    stage_ = Stage::initialized;
}

void DenseGaussianSolver::factorize() {
    const int n = factors_.rows();
    if (stage_ == Stage::fresh) {
        throw -1;
    }
    if (stage_ == Stage::factorized) {
        return;
    }
    stage_ = Stage::fresh;
    double* const factors = factors_.numericData(true);
    const double norm = lapack::lange1(n, n, factors, n);
    double reciprocal = 1.0;
    if (n > 0) {
        // The growth of the elements is at most 2^(n - 1), which is beyond the largest number from order 1025 on.
        if (lapack::getrf(n, n, factors, n, pivots_.numericData()) != 0 || !isFinite(factors_)) {
            throw -1;
        }
        std::vector<double> work(4 * static_cast<std::size_t>(n));
        std::vector<int> integerWork(static_cast<std::size_t>(n));
        lapack::gecon(n, factors, n, norm, reciprocal, work.data(), integerWork.data());
    }
    if (!(reciprocal >= lapack::machineEpsilon())) {
        throw -1;
    }
    stage_ = Stage::factorized;
}

MatrixSoft<double> DenseGaussianSolver::solve(const Matrix<double>& b) const {
    const int n = factors_.rows();
    if (stage_ != Stage::factorized || b.rows() != n) {
        throw -1;
    }
    Matrix<double> y(b);
    lapack::getrs(lapack::Op::none, n, y.cols(), factors_.numericData(true), n, pivots_.numericData(),
                  y.numericData(true), y.storedRows);
    scale(y, -exponent_);
    return y;
}

}  // namespace QorMathLA
