#include "armadillo_peer.hpp"

#include <armadillo>
#include <stdexcept>

namespace qormath::peers {

using QorMathLA::Matrix;

namespace {

/// The same elements; Armadillo writes nothing to what it is given as const.
arma::mat viewOf(const Matrix<double>& matrix) {
    return {const_cast<double*>(matrix.numericData(true)), static_cast<arma::uword>(matrix.rows()),
            static_cast<arma::uword>(matrix.cols()), false, true};
}

Matrix<double> copyOf(const arma::mat& matrix) {
    return {static_cast<int>(matrix.n_rows), static_cast<int>(matrix.n_cols), matrix.memptr()};
}

void require(bool done, const char* what) {
    if (!done) {
        throw std::runtime_error(std::string("Armadillo fails in ") + what);
    }
}

}  // namespace

Matrix<double> armadilloSylvester(const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& c) {
    arma::mat x;
    require(arma::syl(x, viewOf(a), viewOf(b), viewOf(c)), "syl");
    return copyOf(x);
}

Matrix<double> armadilloExponential(const Matrix<double>& a) {
    arma::mat x;
    require(arma::expmat(x, viewOf(a)), "expmat");
    return copyOf(x);
}

void armadilloLogarithm(const Matrix<double>& a, Matrix<double>& re, Matrix<double>& im) {
    arma::cx_mat x;
    require(arma::logmat(x, viewOf(a)), "logmat");
    re = copyOf(arma::real(x));
    im = copyOf(arma::imag(x));
}

}  // namespace qormath::peers
