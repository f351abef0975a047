#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/lyapunovfort.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/numerics/dense_gaussian_solver.hpp>

using QorMathLA::Matrix;

namespace {

/// Solves a x + x a' + q = 0 or a x a' - x + q = 0 from one Schur form where that is beyond doubt. Returns false, with
/// x as it was, where the road over the Sylvester equation has to tell what comes of it.
bool solveFromOneSchurForm(bool discrete, Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& q) {
    const int n = a.rows();
    if (n == 0 || a.cols() != n || q.rows() != n || q.cols() != n) {
        return false;
    }
    Matrix<double> scratch, solution;
    scratch = a;
    solution = q * -1.0;
    if (!qormath::control_utility::solveClearLyapunov(discrete, n, scratch.numericData(true),
                                                      solution.numericData(true))) {
        return false;
    }
    x = QorMathLA::MatrixSoft<double>(solution);
    return true;
}

}  // namespace

void QorMathControl::ContinuousLyapunov(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& q) {
    if (solveFromOneSchurForm(false, x, a, q)) {
        return;
    }
    Matrix<double> transposed(a);
    transposed.transposeInPlace();
    SylvesterEquation(x, a, transposed, q);
}

void QorMathControl::DiscreteLyapunov(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& q) {
    // The result goes to x only once it is whole: the other road starts from a and q, which may be x.
    try {
        Matrix<double> identity;
        identity.setIdentity(a.rows());
        QorMathLA::DenseGaussianSolver solver(a + identity);
        solver.initialize();
        solver.factorize();
        // Only where a + I is regular: the fallback solves for another x.
        if (solveFromOneSchurForm(true, x, a, q)) {
            return;
        }
        const Matrix<double> m(Matrix<double>(solver.solve(a - identity)), true);
        identity.setIdentity(m.rows());
        const Matrix<double> constant = (identity - m) * q * (identity - m.transpose()) / 2.0;
        Matrix<double> transposed(m);
        transposed.transposeInPlace();
        Matrix<double> solution;
        SylvesterEquation(solution, m, transposed, constant);
        x = QorMathLA::MatrixSoft<double>(solution);
    } catch (...) {
        const Matrix<double> copyOfA(a);
        const Matrix<double> copyOfQ(q);
        LyapunovHelper(x, copyOfA, copyOfQ, discreteSystem);
    }
}

void QorMathControl::LyapunovHelper(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& c,
                                    const systemType& type) {
    const int n = a.rows();
    const std::int64_t workElements = (std::int64_t{n} + 3) * n;
    // A length beyond the int of the routine's argument comes back as illegal.
    const int workLength = static_cast<int>(std::min<std::int64_t>(workElements, std::numeric_limits<int>::max()));
    Matrix<double> u(n, n);
    std::vector<double> wr(static_cast<std::size_t>(n));
    std::vector<double> wi(static_cast<std::size_t>(n));
    std::vector<double> work(static_cast<std::size_t>(workElements));
    x = c * -1.0;
    const int discrete = type == discreteSystem ? 1 : 0;
    double* const solution = x.numericData(true);
    double* const vectors = u.numericData(true);
    static_cast<void>(a.numericData(true));
    if (a.cols() != n || x.rows() != n || x.cols() != n) {
        throw -1;  // the routine is told of one order alone
    }
    Matrix<double> scratch(a);
    int info = 0;
    qormath::control_utility::LYAPUNOVFORT(&discrete, &n, scratch.numericData(true), vectors, solution, wr.data(),
                                           wi.data(), work.data(), &workLength, &info);
    if (info != 0) {
        throw -1;
    }
}
