#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/lyapunovfort.hpp>
#include <qormath/core/arithmetic.hpp>

using QorMathLA::Matrix;

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
