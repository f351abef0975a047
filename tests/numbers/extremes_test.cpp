// Matrices whose elements span three hundred orders of magnitude, eigenvalues that coincide, and Jordan blocks: what
// comes out satisfies what it is defined by, measured against the norms of what it is made of, or the call refuses.

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <support/complex_matrices.hpp>
#include <support/matrix_compare.hpp>
#include <support/random_matrices.hpp>
#include <support/riccati_checks.hpp>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/core/xmsg.hpp>
#include <qormath/models/lti_fir_model.hpp>
#include <qormath/models/lti_state_space_model.hpp>

#include "numbers/operands.hpp"

namespace qormath::test {
namespace {

using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Vector;

// A residual over n eps times the norms of its terms. Twice the limit of well scaled problems: the terms of a graded
// one differ in size, and each is rounded against the largest.
constexpr double ratioLimit = 20.0;

const std::vector<int> orders{1, 2, 5, 12, 40};

struct Shape {
    std::string name;
    std::function<Matrix<double>(int)> matrix;
};

/// Diagonal elements from 1e-150 to 1e150 in equal steps of their logarithm, times a matrix of order 1.
Matrix<double> gradedByRows(const Matrix<double>& core) {
    Matrix<double> result = core;
    const int n = core.rows();
    for (int i = 0; i < n; ++i) {
        const double exponent = n == 1 ? 150.0 : -150.0 + 300.0 * i / (n - 1);
        result.row(i) *= std::pow(10.0, exponent);
    }
    return result;
}

/// D A / D with the same diagonal: eigenvalues of order 1 in a matrix that does not look it.
Matrix<double> gradedBySimilarity(const Matrix<double>& core) {
    Matrix<double> result = gradedByRows(core);
    const int n = core.rows();
    for (int j = 0; j < n; ++j) {
        const double exponent = n == 1 ? 150.0 : -150.0 + 300.0 * j / (n - 1);
        result.column(j) *= std::pow(10.0, -exponent);
    }
    return result;
}

Matrix<double> jordanBlock(int n, double eigenvalue) {
    Matrix<double> result = QorMathLA::zeroMatrix(n, n);
    for (int k = 0; k < n; ++k) {
        result(k, k) = eigenvalue;
        if (k + 1 < n) {
            result(k, k + 1) = 1.0;
        }
    }
    return result;
}

/// The shapes around eigenvalues of order 1: those of the core, or the one that is given, n times.
std::vector<Shape> shapesAround(const std::function<Matrix<double>(int)>& core, double eigenvalue) {
    return {{"graded by rows", [core](int n) { return gradedByRows(core(n)); }},
            {"graded by columns", [core](int n) { return Matrix<double>::copyOf(gradedByRows(core(n)).transpose()); }},
            {"graded by a similarity", [core](int n) { return gradedBySimilarity(core(n)); }},
            {"tiny", [core](int n) { return Matrix<double>(core(n) * 1e-150); }},
            {"huge", [core](int n) { return Matrix<double>(core(n) * 1e150); }},
            {"one eigenvalue n times",
             [eigenvalue](int n) { return Matrix<double>(Matrix<double>().identity(n) * eigenvalue); }},
            {"one eigenvalue n times, hidden",
             [eigenvalue](int n) {
                 NormalNumbers numbers(91);
                 return randomWithEigenvalues(
                     std::vector<std::complex<double>>(static_cast<std::size_t>(n), eigenvalue), 1.0 / n, numbers);
             }},
            {"Jordan block", [eigenvalue](int n) { return jordanBlock(n, eigenvalue); }},
            {"zero", [](int n) { return Matrix<double>(QorMathLA::zeroMatrix(n, n)); }}};
}

std::vector<Shape> continuousShapes() {
    return shapesAround([](int n) { return continuousMatrix(n); }, -1.0);
}

std::vector<Shape> discreteShapes() {
    return shapesAround([](int n) { return discreteMatrix(n); }, 0.5);
}

/// True if the action ended with a result; false for the two refusals that the functions are documented with. Anything
/// else that is thrown ends the test.
bool succeeds(const std::function<void()>& action) {
    try {
        action();
        return true;
    } catch (int code) {
        EXPECT_EQ(code, -1);
    } catch (const QorMathLA::xmsg& failure) {
        EXPECT_EQ(failure.code, QorMathLA::NumericFailure) << failure.message;
    }
    return false;
}

bool isFinite(const QorMathLA::BasicMatrix<double>& matrix) {
    for (const double element : matrix) {
        if (!std::isfinite(element)) {
            return false;
        }
    }
    return true;
}

/// ||residual|| over n eps size; 0 for a residual of 0, infinite where something overflowed.
double ratio(const QorMathLA::BasicMatrix<double>& residual, double size, int n) {
    if (!isFinite(residual)) {
        return std::numeric_limits<double>::infinity();
    }
    const double norm = frobeniusNorm(residual);
    return norm == 0.0 ? 0.0 : norm / size / (n * unitRoundoff);
}

/// Runs a check on all shapes and orders, and asks that as many as said have a result.
void forAll(const std::vector<Shape>& shapes, const std::function<bool(const Matrix<double>&)>& check,
            int fewestResults) {
    int results = 0;
    for (const Shape& shape : shapes) {
        for (const int n : orders) {
            SCOPED_TRACE(shape.name + ", order " + std::to_string(n));
            const Matrix<double> matrix = shape.matrix(n);
            const Matrix<double> before = matrix;
            results += check(matrix) ? 1 : 0;
            EXPECT_TRUE(identical(matrix, before));
        }
    }
    EXPECT_GE(results, fewestResults);
}

TEST(Extremes, SchurFormsReproduceTheMatrix) {
    for (const schurOrder order : {schurUnordered, schurULDiscrete, schurLRContinuous, schurDescendingModulus}) {
        SCOPED_TRACE(order);
        const auto check = [order](const Matrix<double>& a) {
            Matrix<double> t;
            Matrix<double> q;
            Vector<double> wr;
            Vector<double> wi;
            if (!succeeds([&] { QorMathControl::SchurDecomposition(a, t, q, wr, wi, order); })) {
                return false;
            }
            const Matrix<double> back = product(product(q, t), q.transpose());
            EXPECT_LE(ratio(back - a, frobeniusNorm(a), a.rows()), ratioLimit);
            EXPECT_LE(orthonormalityDefect(q), ratioLimit * a.rows() * unitRoundoff);
            return true;
        };
        forAll(continuousShapes(), check, 40);
    }
}

TEST(Extremes, SylvesterSolutionsSatisfyTheirEquation) {
    const auto check = [](const Matrix<double>& a) {
        const int n = a.rows();
        const Matrix<double> b = continuousMatrix(n, 92);
        const Matrix<double> c = anyMatrix(n, n, 93);
        Matrix<double> x;
        if (!succeeds([&] { QorMathControl::SylvesterEquation(x, a, b, c); })) {
            return false;
        }
        const Matrix<double> residual = product(a, x) + product(x, b) + c;
        const double size = (frobeniusNorm(a) + frobeniusNorm(b)) * frobeniusNorm(x) + frobeniusNorm(c);
        EXPECT_LE(ratio(residual, size, n), ratioLimit);
        return true;
    };
    forAll(continuousShapes(), check, 25);
}

TEST(Extremes, LyapunovSolutionsSatisfyTheirEquation) {
    const auto check = [](const Matrix<double>& a) {
        const int n = a.rows();
        const Matrix<double> q = weightMatrix(n);
        Matrix<double> x;
        if (!succeeds([&] { QorMathControl::ContinuousLyapunov(x, a, q); })) {
            return false;
        }
        const Matrix<double> residual = product(a, x) + product(x, a.transpose()) + q;
        EXPECT_LE(ratio(residual, 2.0 * frobeniusNorm(a) * frobeniusNorm(x) + frobeniusNorm(q), n), ratioLimit);
        return true;
    };
    forAll(continuousShapes(), check, 20);
}

TEST(Extremes, SteinSolutionsSatisfyTheirEquation) {
    const auto check = [](const Matrix<double>& a) {
        const int n = a.rows();
        const Matrix<double> q = weightMatrix(n);
        Matrix<double> x;
        if (!succeeds([&] { QorMathControl::DiscreteLyapunov(x, a, q); })) {
            return false;
        }
        const Matrix<double> residual = product(product(a, x), a.transpose()) - x + q;
        const double norm = frobeniusNorm(a);
        const double size = (norm * norm + 1.0) * frobeniusNorm(x) + frobeniusNorm(q);
        if (norm < 0x1p200) {
            EXPECT_LE(ratio(residual, size, n), ratioLimit);
        } else {
            // (a + 1)^-1 (a - 1) does not tell such an a from infinity: x comes out near 0, for which the residual is
            // q.
            EXPECT_TRUE(isFinite(residual));
            EXPECT_LE(frobeniusNorm(residual), 2.0 * size);
        }
        return true;
    };
    forAll(discreteShapes(), check, 15);
}

/// Of an exponential only that much can be said without a reference: exp(a) exp(-a) = 1, up to the rounding of the two
/// factors, which grows with the norm of a.
TEST(Extremes, ExponentialsOfAMatrixAndItsNegativeCancel) {
    const auto check = [](const Matrix<double>& a) {
        const int n = a.rows();
        const Matrix<double> there = QorMathControl::ExpM(a, 1.0);
        const Matrix<double> back = QorMathControl::ExpM(a, -1.0);
        if (!isFinite(there) || !isFinite(back)) {
            EXPECT_GT(frobeniusNorm(a), 700.0) << "nothing here overflows";
            return false;
        }
        const Matrix<double> residual = product(there, back) - a.identity();
        const double size = frobeniusNorm(there) * frobeniusNorm(back) * (1.0 + frobeniusNorm(a));
        EXPECT_LE(ratio(residual, size, n), ratioLimit);
        return true;
    };
    forAll(continuousShapes(), check, 20);
}

TEST(Extremes, LogarithmsEndAndAreFiniteAwayFromZero) {
    const auto check = [](const Matrix<double>& a) {
        QorMathLA::ComplexMatrix<double> logarithm;
        if (!succeeds([&] { logarithm = QorMathControl::LogM(a); })) {
            return false;
        }
        EXPECT_EQ(logarithm.rows(), a.rows());
        EXPECT_EQ(logarithm.cols(), a.cols());
        return true;
    };
    forAll(discreteShapes(), check, 20);
}

TEST(Extremes, LogarithmsOfJordanBlocksAreTheirSeries) {
    for (const int n : orders) {
        SCOPED_TRACE(n);
        const double eigenvalue = 0.5;
        const QorMathLA::ComplexMatrix<double> logarithm = QorMathControl::LogM(jordanBlock(n, eigenvalue));
        // log(l + N) = log(l) + N / l - N^2 / (2 l^2) + ...
        Matrix<double> series = QorMathLA::zeroMatrix(n, n);
        for (int i = 0; i < n; ++i) {
            series(i, i) = std::log(eigenvalue);
            for (int j = i + 1; j < n; ++j) {
                const int power = j - i;
                series(i, j) = (power % 2 == 1 ? 1.0 : -1.0) / (power * std::pow(eigenvalue, power));
            }
        }
        // The result is accepted for a residual of 1000 eps in the matrix; the logarithm's condition is about the
        // square of the inverse, which is that of the series.
        const double condition = frobeniusNorm(series) * frobeniusNorm(series);
        EXPECT_LE(frobeniusNorm(realPartOf(logarithm) - series), 1000.0 * unitRoundoff * n * condition);
    }
}

TEST(Extremes, GainsSatisfyTheSteadyState) {
    const auto check = [](const Matrix<double>& a) {
        const int n = a.rows();
        LTIStateSpaceModel model(a, Matrix<double>().identity(n), Matrix<double>().identity(n),
                                 QorMathLA::zeroMatrix(n, n), continuousSystem, 1.0);
        Matrix<double> gain;
        if (!succeeds([&] { gain = model.gain(); })) {
            return false;
        }
        const Matrix<double> residual = product(a, gain) + a.identity();
        // Singular values below 2^-52 of the largest count as zero, so that a matrix that is singular to working
        // precision leaves a part of the steady state out.
        Vector<double> values;
        Matrix<double> unused;
        svdCopy(a, values, unused, 30, false);
        EXPECT_TRUE(isFinite(gain));
        if (values[0] < 0x1p40 * values[n - 1]) {
            EXPECT_LE(ratio(residual, frobeniusNorm(a) * frobeniusNorm(gain), n), ratioLimit);
        }
        return true;
    };
    forAll(continuousShapes(), check, 20);
}

TEST(Extremes, ConversionsReductionsAndRiccatiEquationsEnd) {
    const auto check = [](const Matrix<double>& a) {
        const int n = a.rows();
        const Matrix<double> b = anyMatrix(n, 2, 94);
        const Matrix<double> c = anyMatrix(2, n, 95);
        const Matrix<double> d = anyMatrix(2, 2, 96);
        int results = 0;
        for (const conversionType type : {zeroOrderHold, bilinearTransform}) {
            for (const auto convert : {&QorMathControl::Continuous2Discrete, &QorMathControl::Discrete2Continuous}) {
                Matrix<double> newA = a;
                Matrix<double> newB = b;
                Matrix<double> newC = c;
                Matrix<double> newD = d;
                results += succeeds([&] { convert(newA, newB, newC, newD, 1.0, type); }) ? 1 : 0;
            }
        }
        for (const systemType type : {discreteSystem, continuousSystem}) {
            LTIStateSpaceModel model(a, b, c, d, type, 1.0);
            Vector<int> report;
            results += succeeds([&] { QorMathControl::MinimalRealization(model, report, -1.0, -1.0, -1.0); }) ? 1 : 0;
            int order = -1;
            const LTIStateSpaceModel whole(a, b, c, d, type, 1.0);
            results += succeeds([&] { QorMathControl::Shrink(whole, order, -1.0, -1.0, 0.0, 0.1); }) ? 1 : 0;
        }
        Matrix<double> x = Matrix<double>().identity(n);
        const Matrix<double> r = weightMatrix(2);
        const Matrix<double> q = weightMatrix(n);
        results += succeeds([&] { QorMathControl::ContinuousRiccati(x, a, b, q, r, false, riccatiSchur); }) ? 1 : 0;
        results += succeeds([&] { QorMathControl::DiscreteRiccati(x, a, b, q, r, false, riccatiSchur); }) ? 1 : 0;
        return results > 0;
    };
    forAll(continuousShapes(), check, 40);
    forAll(discreteShapes(), check, 40);
}

TEST(Extremes, RiccatiSolutionsSatisfyTheirEquation) {
    for (const bool discrete : {false, true}) {
        SCOPED_TRACE(discrete ? "discrete" : "continuous");
        const auto check = [discrete](const Matrix<double>& a) {
            const int n = a.rows();
            RiccatiEquation e;
            e.type = discrete ? discreteSystem : continuousSystem;
            e.a = a;
            e.b = anyMatrix(n, 2, 97);
            e.q = weightMatrix(n);
            e.r = weightMatrix(2);
            e.s = QorMathLA::zeroMatrix(n, 2);
            Matrix<double> x = QorMathLA::zeroMatrix(n, n);
            if (!succeeds([&] { solveRiccati(e, x, false, riccatiSchur); })) {
                return false;
            }
            EXPECT_LE(riccatiRatio(verdictOn(e, x), x, e.type), ratioLimit);
            return true;
        };
        forAll(discrete ? discreteShapes() : continuousShapes(), check, 15);
    }
}

TEST(Extremes, SimulatedCurvesAreThoseOfTheDefinition) {
    const auto check = [](const Matrix<double>& a) {
        const int n = a.rows();
        const LTIStateSpaceModel system(a, anyMatrix(n, 1, 98), anyMatrix(1, n, 99), QorMathLA::zeroMatrix(1, 1),
                                        discreteSystem, 1.0);
        LTIFIRModel reference;
        reference.coefficients = Matrix<Vector<double>>(1, 1);
        reference.coefficientCount = 30;
        const LTIFIRModel simulated(system, reference);
        const Vector<double>& curve = simulated.coefficients(0, 0);
        Matrix<double> state = QorMathLA::zeroMatrix(n, 1);
        double size = 0.0;
        for (int k = 0; k <= reference.coefficientCount; ++k) {
            state = product(a, state) + system.B;
            size = std::max(size, frobeniusNorm(system.C) * frobeniusNorm(state) * (k + 1));
            const double wanted = product(system.C, state)(0, 0);
            if (!std::isfinite(wanted) || !std::isfinite(size)) {
                return k > 0;
            }
            EXPECT_LE(std::fabs(curve[k] - wanted), ratioLimit * n * unitRoundoff * size) << "sample " << k;
        }
        return true;
    };
    forAll(discreteShapes(), check, 40);
}

}  // namespace
}  // namespace qormath::test
