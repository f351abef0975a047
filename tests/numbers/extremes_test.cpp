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
#include <support/transfer.hpp>
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

TEST(Extremes, SingularValueDecompositionsReproduceTheMatrix) {
    const auto check = [](const Matrix<double>& a) {
        Vector<double> values;
        Matrix<double> right;
        const Matrix<double> left = svdCopy(a, values, right, 30, true);
        const Matrix<double> back = product(left.scaleColumnsBy(values), right.transpose());
        EXPECT_LE(ratio(back - a, frobeniusNorm(a), a.rows()), ratioLimit);
        return true;
    };
    forAll(continuousShapes(), check, 45);
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

TEST(Extremes, LogarithmsOfEveryMatrixEnd) {
    const auto check = [](const Matrix<double>& a) {
        QorMathLA::ComplexMatrix<double> logarithm;
        if (!succeeds([&] { logarithm = QorMathControl::LogM(a); })) {
            return false;
        }
        EXPECT_EQ(logarithm.rows(), a.rows());
        EXPECT_EQ(logarithm.cols(), a.cols());
        return true;
    };
    forAll(discreteShapes(), check, 45);
    forAll(continuousShapes(), check, 45);
}

/// The shapes of which a logarithm is promised to be good: no eigenvalue on the negative axis twice, and none that is
/// lost in the rounding of the others.
std::vector<Shape> shapesWithLogarithm() {
    std::vector<Shape> shapes;
    for (const std::vector<Shape>& some : {discreteShapes(), continuousShapes()}) {
        const bool isNegative = !shapes.empty();
        for (const Shape& shape : some) {
            const bool isSpread = shape.name == "graded by a similarity" || shape.name == "zero";
            const bool isRepeated = shape.name.find("one eigenvalue") == 0 || shape.name == "Jordan block";
            if (!isSpread && !(isNegative && isRepeated)) {
                shapes.push_back(shape);
            }
        }
    }
    return shapes;
}

// Beyond this norm a logarithm of matrices like these is that of one far from normal, whose exponential has a condition
// that no norm tells.
constexpr double largestLogarithm = 0x1p20;

TEST(Extremes, ExponentialsOfLogarithmsAreTheMatrix) {
    const auto check = [](const Matrix<double>& a) {
        const QorMathLA::ComplexMatrix<double> logarithm = QorMathControl::LogM(a);
        const double norm = frobeniusNorm(logarithm);
        if (!(norm <= largestLogarithm)) {
            return false;
        }
        const QorMathLA::ComplexMatrix<double> back = QorMathControl::ExpM(logarithm);
        const double unit = a.rows() * unitRoundoff * frobeniusNorm(a) * (1.0 + norm);
        EXPECT_LE(frobeniusNorm(back - QorMathLA::ComplexMatrix<double>(a)), ratioLimit * unit);
        return true;
    };
    // All but some that are graded by rows or columns, whose small eigenvalues are computed as zero.
    forAll(shapesWithLogarithm(), check, 45);
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

struct System {
    Matrix<double> a, b, c, d;
};

System systemOf(const Matrix<double>& a) {
    const int n = a.rows();
    return {a, anyMatrix(n, 2, 94), anyMatrix(2, n, 95), anyMatrix(2, 2, 96)};
}

LTIStateSpaceModel modelOf(const Matrix<double>& a, systemType type) {
    const System system = systemOf(a);
    return {system.a, system.b, system.c, system.d, type, 1.0};
}

/// With a sample time of 1.
bool converts(System& system, conversionType type, bool toDiscrete) {
    const auto convert = toDiscrete ? &QorMathControl::Continuous2Discrete : &QorMathControl::Discrete2Continuous;
    return succeeds([&] { convert(system.a, system.b, system.c, system.d, 1.0, type); });
}

/// e x - f over the norms of its terms.
double equationRatio(const Matrix<double>& e, const Matrix<double>& x, const Matrix<double>& f, int n) {
    return ratio(product(e, x) - f, frobeniusNorm(e) * frobeniusNorm(x) + frobeniusNorm(f), n);
}

TEST(Extremes, BalancedSystemsAreTheGivenOnesInOtherUnits) {
    const auto check = [](const Matrix<double>& a) {
        const System before = systemOf(a);
        System balanced = before;
        Vector<double> s;
        QorMathControl::BalanceABC(balanced.a, balanced.b, balanced.c, s, 10.0);
        for (int i = 0; i < a.rows(); ++i) {
            EXPECT_EQ(std::exp2(std::ilogb(s[i])), s[i]);
            for (int j = 0; j < a.rows(); ++j) {
                EXPECT_EQ(balanced.a(i, j), a(i, j) * (s[j] / s[i]));
            }
            EXPECT_EQ(balanced.b(i, 0), before.b(i, 0) / s[i]);
            EXPECT_EQ(balanced.c(0, i), before.c(0, i) * s[i]);
        }
        return true;
    };
    forAll(continuousShapes(), check, 45);
}

TEST(Extremes, HeldSystemsSatisfyTheirSteadyState) {
    // a' = exp(a) and b' = (1 + a / 2 + ...) b commute with a, so that a b' = (a' - 1) b.
    const auto check = [](const Matrix<double>& a) {
        const int n = a.rows();
        const System before = systemOf(a);
        System held = before;
        EXPECT_TRUE(converts(held, zeroOrderHold, true));
        EXPECT_TRUE(identical(held.c, before.c));
        EXPECT_TRUE(identical(held.d, before.d));
        if (!isFinite(held.a) || !isFinite(held.b)) {
            EXPECT_GT(frobeniusNorm(a), 700.0) << "nothing here overflows";
            return false;
        }
        const Matrix<double> residual = product(a, held.b) - product(held.a, before.b) + before.b;
        const double size =
            frobeniusNorm(a) * frobeniusNorm(held.b) + (frobeniusNorm(held.a) + 1.0) * frobeniusNorm(before.b);
        // A rounding for each time that the exponential is squared.
        EXPECT_LE(ratio(residual, size * (1.0 + std::log2(1.0 + frobeniusNorm(a))), n), ratioLimit);
        return true;
    };
    forAll(continuousShapes(), check, 25);
}

TEST(Extremes, HeldSystemsComeBackFromContinuousTime) {
    const auto check = [](const Matrix<double>& a) {
        const int n = a.rows();
        const System before = systemOf(a);
        System there = before;
        if (!converts(there, zeroOrderHold, false)) {
            return false;
        }
        const double norm = frobeniusNorm(there.a) + frobeniusNorm(there.b);
        if (!(norm <= largestLogarithm)) {
            return false;
        }
        EXPECT_EQ(there.a.rows(), n) << "no eigenvalue is negative";
        System back = there;
        EXPECT_TRUE(converts(back, zeroOrderHold, true));
        const double size = (1.0 + frobeniusNorm(a) + frobeniusNorm(before.b)) * (1.0 + norm);
        EXPECT_LE(ratio(back.a - a, size, n), ratioLimit);
        EXPECT_LE(ratio(back.b - before.b, size, n), ratioLimit);
        return true;
    };
    forAll(discreteShapes(), check, 20);
}

TEST(Extremes, TustinsRuleSatisfiesItsEquations) {
    // With e = 1 - a / 2 there: e a' = 1 + a / 2, e b' = b, c' e = c, d' = d + c' b / 2. With e = (1 + a) / 2 back:
    // e a' = a - 1, and so on, d' = d - c' b / 2.
    for (const bool toDiscrete : {true, false}) {
        SCOPED_TRACE(toDiscrete ? "to discrete time" : "to continuous time");
        const auto check = [toDiscrete](const Matrix<double>& a) {
            const int n = a.rows();
            const System before = systemOf(a);
            System after = before;
            if (!converts(after, bilinearTransform, toDiscrete)) {
                return false;
            }
            const Matrix<double> half = a * 0.5;
            const Matrix<double> e = toDiscrete ? a.identity() - half : a.identity() * 0.5 + half;
            const Matrix<double> f = toDiscrete ? a.identity() + half : a - a.identity();
            EXPECT_LE(equationRatio(e, after.a, f, n), ratioLimit);
            EXPECT_LE(equationRatio(e, after.b, before.b, n), ratioLimit);
            EXPECT_LE(equationRatio(e.transpose(), after.c.transpose(), before.c.transpose(), n), ratioLimit);
            const Matrix<double> change = product(after.c, before.b) * (toDiscrete ? 0.5 : -0.5);
            const double size = frobeniusNorm(before.d) + frobeniusNorm(after.c) * frobeniusNorm(before.b);
            EXPECT_LE(ratio(after.d - before.d - change, size, n), ratioLimit);
            return true;
        };
        forAll(continuousShapes(), check, 25);
        forAll(discreteShapes(), check, 25);
    }
}

/// Compares the transfer functions. What a reduction leaves out at its default tolerance are up to n Hankel singular
/// values below n eps times the largest, which bounds the difference where the stable modes decay.
void expectTransferKept(const LTIStateSpaceModel& model, const LTIStateSpaceModel& reduced) {
    const int n = model.A.rows();
    LTIStateSpaceModel balanced = model;
    Vector<double> hsv;
    QorMathControl::ModelReduction(balanced.A, balanced.B, balanced.C, balanced.D, hsv, reductionBalanced,
                                   model.sysType, 0, -1.0, 0.0);
    const double leftOut = hsv.size() == 0 ? 0.0 : 2.0 * n * n * unitRoundoff * hsv[0];
    for (const double point : transferPoints()) {
        if (model.sysType == discreteSystem || point > 0.0) {
            EXPECT_LE(maxDifference(transferAt(model, point), transferAt(reduced, point)),
                      ratioLimit * transferUnit(model, point) + leftOut)
                << "at " << point;
        }
    }
}

TEST(Extremes, MinimalAndReducedModelsKeepTheTransferFunction) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        SCOPED_TRACE(type == discreteSystem ? "discrete" : "continuous");
        const auto check = [type](const Matrix<double>& a) {
            const LTIStateSpaceModel model = modelOf(a, type);
            LTIStateSpaceModel minimal = modelOf(a, type);
            Vector<int> report;
            int order = a.rows();
            LTIStateSpaceModel reduced;
            const bool isMinimal =
                succeeds([&] { QorMathControl::MinimalRealization(minimal, report, -1.0, -1.0, -1.0); });
            const bool isReduced =
                succeeds([&] { reduced = QorMathControl::Shrink(model, order, -1.0, -1.0, -1.0, 0.0); });
            EXPECT_TRUE(identical(model, modelOf(a, type)));
            if (isMinimal) {
                expectTransferKept(model, minimal);
            }
            if (isReduced) {
                expectTransferKept(model, reduced);
            }
            return isMinimal && isReduced;
        };
        forAll(type == discreteSystem ? discreteShapes() : continuousShapes(), check, 30);
    }
}

TEST(Extremes, ConversionsReductionsAndRiccatiEquationsEnd) {
    const auto check = [](const Matrix<double>& a) {
        const int n = a.rows();
        int results = 0;
        for (const conversionType type : {zeroOrderHold, bilinearTransform}) {
            for (const bool toDiscrete : {true, false}) {
                System system = systemOf(a);
                results += converts(system, type, toDiscrete) ? 1 : 0;
            }
        }
        for (const systemType type : {discreteSystem, continuousSystem}) {
            LTIStateSpaceModel model = modelOf(a, type);
            Vector<int> report;
            results += succeeds([&] { QorMathControl::MinimalRealization(model, report, -1.0, -1.0, -1.0); }) ? 1 : 0;
            int order = -1;
            const LTIStateSpaceModel whole = modelOf(a, type);
            results += succeeds([&] { QorMathControl::Shrink(whole, order, -1.0, -1.0, 0.0, 0.1); }) ? 1 : 0;
        }
        const Matrix<double> b = anyMatrix(n, 2, 94);
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
