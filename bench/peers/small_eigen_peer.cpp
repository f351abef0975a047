#include "small_eigen_peer.hpp"

#include <Eigen/Dense>
#include <Eigen/Eigenvalues>
#include <stdexcept>

namespace qormath::peers {

namespace {

using QorMathLA::Matrix;

Eigen::MatrixXd toEigen(const Matrix<double>& matrix) {
    return Eigen::Map<const Eigen::MatrixXd>(matrix.numericData(true), matrix.rows(), matrix.cols());
}

Matrix<double> fromEigen(const Eigen::MatrixXd& matrix) {
    return Matrix<double>(static_cast<int>(matrix.rows()), static_cast<int>(matrix.cols()), matrix.data());
}

/// The last of so many results, none of which the compiler may leave out.
template <class Make>
Matrix<double> repeated(int rounds, Make make) {
    for (int k = 1; k < rounds; ++k) {
        const Eigen::MatrixXd result = make();
        asm volatile("" ::"r"(result.data()) : "memory");
    }
    return fromEigen(make());
}

}  // namespace

Matrix<double> eigenProducts(const Matrix<double>& a, const Matrix<double>& b, int rounds) {
    const Eigen::MatrixXd left = toEigen(a);
    const Eigen::MatrixXd right = toEigen(b);
    return repeated(rounds, [&]() -> Eigen::MatrixXd { return left * right; });
}

Matrix<double> eigenSums(const Matrix<double>& a, const Matrix<double>& b, int rounds) {
    const Eigen::MatrixXd left = toEigen(a);
    const Eigen::MatrixXd right = toEigen(b);
    return repeated(rounds, [&]() -> Eigen::MatrixXd { return left + right; });
}

Matrix<double> eigenParts(const Matrix<double>& a, int rounds) {
    const Eigen::MatrixXd whole = toEigen(a);
    const Eigen::Index half = whole.rows() / 2;
    return repeated(rounds, [&]() -> Eigen::MatrixXd { return whole.topLeftCorner(half, half); });
}

Matrix<double> eigenGains(const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& c,
                          const Matrix<double>& d, int rounds) {
    const Eigen::MatrixXd stateMatrix = toEigen(a);
    const Eigen::MatrixXd input = toEigen(b);
    const Eigen::MatrixXd output = toEigen(c);
    const Eigen::MatrixXd direct = toEigen(d);
    return repeated(rounds, [&]() -> Eigen::MatrixXd {
        const Eigen::MatrixXd distance = Eigen::MatrixXd::Identity(a.rows(), a.rows()) - stateMatrix;
        constexpr double limit = 100.0 * 0x1p-53;
        if (distance.eigenvalues().cwiseAbs().minCoeff() < limit) {
            throw std::runtime_error("a pole at the limit");
        }
        return direct + output * distance.partialPivLu().solve(input);
    });
}

}  // namespace qormath::peers
