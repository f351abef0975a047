#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>

#include "support/control_test_access.hpp"
#include "support/failures.hpp"
#include "support/matrix_compare.hpp"
#include "support/matrix_literals.hpp"
#include "support/random_matrices.hpp"
#include "support/riccati_checks.hpp"

namespace {

using namespace qormath::test;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::pseudoInverse;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;
using riccati_detail::scaledIdentity;
using test_access = QorMathControlTestAccess;

// The ratio that residuals are held to; see riccatiRatio.
constexpr double ratioLimit = 20.0;
constexpr int shapesDoNotFit = 5;
constexpr int transposedAccess = 9;

const double nan = std::numeric_limits<double>::quiet_NaN();

RiccatiEquation scalar(systemType type, double a, double b, double q, double r) {
    RiccatiEquation e = riccati_detail::blank("scalar", type, 1, 1);
    e.a(0, 0) = a;
    e.b(0, 0) = b;
    e.q(0, 0) = q;
    e.r(0, 0) = r;
    return e;
}

Matrix<double> scalarMatrix(double value) {
    return matrixOf({{value}});
}

Matrix<double> solved(const RiccatiEquation& equation, const Matrix<double>& start, bool useInitial,
                      const riccatiMethod& method) {
    Matrix<double> x(start, true);
    solveRiccati(equation, x, useInitial, method);
    return x;
}

double solvedScalar(const RiccatiEquation& equation, double start, bool useInitial, const riccatiMethod& method) {
    return solved(equation, scalarMatrix(start), useInitial, method)(0, 0);
}

Matrix<double> randomStart(int n) {
    Matrix<double> x;
    x.randomize(n, n);
    return x.transpose() * x + x.identity() * 10.0;
}

// ---------------------------------------------------------------- the iterations, written out

// What an iteration does when it is run to its end, without a word on iterates that stand still.
struct Iteration {
    Matrix<double> x;
    std::vector<double> errors;
    std::vector<Matrix<double>> iterates;  // the start included
};

Iteration continuousIteration(const RiccatiEquation& e, Matrix<double> x) {
    Iteration run;
    const Matrix<double> saved(x, true);
    run.iterates.push_back(saved);
    const Matrix<double> rp = pseudoInverse(e.r, -1.0);
    const bool isKeptSymmetric = isSymmetric(e.q) && isSymmetric(e.r) && isSymmetric(x);
    const auto kept = [&](const Matrix<double>& m) { return isKeptSymmetric ? symmetricPart(m) : m; };
    for (int k = 0;; ++k) {
        const Matrix<double> g = e.s + x * e.b;
        const Matrix<double> residual = kept(((e.q + e.a.transpose() * x) + x * e.a) - (g * rp) * g.transpose());
        const Matrix<double> loop = e.a - (e.b * rp) * (e.b.transpose() * x + e.s.transpose());
        Matrix<double> d;
        test_access::LyapunovHelper(d, loop, residual, continuousSystem);
        x = kept(x + d);
        run.iterates.push_back(x);
        run.errors.push_back(residual.maxAbs());
        if (run.errors.back() / std::max(x.maxAbs(), 1.0) < 1e-15 || k + 1 >= 30) {
            run.x = run.errors.back() > run.errors.front() ? saved : x;
            return run;
        }
    }
}

Iteration discreteIteration(const RiccatiEquation& e, Matrix<double> x) {
    Iteration run;
    Matrix<double> saved(x, true);
    double best = 0.0;
    for (int k = 0; k < 30; ++k) {
        run.iterates.push_back(x);
        const Matrix<double> g = (e.a.transpose() * x) * e.b + e.s;
        const Matrix<double> kk = pseudoInverse(e.r + (e.b.transpose() * x) * e.b, -1.0) * g.transpose();
        const Matrix<double> residual = (((e.a.transpose() * x) * e.a - g * kk) + e.q) - x;
        const Matrix<double> loop = e.a - e.b * kk;
        const double error = std::sqrt(residual.sumSquares());
        run.errors.push_back(error);
        if (k == 0) {
            best = error;
        }
        if (best > error) {
            best = error;
            saved = x;
        }
        if (error / std::max(std::sqrt(x.sumSquares()), 1.0) < 1e-15) {
            break;
        }
        Matrix<double> d;
        try {
            test_access::LyapunovHelper(d, loop, residual, discreteSystem);
        } catch (int) {
            break;
        }
        x = x + d;
    }
    run.x = saved;
    return run;
}

Iteration iteration(const RiccatiEquation& e, const Matrix<double>& start) {
    return e.type == discreteSystem ? discreteIteration(e, start) : continuousIteration(e, start);
}

std::string label(const RiccatiEquation& equation) {
    return equation.name + (equation.type == discreteSystem ? ", discrete, n = " : ", continuous, n = ") +
           std::to_string(equation.a.rows());
}

TEST(RiccatiIteration, EndsEarlyOnlyWithTheBitsOfRunningOn) {
    NormalNumbers numbers(1);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const int n : {1, 2, 3, 7, 20}) {
            for (int round = 0; round < 5; ++round) {
                const RiccatiEquation e = randomEquation(type, n, scaledIdentity(2, 1.0), 0.3, numbers);
                for (const double disturbance : {0.0, 1e-8, 1e-2}) {
                    const Matrix<double> start =
                        e.x + symmetricPart(randomMatrix(n, n, numbers)) * (disturbance / (1.0 + n));
                    const Iteration expected = iteration(e, start);
                    EXPECT_TRUE(identical(solved(e, start, true, riccatiNewton), expected.x)) << label(e);
                }
            }
        }
    }
}

TEST(RiccatiIteration, OfSymmetricDataInContinuousTimeStaysSymmetric) {
    NormalNumbers numbers(7);
    for (const int n : {2, 5, 20}) {
        const RiccatiEquation e = randomEquation(continuousSystem, n, scaledIdentity(2, 1.0), 0.3, numbers);
        EXPECT_TRUE(isSymmetric(solved(e, symmetricPart(e.x), true, riccatiNewton))) << n;
    }
}

TEST(RiccatiIteration, FromAStartThatIsNotSymmetricTakesItsStepsAsTheyCome) {
    NormalNumbers numbers(8);
    for (const int n : {2, 5, 20}) {
        const RiccatiEquation e = randomEquation(continuousSystem, n, scaledIdentity(2, 1.0), 0.3, numbers);
        Matrix<double> start = symmetricPart(e.x);
        start(0, 1) += 1e-8;
        const Iteration expected = continuousIteration(e, start);
        EXPECT_FALSE(isSymmetric(expected.iterates[1])) << n;
        EXPECT_TRUE(identical(solved(e, start, true, riccatiNewton), expected.x)) << n;
    }
}

TEST(RiccatiIteration, StartsFromTheDirectSolution) {
    NormalNumbers numbers(2);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const int n : {1, 4, 15}) {
            const RiccatiEquation e = randomEquation(type, n, scaledIdentity(2, 1.0), 0.3, numbers);
            const Matrix<double> direct = solved(e, zeroMatrix(n, n), false, riccatiSchur);
            const Matrix<double> expected = iteration(e, direct).x;
            EXPECT_TRUE(identical(solved(e, zeroMatrix(n, n), false, riccatiSchurNewton), expected));
            EXPECT_TRUE(identical(solved(e, scaledIdentity(n, 3.0), true, riccatiSchurNewton), expected));
        }
    }
}

TEST(RiccatiIteration, WithoutADirectSolutionStartsFromTheGivenOrTheRandomStart) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        // The closed loop is on the limit, where Newton halves its error in every step.
        RiccatiEquation e = scalar(type, type == discreteSystem ? 1.0 : 0.0, 1.0, 0.0, 1.0);
        expectMinusOne([&] { solvedScalar(e, 1.0, false, riccatiSchur); });
        EXPECT_TRUE(
            identical(solved(e, scalarMatrix(1.0), true, riccatiSchurNewton), iteration(e, scalarMatrix(1.0)).x));
        EXPECT_TRUE(identical(solved(e, scalarMatrix(1.0), false, riccatiSchurNewton), iteration(e, randomStart(1)).x));
    }
}

TEST(RiccatiIteration, GivesTheSameResultForEveryCallWithARandomStart) {
    NormalNumbers numbers(3);
    const RiccatiEquation e = randomEquation(discreteSystem, 3, scaledIdentity(2, 1.0), 0.3, numbers);
    std::srand(99);
    const Matrix<double> first = solved(e, zeroMatrix(3, 3), false, riccatiNewton);
    std::srand(1234);
    const Matrix<double> second = solved(e, scaledIdentity(3, nan), false, riccatiNewton);
    EXPECT_TRUE(identical(first, second));
    EXPECT_TRUE(identical(first, iteration(e, randomStart(3)).x));
}

TEST(RiccatiIteration, LeavesTheGeneratorAsTheRandomStartLeavesIt) {
    const RiccatiEquation e = scalar(discreteSystem, 0.5, 1.0, 1.0, 1.0);
    randomStart(1);
    const int next = std::rand();
    std::srand(77);
    solvedScalar(e, 0.0, false, riccatiNewton);
    EXPECT_EQ(std::rand(), next);
}

TEST(ContinuousRiccati, TakesNoMoreThanThirtySteps) {
    // x^2 = 0: every step halves x to the bit.
    const RiccatiEquation e = scalar(continuousSystem, 0.0, 1.0, 0.0, 1.0);
    EXPECT_EQ(solvedScalar(e, 0x1p40, true, riccatiNewton), 0x1p10);
}

TEST(ContinuousRiccati, LooksAtTheResidualBeforeTheStepThatItEndsWith) {
    // Every step halves x; that from 2^-25 is the first whose residual, 2^-50, is below 1e-15.
    const RiccatiEquation e = scalar(continuousSystem, 0.0, 1.0, 0.0, 1.0);
    EXPECT_EQ(solvedScalar(e, 1.0, true, riccatiNewton), 0x1p-26);
}

TEST(ContinuousRiccati, WithNewtonAloneIteratesFromWhatXHolds) {
    const RiccatiEquation e = scalar(continuousSystem, 0.0, 1.0, 0.0, 1.0);
    EXPECT_EQ(solvedScalar(e, 0x1p40, false, riccatiNewton), 0x1p10);
}

TEST(ContinuousRiccati, FallsBackOnTheStartWhenTheLastResidualIsWorseThoughOneBetweenWasBetter) {
    // An antisymmetric part of x doubles in each step where the closed loop mirrors an unstable a. It outgrows the
    // error of the start, which Newton has taken out meanwhile.
    RiccatiEquation e = riccati_detail::blank("growth", continuousSystem, 2, 2);
    e.a = e.b = e.r = scaledIdentity(2, 1.0);
    Matrix<double> start = scaledIdentity(2, 2.0 + 1e-6);
    start(0, 1) = 1e-13;
    start(1, 0) = -1e-13;
    const Iteration run = iteration(e, start);
    ASSERT_EQ(run.errors.size(), 30u);
    ASSERT_GT(run.errors.back(), run.errors.front());
    ASSERT_LT(*std::min_element(run.errors.begin(), run.errors.end()), 1e-3 * run.errors.front());
    EXPECT_TRUE(identical(solved(e, start, true, riccatiNewton), start));
}

TEST(ContinuousRiccati, LetsTheFailureOfAStepThrough) {
    // The closed loop of the start is 0, and with it the step's equation singular.
    expectMinusOne([] { solvedScalar(scalar(continuousSystem, 0.0, 1.0, 1.0, 1.0), 0.0, true, riccatiNewton); });
}

TEST(DiscreteRiccati, EndsSilentlyWhereAStepFails) {
    // The closed loop is 1, whatever x is.
    const RiccatiEquation e = scalar(discreteSystem, 1.0, 0.0, 1.0, 1.0);
    EXPECT_EQ(solvedScalar(e, 3.0, true, riccatiNewton), 3.0);
    EXPECT_EQ(solvedScalar(e, 3.0, true, riccatiSchurNewton), 3.0);
}

TEST(DiscreteRiccati, GivesTheStartBackWhereNoIterateBeatsIt) {
    // The closed loop of the start is so near to 1 that the step overshoots by a factor of 10^5.
    RiccatiEquation e = scalar(discreteSystem, 1.00001, 1.0, 1e-3, -1.0);
    const Iteration run = iteration(e, scalarMatrix(1e-9));
    ASSERT_GT(run.errors.size(), 2u);
    ASSERT_GT(*std::min_element(run.errors.begin() + 1, run.errors.end()), run.errors.front());
    EXPECT_EQ(solvedScalar(e, 1e-9, true, riccatiNewton), 1e-9);
}

TEST(DiscreteRiccati, GivesTheBestOfTheIteratesThatItHasLookedAt) {
    // On the limit the error halves in each step, so that the last one looked at is the best: the thirtieth, since the
    // residual, x^2 / (r + x), is still above 1e-15 times x.
    const RiccatiEquation e = scalar(discreteSystem, 1.0, 1.0, 0.0, 0x1p40);
    const Iteration run = iteration(e, scalarMatrix(0x1p40));
    ASSERT_EQ(run.iterates.size(), 30u);
    ASSERT_EQ(std::min_element(run.errors.begin(), run.errors.end()), run.errors.end() - 1);
    EXPECT_EQ(solvedScalar(e, 0x1p40, true, riccatiNewton), run.iterates.back()(0, 0));
}

TEST(DiscreteRiccati, GivesTheBestFiniteIterateWhereTheIterationOverflows) {
    // The first step leads to x = -5e9, where b' x b is beyond the largest number.
    const RiccatiEquation e = scalar(discreteSystem, 1.0 + 1e-10, 1e160, 1.0, 1.0);
    EXPECT_EQ(solvedScalar(e, 0.0, true, riccatiNewton), 0.0);
}

TEST(DiscreteRiccati, WithNewtonAloneAndNoStartDoesNotLookAtX) {
    const RiccatiEquation e = scalar(discreteSystem, 0.5, 1.0, 1.0, 1.0);
    EXPECT_EQ(solvedScalar(e, nan, false, riccatiNewton), iteration(e, randomStart(1)).x(0, 0));
}

// ---------------------------------------------------------------- what both have in common

TEST(Riccati, OfTheScalarExampleIsOneByEveryMethod) {
    const RiccatiEquation e = scalar(continuousSystem, 0.0, 1.0, 1.0, 1.0);
    for (const bool useInitial : {false, true}) {
        for (const riccatiMethod method : {riccatiSchurNewton, riccatiNewton, riccatiSchur}) {
            EXPECT_DOUBLE_EQ(solvedScalar(e, 2.0, useInitial, method), 1.0);
        }
    }
}

TEST(Riccati, IterationFromAStabilisingStartDoesWithoutTheDirectSolution) {
    // The direct solution refuses transposed operands.
    NormalNumbers numbers(4);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const RiccatiEquation e = randomEquation(type, 3, scaledIdentity(2, 1.0), 0.3, numbers);
        const Matrix<double> start = e.x + scaledIdentity(3, 1e-3);
        const Matrix<double> expected = solved(e, start, true, riccatiNewton);
        const Matrix<double> stored(Matrix<double>(e.q.transpose()), true);
        const Matrix<double> transposedQ = stored.transpose();
        ASSERT_TRUE(transposedQ.transposed);
        Matrix<double> x(start, true);
        if (type == discreteSystem) {
            QorMathControl::DiscreteRiccati(x, e.a, e.b, transposedQ, e.r, e.s, true, riccatiNewton);
        } else {
            QorMathControl::ContinuousRiccati(x, e.a, e.b, transposedQ, e.r, e.s, true, riccatiNewton);
        }
        const RiccatiVerdict verdict = verdictOn(e, x);
        EXPECT_LE(riccatiRatio(verdict, x, type), ratioLimit);
        EXPECT_LE(frobeniusNorm(differenceOf(x, expected)), solutionUncertainty(verdict, x, type, ratioLimit));
    }
}

TEST(Riccati, DirectSolutionDoesNotLookAtTheStart) {
    NormalNumbers numbers(5);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const RiccatiEquation e = randomEquation(type, 4, scaledIdentity(2, 1.0), 0.3, numbers);
        Matrix<double> routine(4, 4);
        EXPECT_EQ(test_access::RiccatiHelper(routine, e.a, e.b, e.q, e.r, e.s, type), 0);
        EXPECT_TRUE(identical(solved(e, scaledIdentity(4, nan), true, riccatiSchur), routine));
        EXPECT_TRUE(identical(solved(e, scaledIdentity(4, 7.0), false, riccatiSchur), routine));
    }
}

TEST(Riccati, DirectSolutionThatThereIsNotThrowsAndLeavesXAlone) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const RiccatiEquation e = scalar(type, 2.0, 0.0, 1.0, 1.0);
        Matrix<double> x = scalarMatrix(17.0);
        expectMinusOne([&] { solveRiccati(e, x, true, riccatiSchur); });
        EXPECT_EQ(x(0, 0), 17.0);
        EXPECT_NE(test_access::RiccatiHelper(x, e.a, e.b, e.q, e.r, e.s, type), 0);
        EXPECT_EQ(x(0, 0), 17.0);
    }
}

TEST(Riccati, OtherMethodsActAsTheFirst) {
    NormalNumbers numbers(6);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const RiccatiEquation e = randomEquation(type, 3, scaledIdentity(2, 1.0), 0.3, numbers);
        const Matrix<double> expected = solved(e, zeroMatrix(3, 3), false, riccatiSchurNewton);
        for (const int value : {3, -1, 1000000}) {
            EXPECT_TRUE(identical(solved(e, zeroMatrix(3, 3), false, static_cast<riccatiMethod>(value)), expected));
        }
    }
}

TEST(Riccati, ShortFormsAreTheLongOnesWithACrossTermOfZeros) {
    NormalNumbers numbers(7);
    RiccatiEquation e = riccati_detail::blank("no cross term", continuousSystem, 5, 2);
    e.a = randomMatrix(5, 5, numbers);
    e.b = randomMatrix(5, 2, numbers);
    e.q = e.r = scaledIdentity(5, 1.0);
    e.r = scaledIdentity(2, 1.0);
    for (const riccatiMethod method : {riccatiSchurNewton, riccatiNewton, riccatiSchur}) {
        Matrix<double> start = solved(e, zeroMatrix(5, 5), false, riccatiSchur);
        Matrix<double> x(start, true);
        QorMathControl::ContinuousRiccati(x, e.a, e.b, e.q, e.r, true, method);
        EXPECT_TRUE(identical(x, solved(e, start, true, method)));
    }
    e.type = discreteSystem;
    for (const riccatiMethod method : {riccatiSchurNewton, riccatiNewton, riccatiSchur}) {
        Matrix<double> x = zeroMatrix(5, 5);
        QorMathControl::DiscreteRiccati(x, e.a, e.b, e.q, e.r, false, method);
        EXPECT_TRUE(identical(x, solved(e, zeroMatrix(5, 5), false, method)));
    }
}

TEST(Riccati, ReadsPartsOfLargerMatricesAndWritesIntoOne) {
    NormalNumbers numbers(8);
    const auto embed = [](const Matrix<double>& part) {
        Matrix<double> frame(part.rows() + 3, part.cols() + 3);
        frame.fill(nan);
        const Range rows(1, part.rows(), 1);
        const Range cols(2, part.cols() + 1, 1);
        frame(rows, cols) = part;
        return Matrix<double>(frame(rows, cols));
    };
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const RiccatiEquation e = randomEquation(type, 4, scaledIdentity(2, 1.0), 0.3, numbers);
        const Matrix<double> a = embed(e.a), b = embed(e.b), q = embed(e.q), r = embed(e.r), s = embed(e.s);
        ASSERT_NE(a.storedRows, a.rows());
        Matrix<double> frame(7, 7);
        frame.fill(5.0);
        Matrix<double> x = MatrixSoft<double>(frame(Range(2, 5, 1), Range(1, 4, 1)));
        EXPECT_EQ(test_access::RiccatiHelper(x, a, b, q, r, s, type), 0);
        EXPECT_TRUE(identical(x, solved(e, zeroMatrix(4, 4), false, riccatiSchur)));
        for (int j = 0; j < 7; ++j) {
            for (int i = 0; i < 7; ++i) {
                const bool inside = i >= 2 && i <= 5 && j >= 1 && j <= 4;
                EXPECT_EQ(frame(i, j) == 5.0, !inside);
            }
        }
    }
}

TEST(Riccati, RefusesTransposedOperandsOfTheDirectSolution) {
    NormalNumbers numbers(9);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        RiccatiEquation e = randomEquation(type, 2, scaledIdentity(2, 1.0), 0.3, numbers);
        Matrix<double> x = zeroMatrix(2, 2);
        const auto refused = [&](Matrix<double>& operand) {
            const Matrix<double> before(operand, false);
            operand = MatrixSoft<double>(operand.transpose());
            expectXmsg([&] { test_access::RiccatiHelper(x, e.a, e.b, e.q, e.r, e.s, type); }, transposedAccess,
                       "Matrix: get data for Fortran call");
            operand = MatrixSoft<double>(before);
        };
        for (Matrix<double>* const operand : {&x, &e.s, &e.r, &e.q, &e.b, &e.a}) {
            refused(*operand);
        }
        EXPECT_EQ(test_access::RiccatiHelper(x, e.a, e.b, e.q, e.r, e.s, type), 0);
    }
}

TEST(Riccati, RefusesShapesThatDoNotFit) {
    NormalNumbers numbers(10);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const RiccatiEquation good = randomEquation(type, 3, scaledIdentity(2, 1.0), 0.3, numbers);
        for (Matrix<double> RiccatiEquation::*operand : {&RiccatiEquation::a, &RiccatiEquation::b, &RiccatiEquation::q,
                                                         &RiccatiEquation::r, &RiccatiEquation::s}) {
            RiccatiEquation e = good;
            e.*operand = zeroMatrix(4, 4);
            expectMinusOne([&] { solved(e, zeroMatrix(3, 3), false, riccatiSchur); });
            for (const riccatiMethod method : {riccatiNewton, riccatiSchurNewton}) {
                try {
                    solved(e, zeroMatrix(3, 3), true, method);
                    ADD_FAILURE() << "nothing was thrown";
                } catch (const QorMathLA::xmsg& failure) {
                    EXPECT_EQ(failure.code, shapesDoNotFit);
                }
            }
        }
        expectMinusOne([&] { solved(good, zeroMatrix(2, 2), false, riccatiSchur); });
        expectMinusOne([&] { solved(good, Matrix<double>(), false, riccatiSchur); });
    }
}

TEST(Riccati, LeavesItsOperandsAlone) {
    NormalNumbers numbers(11);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const RiccatiEquation e = randomEquation(type, 4, scaledIdentity(2, 1.0), 0.3, numbers);
        const RiccatiEquation before = e;
        for (const riccatiMethod method : {riccatiSchurNewton, riccatiNewton, riccatiSchur}) {
            solved(e, e.x, true, method);
            EXPECT_TRUE(identical(e.a, before.a) && identical(e.b, before.b) && identical(e.q, before.q) &&
                        identical(e.r, before.r) && identical(e.s, before.s));
        }
    }
}

TEST(Riccati, OfNoStatesIsEmptyAndOfNoInputsALyapunovOrSteinEquation) {
    NormalNumbers numbers(12);
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const riccatiMethod method : {riccatiSchurNewton, riccatiNewton, riccatiSchur}) {
            const Matrix<double> none =
                solved(riccati_detail::blank("empty", type, 0, 0), zeroMatrix(0, 0), true, method);
            EXPECT_EQ(none.rows(), 0);
            RiccatiEquation e = riccati_detail::blank("no inputs", type, 4, 0);
            e.a = randomLoop(type, 4, 0.3, numbers);
            e.q = scaledIdentity(4, 1.0);
            Matrix<double> expected;
            test_access::LyapunovHelper(expected, e.a, e.q, type);
            const Matrix<double> x = solved(e, scaledIdentity(4, 1.0), true, method);
            EXPECT_LE(riccatiRatio(verdictOn(e, x), x, type), ratioLimit);
            EXPECT_LE(frobeniusNorm(differenceOf(x, expected)),
                      solutionUncertainty(verdictOn(e, x), x, type, ratioLimit));
        }
    }
}

TEST(Riccati, TakesASingularWeightOfTheInputs) {
    NormalNumbers numbers(13);
    RiccatiEquation e = riccati_detail::blank("no weight", continuousSystem, 3, 1);
    e.a = randomLoop(continuousSystem, 3, 0.3, numbers);
    e.b = randomMatrix(3, 1, numbers);
    e.q = scaledIdentity(3, 1.0);
    for (const riccatiMethod method : {riccatiSchurNewton, riccatiNewton, riccatiSchur}) {
        const Matrix<double> x = solved(e, scaledIdentity(3, 1.0), true, method);
        EXPECT_LE(riccatiRatio(verdictOn(e, x), x, e.type), ratioLimit);
    }
    const RiccatiEquation discrete = randomEquation(discreteSystem, 3, zeroMatrix(2, 2), 0.3, numbers);
    for (const riccatiMethod method : {riccatiSchurNewton, riccatiSchur}) {
        const Matrix<double> x = solved(discrete, zeroMatrix(3, 3), false, method);
        EXPECT_LE(riccatiRatio(verdictOn(discrete, x), x, discreteSystem), ratioLimit);
    }
}

TEST(Riccati, ReportsNaNInTheWeightOfTheInputs) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        const RiccatiEquation e = scalar(type, 0.5, 1.0, 1.0, nan);
        expectMinusOne([&] { solvedScalar(e, 1.0, true, riccatiSchur); });
        expectXmsg([&] { solvedScalar(e, 1.0, true, riccatiSchurNewton); }, 11, "Matrix SVD");
    }
}

}  // namespace
