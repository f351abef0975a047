#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>

#include "support/failures.hpp"
#include "support/matrix_literals.hpp"
#include "support/pairs.hpp"
#include "support/raw_conversion.hpp"

namespace {

using namespace qormath::test;
using QorMathLA::Matrix;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

struct Answer {
    std::vector<int> flags;
    int count = -1;
    int unstable = -1;
};

Answer controllability(const Matrix<double>& a, const Matrix<double>& b, double tol = 0.0) {
    Answer answer;
    Vector<int> flags(9);
    QorMathControl::Controllability(a, b, flags, answer.count, tol);
    answer.flags = elementsOf(flags);
    return answer;
}

Answer observability(const Matrix<double>& a, const Matrix<double>& c, double tol = 0.0) {
    Answer answer;
    Vector<int> flags(9);
    QorMathControl::Observability(a, c, flags, answer.count, tol);
    answer.flags = elementsOf(flags);
    return answer;
}

Answer detectability(const Matrix<double>& a, const Matrix<double>& c, double tol = 0.0) {
    Answer answer;
    Vector<int> flags(9);
    QorMathControl::Detectability(a, c, flags, answer.count, answer.unstable, tol);
    answer.flags = elementsOf(flags);
    return answer;
}

Matrix<double> transposeOf(const Matrix<double>& matrix) {
    return Matrix<double>(matrix.transpose());
}

TEST(Controllability, OfADiagonalPairCountsTheStateThatTheInputDoesNotReach) {
    const Answer answer = controllability(matrixOf({{-1, 0}, {0, -2}}), matrixOf({{1}, {0}}));
    EXPECT_EQ(answer.count, 1);
    // The one row of the transformation that is looked at shows the first state.
    EXPECT_THAT(answer.flags, ElementsAre(0, 1));
}

TEST(Controllability, OfAControllablePairCountsNothingAndSetsAllFlags) {
    const Answer answer = controllability(matrixOf({{0, 0}, {1, 0}}), matrixOf({{1}, {0}}));
    EXPECT_EQ(answer.count, 0);
    EXPECT_THAT(answer.flags, ElementsAre(1, 1));
}

TEST(Controllability, OfAPairThatTheInputDoesNotTouchCountsAllStates) {
    const Answer answer = controllability(matrixOf({{1, 2}, {3, 4}}), zeroMatrix(2, 3));
    EXPECT_EQ(answer.count, 2);
    EXPECT_THAT(answer.flags, ElementsAre(0, 0));
}

TEST(Controllability, FindsTheUncontrollableOrderHiddenBehindATransformation) {
    NormalNumbers generator(1);
    for (int n : {2, 9, 33, 100}) {
        for (int order : {0, 1, n / 2, n}) {
            const Pair pair = hiddenChain(n, 2, order, generator);
            const Answer answer = controllability(toMatrix(pair.a), toMatrix(pair.b), chainTolerance(n));
            EXPECT_EQ(answer.count, n - order) << n << " states, order " << order;
            EXPECT_THAT(answer.flags, SizeIs(n));
            if (order == n) {
                EXPECT_THAT(answer.flags, Each(1));
            }
        }
    }
}

TEST(Controllability, IsTheObservabilityOfTheDualPair) {
    NormalNumbers generator(2);
    const Pair pair = hiddenChain(10, 2, 6, generator);
    const Matrix<double> a = toMatrix(pair.a);
    const Matrix<double> b = toMatrix(pair.b);
    const Answer direct = controllability(a, b, chainTolerance(10));
    const Answer dual = observability(transposeOf(a), transposeOf(b), chainTolerance(10));
    EXPECT_EQ(direct.count, dual.count);
    EXPECT_EQ(direct.flags, dual.flags);
}

TEST(Controllability, HandsItsToleranceToTheRankDecisions) {
    const Matrix<double> a = matrixOf({{0, 0}, {1e-6, 1}});
    const Matrix<double> b = matrixOf({{1}, {0}});
    EXPECT_EQ(controllability(a, b, 1e-7).count, 0);
    EXPECT_EQ(controllability(a, b, 1e-5).count, 1);
}

TEST(Controllability, LeavesItsArgumentsUnchanged) {
    NormalNumbers generator(3);
    const Matrix<double> a = toMatrix(rawRandom(6, 6, generator));
    const Matrix<double> b = toMatrix(rawRandom(6, 2, generator));
    const RawMatrix formerA = toRaw(a);
    const RawMatrix formerB = toRaw(b);
    controllability(a, b);
    EXPECT_EQ(toRaw(a), formerA);
    EXPECT_EQ(toRaw(b), formerB);
}

TEST(Controllability, GoesThroughWithoutStatesOrInputs) {
    for (const Matrix<double>& b : {Matrix<double>(), Matrix<double>(zeroMatrix(0, 2))}) {
        const Answer answer = controllability(Matrix<double>(), b);
        EXPECT_EQ(answer.count, 0);
        EXPECT_TRUE(answer.flags.empty());
    }
    for (const Matrix<double>& b : {Matrix<double>(), Matrix<double>(zeroMatrix(2, 0))}) {
        const Answer answer = controllability(matrixOf({{1, 2}, {3, 4}}), b);
        EXPECT_EQ(answer.count, 2);
        EXPECT_THAT(answer.flags, ElementsAre(0, 0));
    }
}

TEST(Observability, OfADiagonalPairCountsTheStateThatTheOutputDoesNotShow) {
    const Answer answer = observability(matrixOf({{-1, 0}, {0, -2}}), matrixOf({{0, 1}}));
    EXPECT_EQ(answer.count, 1);
    EXPECT_THAT(answer.flags, ElementsAre(1, 0));
}

TEST(Observability, OfAnObservablePairCountsNothingAndSetsAllFlags) {
    const Answer answer = observability(matrixOf({{0, 1}, {0, 0}}), matrixOf({{1, 0}}));
    EXPECT_EQ(answer.count, 0);
    EXPECT_THAT(answer.flags, ElementsAre(1, 1));
}

TEST(Observability, ReadsTransposedOperandsLogically) {
    const Matrix<double> a = transposeOf(matrixOf({{1, 0}, {5, 2}}));
    const Matrix<double> c = transposeOf(matrixOf({{1}, {0}}));
    ASSERT_TRUE(a.transposed);
    EXPECT_EQ(observability(a, c).count, 0);
    EXPECT_EQ(observability(transposeOf(a), c).count, 1);
}

TEST(Observability, GoesThroughWithoutStatesOrOutputs) {
    for (const Matrix<double>& c : {Matrix<double>(), Matrix<double>(zeroMatrix(2, 0))}) {
        EXPECT_EQ(observability(Matrix<double>(), c).count, 0);
    }
    for (const Matrix<double>& c : {Matrix<double>(), Matrix<double>(zeroMatrix(0, 2))}) {
        EXPECT_EQ(observability(matrixOf({{1, 2}, {3, 4}}), c).count, 2);
    }
}

TEST(Detectability, OfAnUnobservableModeJudgesItAgainstOneLessTheTolerance) {
    constexpr double tol = 0.125;
    const auto unstable = [&](double pole) {
        const Answer answer = detectability(matrixOf({{0.25, 0}, {0, pole}}), matrixOf({{1, 0}}), tol);
        EXPECT_EQ(answer.count, 1);
        return answer.unstable;
    };
    EXPECT_EQ(unstable(0.5), 0);
    EXPECT_EQ(unstable(1.0), 1);
    EXPECT_EQ(unstable(1.0 - tol), 1);
    EXPECT_EQ(unstable(std::nextafter(1.0 - tol, 0.0)), 0);
}

TEST(Detectability, JudgesAContinuousModeByTheUnitCircleToo) {
    EXPECT_EQ(detectability(matrixOf({{-1, 0}, {0, -3}}), matrixOf({{1, 0}})).unstable, 1);
    EXPECT_EQ(detectability(matrixOf({{-1, 0}, {0, -0.5}}), matrixOf({{1, 0}})).unstable, 0);
}

TEST(Detectability, OfAnObservablePairFindsNothingUnstable) {
    const Answer answer = detectability(matrixOf({{3, 1}, {0, 4}}), matrixOf({{1, 0}}));
    EXPECT_EQ(answer.count, 0);
    EXPECT_EQ(answer.unstable, 0);
}

TEST(Detectability, OfAMatrixWithInfinityThrowsTheErrorOfBalancing) {
    const Matrix<double> a = matrixOf({{1, std::numeric_limits<double>::infinity()}, {0, 1}});
    expectXmsg([&] { detectability(a, matrixOf({{1, 0}})); }, QorMathLA::NumericFailure, "Matrix balance");
}

TEST(Detectability, OfAMatrixThatIsNotSquareThrowsTheIntMinusOne) {
    expectMinusOne([] { detectability(matrixOf({{1, 2, 3}, {4, 5, 6}}), matrixOf({{1, 0}})); });
}

}  // namespace
