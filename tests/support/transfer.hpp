#pragma once

// What a model does, whatever the coordinates of its state: transfer function, Markov parameters, poles.

#include <algorithm>
#include <complex>
#include <cstddef>
#include <limits>
#include <support/matrix_compare.hpp>
#include <support/model_families.hpp>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/lapack/lapack.hpp>
#include <qormath/models/detail/shapes.hpp>
#include <qormath/models/lti_state_space_model.hpp>

namespace qormath::test {

/// (z I - A)^-1, by an LU factorisation.
inline QorMathLA::Matrix<double> resolvent(const QorMathLA::Matrix<double>& a, double z) {
    const int n = a.rows();
    QorMathLA::Matrix<double> lu(n, n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            lu(i, j) = (i == j ? z : 0.0) - a(i, j);
        }
    }
    QorMathLA::Matrix<double> inverse;
    inverse.setIdentity(n);
    std::vector<int> pivots(static_cast<std::size_t>(n));
    if (n > 0) {
        lapack::getrf(n, n, lu.numericData(true), n, pivots.data());
        lapack::getrs(lapack::Op::none, n, n, lu.numericData(true), n, pivots.data(), inverse.numericData(true), n);
    }
    return inverse;
}

/// C (z I - A)^-1 B + D at a real point.
inline QorMathLA::Matrix<double> transferAt(const LTIStateSpaceModel& model, double z) {
    using QorMathLA::product;
    const QorMathLA::Matrix<double> b = models::inputMatrixOf(model);
    const QorMathLA::Matrix<double> c = models::outputMatrixOf(model);
    return product(product(c, resolvent(model.A, z)), b) + model.D;
}

/// Real points on both sides of the poles of both time bases; they keep a distance of 0.4 from every pole that the
/// models of these tests have.
inline const std::vector<double>& transferPoints() {
    static const std::vector<double> points{-9.0, -6.5, -4.1, -3.3, 2.1, 2.9, 3.7, 5.0, 8.0};
    return points;
}

/// What the rounding of an orthogonal transformation of a model can make of its transfer function at a point: a change
/// of A by n eps ||A|| moves the value by ||C|| ||R|| n eps ||A|| ||R|| ||B|| with R the resolvent, changes of B and C
/// by n eps ||C|| ||R|| ||B|| each.
inline double transferUnit(const LTIStateSpaceModel& model, double z) {
    const double n = std::max(1, model.A.rows());
    const double r = frobeniusNorm(resolvent(model.A, z));
    const double outer = frobeniusNorm(model.B) * frobeniusNorm(model.C) * r;
    return n * unitRoundoff * (outer * (frobeniusNorm(model.A) * r + 2.0) + frobeniusNorm(model.D));
}

/// The largest difference of two transfer functions over the points, as a multiple of transferUnit of the first model.
inline double transferRatio(const LTIStateSpaceModel& model, const LTIStateSpaceModel& other) {
    double largest = 0.0;
    for (const double z : transferPoints()) {
        const double unit = transferUnit(model, z);
        const double difference = maxDifference(transferAt(model, z), transferAt(other, z));
        largest = largerOf(largest, difference == 0.0 ? 0.0 : difference / unit);
    }
    return largest;
}

/// D, C B, C A B, ...
inline std::vector<QorMathLA::Matrix<double>> markovParameters(const LTIStateSpaceModel& model, int count) {
    using QorMathLA::product;
    const QorMathLA::Matrix<double> c = models::outputMatrixOf(model);
    std::vector<QorMathLA::Matrix<double>> parameters{model.D};
    QorMathLA::Matrix<double> reached = models::inputMatrixOf(model);
    while (static_cast<int>(parameters.size()) < count) {
        parameters.push_back(product(c, reached));
        reached = product(model.A, reached);
    }
    return parameters;
}

/// The eigenvalues, sorted by real and then by imaginary part.
inline Poles sortedPoles(const QorMathLA::Matrix<double>& a) {
    QorMathLA::Matrix<double> work(a);
    QorMathLA::Vector<double> re;
    QorMathLA::Vector<double> im;
    Poles poles;
    if (a.rows() > 0) {
        work.eigenvalues(re, im, 30);
        for (int i = 0; i < re.size(); ++i) {
            poles.emplace_back(re[i], im[i]);
        }
    }
    std::sort(poles.begin(), poles.end(), [](const std::complex<double>& x, const std::complex<double>& y) {
        return x.real() != y.real() ? x.real() < y.real() : x.imag() < y.imag();
    });
    return poles;
}

/// How far a pole lies inside the stability limit; negative beyond it.
inline double stabilityOf(std::complex<double> pole, systemType type) {
    return type == discreteSystem ? 1.0 - std::abs(pole) : -pole.real();
}

/// True when all six fields are the same to the bit.
inline bool identical(const LTIStateSpaceModel& a, const LTIStateSpaceModel& b) {
    return identical(a.A, b.A) && identical(a.B, b.B) && identical(a.C, b.C) && identical(a.D, b.D) &&
           a.sampleTime == b.sampleTime && a.sysType == b.sysType;
}

}  // namespace qormath::test
