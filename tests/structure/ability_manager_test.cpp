#include <cmath>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iomanip>
#include <limits>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/structure/ability_manager.hpp>

#include "support/failures.hpp"
#include "support/matrix_literals.hpp"
#include "support/pairs.hpp"
#include "support/raw_conversion.hpp"
#include "support/raw_matrix.hpp"
#include "support/temporary_file.hpp"

namespace {

using namespace qormath::test;
using qormath::lapack::Op;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;
using testing::ElementsAre;

const double eps = std::ldexp(1.0, -53);
const double nan = std::numeric_limits<double>::quiet_NaN();

struct Info {
    std::vector<int> flags;
    int count = -1;
    int unstable = -1;
};

Info detectabilityInfo(AbilityManager& manager) {
    Info info;
    Vector<int> flags(2);
    manager.ComputeDetectabilityInfo(flags, info.count, info.unstable);
    info.flags = elementsOf(flags);
    return info;
}

Info detectabilityInfo(const Matrix<double>& a, const Matrix<double>& c, double tolerance = 0.0) {
    AbilityManager manager(a, zeroMatrix(a.rows(), 1), c, tolerance);
    return detectabilityInfo(manager);
}

AbilityManager randomManager(int n, int m, int p, unsigned seed) {
    NormalNumbers generator(seed);
    return AbilityManager(toMatrix(rawRandom(n, n, generator)), toMatrix(rawRandom(n, m, generator)),
                          toMatrix(rawRandom(p, n, generator)), 0.0);
}

void expectNear(const RawMatrix& a, const RawMatrix& b, double bound) {
    ASSERT_EQ(a.rows, b.rows);
    ASSERT_EQ(a.cols, b.cols);
    EXPECT_LE(frobeniusNorm(difference(a, b)), bound);
}

int sumOfBlocks(const AbilityManager& manager) {
    const std::vector<int> sizes = elementsOf(manager.blockSizes);
    return std::accumulate(sizes.begin(), sizes.begin() + manager.blockCount, 0);
}

// ---------------------------------------------------------------- construction, copy and move

TEST(AbilityManager, SharesTheBlocksOfItsArgumentsWithAllFieldsOfTheViews) {
    const Matrix<double> a = matrixOf({{1, 2}, {3, 4}});
    const Matrix<double> wide = matrixOf({{5, 6}});
    const Matrix<double> b(wide.transpose());
    const Matrix<double> c = matrixOf({{7, 8}, {9, 10}, {11, 12}});
    const AbilityManager manager(a, b, c, 0.25);
    EXPECT_EQ(manager.A.array.data, a.array.data);
    EXPECT_EQ(manager.B.array.data, wide.array.data);
    EXPECT_TRUE(manager.B.transposed);
    EXPECT_EQ(manager.C.array.data, c.array.data);
    EXPECT_EQ(manager.tolerance, 0.25);
    EXPECT_EQ(manager.stateCount, 2);
    EXPECT_EQ(manager.inputCount, 1);
    EXPECT_EQ(manager.outputCount, 3);
}

TEST(AbilityManager, StartsWithoutADecomposition) {
    const AbilityManager manager = randomManager(3, 2, 1, 1);
    EXPECT_EQ(manager.decompositionKind, 0);
    EXPECT_EQ(manager.reducedOrder, 0);
    EXPECT_EQ(manager.blockCount, 0);
    EXPECT_EQ(manager.decomposedA.blockSize(), 0);
    EXPECT_EQ(manager.decomposedB.blockSize(), 0);
    EXPECT_EQ(manager.decomposedC.blockSize(), 0);
    EXPECT_EQ(manager.transformation.rows(), 3);
    EXPECT_EQ(manager.transformation.cols(), 3);
    EXPECT_EQ(manager.blockSizes.size(), 3);
}

TEST(AbilityManager, CopiesDeeply) {
    AbilityManager original = randomManager(4, 1, 2, 2);
    original.ControllabilityDecomposition();
    const AbilityManager built(original);
    AbilityManager assigned = randomManager(2, 1, 1, 3);
    assigned = original;
    for (const AbilityManager* copy : std::initializer_list<const AbilityManager*>{&built, &assigned}) {
        const std::pair<const Matrix<double>*, const Matrix<double>*> matrices[] = {
            {&copy->A, &original.A},
            {&copy->B, &original.B},
            {&copy->C, &original.C},
            {&copy->decomposedA, &original.decomposedA},
            {&copy->decomposedB, &original.decomposedB},
            {&copy->decomposedC, &original.decomposedC},
            {&copy->transformation, &original.transformation}};
        for (const auto& [ours, theirs] : matrices) {
            EXPECT_NE(ours->array.data, theirs->array.data);
            EXPECT_EQ(toRaw(*ours), toRaw(*theirs));
        }
        EXPECT_NE(copy->blockSizes.data, original.blockSizes.data);
        EXPECT_EQ(elementsOf(copy->blockSizes), elementsOf(original.blockSizes));
        EXPECT_EQ(copy->decompositionKind, 1);
        EXPECT_EQ(copy->blockCount, original.blockCount);
        EXPECT_EQ(copy->reducedOrder, original.reducedOrder);
        EXPECT_EQ(copy->stateCount, 4);
        EXPECT_EQ(copy->inputCount, 1);
        EXPECT_EQ(copy->outputCount, 2);
    }
}

TEST(AbilityManager, AssignedToItselfStaysAsItIs) {
    AbilityManager manager = randomManager(3, 1, 1, 4);
    manager.ControllabilityDecomposition();
    const AbilityManager before(manager);
    const AbilityManager& alias = manager;
    manager = alias;
    EXPECT_EQ(toRaw(manager.decomposedA), toRaw(before.decomposedA));
    EXPECT_EQ(elementsOf(manager.blockSizes), elementsOf(before.blockSizes));
}

TEST(AbilityManager, MovesWithAllThatItHolds) {
    AbilityManager manager = randomManager(3, 1, 2, 5);
    manager.ObservabilityDecomposition();
    const AbilityManager before(manager);
    AbilityManager moved(std::move(manager));
    EXPECT_EQ(toRaw(moved.A), toRaw(before.A));
    EXPECT_EQ(toRaw(moved.decomposedC), toRaw(before.decomposedC));
    EXPECT_EQ(elementsOf(moved.blockSizes), elementsOf(before.blockSizes));
    EXPECT_EQ(moved.decompositionKind, 2);
    AbilityManager target = randomManager(1, 1, 1, 6);
    target = std::move(moved);
    EXPECT_EQ(toRaw(target.transformation), toRaw(before.transformation));
    EXPECT_EQ(target.stateCount, 3);
}

// ---------------------------------------------------------------- controllability decomposition

TEST(ControllabilityDecomposition, IsASimilarityOfTheWholeTriple) {
    for (int n : {1, 2, 5, 33, 100}) {
        SCOPED_TRACE(n);
        AbilityManager manager = randomManager(n, 1 + n / 7, 3, 7);
        const RawMatrix a = toRaw(manager.A);
        const RawMatrix b = toRaw(manager.B);
        const RawMatrix c = toRaw(manager.C);
        manager.ControllabilityDecomposition();
        const RawMatrix z = toRaw(manager.transformation);
        const double unit = 20 * n * eps;
        expectNear(product(z, z, Op::transpose), rawIdentity(n), unit);
        expectNear(product(a, z), product(z, toRaw(manager.decomposedA)), unit * frobeniusNorm(a));
        expectNear(b, product(z, toRaw(manager.decomposedB)), unit * frobeniusNorm(b));
        expectNear(product(c, z), toRaw(manager.decomposedC), unit * frobeniusNorm(c));
        EXPECT_EQ(manager.decompositionKind, 1);
        EXPECT_EQ(manager.reducedOrder, n);
        EXPECT_EQ(sumOfBlocks(manager), n);
        EXPECT_EQ(toRaw(manager.A), a);
        EXPECT_EQ(toRaw(manager.B), b);
        EXPECT_EQ(toRaw(manager.C), c);
    }
}

TEST(ControllabilityDecomposition, HasTheControllablePartLeadingAndZerosBelowIt) {
    NormalNumbers generator(8);
    for (int n : {2, 7, 40}) {
        const int order = n / 2;
        const Pair pair = hiddenChain(n, 1, order, generator);
        AbilityManager manager(toMatrix(pair.a), toMatrix(pair.b), toMatrix(rawRandom(2, n, generator)),
                               chainTolerance(n));
        manager.ControllabilityDecomposition();
        EXPECT_EQ(manager.reducedOrder, order);
        EXPECT_EQ(manager.blockCount, order);
        EXPECT_EQ(sumOfBlocks(manager), order);
        EXPECT_EQ(toRaw(manager.decomposedA(Range(order, n - 1, 1), Range(0, order - 1, 1))),
                  RawMatrix(n - order, order));
        EXPECT_EQ(toRaw(manager.decomposedB(Range(order, n - 1, 1), Range(-1, -1, 1))), RawMatrix(n - order, 1));
    }
}

TEST(ControllabilityDecomposition, ReadsTransposedOperandsLogically) {
    AbilityManager plain = randomManager(5, 2, 3, 9);
    const Matrix<double> a(Matrix<double>(plain.A.transpose()), true);
    const Matrix<double> b(Matrix<double>(plain.B.transpose()), true);
    const Matrix<double> c(Matrix<double>(plain.C.transpose()), true);
    AbilityManager flagged(Matrix<double>(a.transpose()), Matrix<double>(b.transpose()), Matrix<double>(c.transpose()),
                           0.0);
    ASSERT_TRUE(flagged.A.transposed);
    plain.ControllabilityDecomposition();
    flagged.ControllabilityDecomposition();
    EXPECT_EQ(toRaw(flagged.decomposedA), toRaw(plain.decomposedA));
    EXPECT_EQ(toRaw(flagged.decomposedB), toRaw(plain.decomposedB));
    EXPECT_EQ(toRaw(flagged.decomposedC), toRaw(plain.decomposedC));
    plain.ObservabilityDecomposition();
    flagged.ObservabilityDecomposition();
    EXPECT_EQ(toRaw(flagged.decomposedA), toRaw(plain.decomposedA));
    EXPECT_EQ(toRaw(flagged.decomposedB), toRaw(plain.decomposedB));
    EXPECT_EQ(toRaw(flagged.decomposedC), toRaw(plain.decomposedC));
}

TEST(ControllabilityDecomposition, GivesAnInputMatrixOfAsManyRowsAsStatesItsRowsBack) {
    AbilityManager manager = randomManager(4, 2, 1, 10);
    manager.ControllabilityDecomposition();
    EXPECT_EQ(manager.decomposedB.rows(), 4);
    EXPECT_EQ(manager.decomposedB.cols(), 2);
    EXPECT_EQ(manager.decomposedB.storedRows, 4);
}

TEST(ControllabilityDecomposition, WorksOnATallerInputMatrixInPlaceAndLeavesItsFurtherRows) {
    AbilityManager manager = randomManager(4, 2, 1, 11);
    const Matrix<double> b = manager.B;
    Matrix<double> taller(6, 2);
    taller.fill(nan);
    taller(Range(0, 3, 1), Range(-1, -1, 1)) = b;
    AbilityManager tall(manager.A, taller, manager.C, 0.0);
    manager.ControllabilityDecomposition();
    tall.ControllabilityDecomposition();
    EXPECT_EQ(tall.decomposedB.rows(), 6);
    EXPECT_EQ(toRaw(tall.decomposedB(Range(0, 3, 1), Range(-1, -1, 1))), toRaw(manager.decomposedB));
    for (int i : {4, 5}) {
        EXPECT_TRUE(std::isnan(tall.decomposedB(i, 0)));
        EXPECT_TRUE(std::isnan(tall.decomposedB(i, 1)));
    }
    EXPECT_EQ(toRaw(tall.decomposedA), toRaw(manager.decomposedA));
}

TEST(ControllabilityDecomposition, TakesTheMissingRowsOfAShorterInputMatrixForZeros) {
    AbilityManager manager(matrixOf({{0, 0}, {1, 0}}), matrixOf({{3}}), matrixOf({{1, 1}}), 0.0);
    manager.ControllabilityDecomposition();
    EXPECT_EQ(manager.reducedOrder, 2);
    EXPECT_EQ(toRaw(manager.decomposedB), toRaw(matrixOf({{3}})));
}

TEST(ControllabilityDecomposition, OfAnOutputMatrixThatDoesNotFitFailsInTheProductAfterTheReduction) {
    AbilityManager manager(matrixOf({{1, 2}, {3, 4}}), matrixOf({{0}, {1}}), matrixOf({{1, 2, 3}}), 0.0);
    expectXmsg([&] { manager.ControllabilityDecomposition(); }, QorMathLA::DimensionMismatch, "Matrix * Matrix");
    EXPECT_EQ(manager.decompositionKind, 0);
    EXPECT_EQ(manager.blockCount, 2);
    EXPECT_EQ(toRaw(manager.decomposedA), toRaw(matrixOf({{4, 3}, {2, 1}})));
    EXPECT_EQ(toRaw(manager.decomposedC), toRaw(matrixOf({{1, 2, 3}})));
}

TEST(ControllabilityDecomposition, OfATransposedTransformationThrowsAndLeavesPlainCopies) {
    AbilityManager manager = randomManager(3, 1, 1, 12);
    manager.transformation.transposed = true;
    expectXmsg([&] { manager.ControllabilityDecomposition(); }, QorMathLA::TransposedDataAccess,
               "Matrix: get data for Fortran call");
    EXPECT_EQ(manager.decompositionKind, 0);
    EXPECT_EQ(manager.blockCount, 0);
    EXPECT_EQ(toRaw(manager.decomposedA), toRaw(manager.A));
    EXPECT_EQ(toRaw(manager.decomposedB), toRaw(manager.B));
    EXPECT_EQ(toRaw(manager.decomposedC), toRaw(manager.C));
}

TEST(ControllabilityDecomposition, OfAMatrixThatIsNotSquareThrowsTheIntMinusOne) {
    AbilityManager wide(matrixOf({{1, 2, 3}, {4, 5, 6}}), matrixOf({{1}, {1}}), matrixOf({{1, 2}}), 0.0);
    expectMinusOne([&] { wide.ControllabilityDecomposition(); });
    expectMinusOne([&] { wide.ObservabilityDecomposition(); });
    AbilityManager tall(matrixOf({{1}, {2}}), matrixOf({{1}, {1}}), matrixOf({{1, 2}}), 0.0);
    expectMinusOne([&] { tall.ControllabilityDecomposition(); });
    expectMinusOne([&] { tall.ObservabilityDecomposition(); });
}

TEST(ControllabilityDecomposition, OfASystemMatrixReplacedByALargerOneThrowsTheIntMinusOne) {
    AbilityManager manager = randomManager(2, 1, 1, 13);
    manager.A = Matrix<double>(zeroMatrix(5, 5));
    expectMinusOne([&] { manager.ControllabilityDecomposition(); });
}

// ---------------------------------------------------------------- observability decomposition

TEST(ObservabilityDecomposition, IsASimilarityOfTheSystemAndOutputMatricesAndLeavesTheInputMatrix) {
    for (int n : {1, 2, 5, 33, 100}) {
        SCOPED_TRACE(n);
        AbilityManager manager = randomManager(n, 2, 1 + n / 7, 14);
        const RawMatrix a = toRaw(manager.A);
        const RawMatrix c = toRaw(manager.C);
        manager.ObservabilityDecomposition();
        const RawMatrix z = toRaw(manager.transformation);
        const double unit = 20 * n * eps;
        expectNear(product(z, z, Op::transpose), rawIdentity(n), unit);
        expectNear(product(a, z), product(z, toRaw(manager.decomposedA)), unit * frobeniusNorm(a));
        expectNear(product(c, z), toRaw(manager.decomposedC), unit * frobeniusNorm(c));
        EXPECT_EQ(toRaw(manager.decomposedB), toRaw(manager.B));
        EXPECT_EQ(manager.decompositionKind, 2);
        EXPECT_EQ(toRaw(manager.A), a);
        EXPECT_EQ(toRaw(manager.C), c);
    }
}

TEST(ObservabilityDecomposition, DoesNotTakeTheInputMatrixIntoTheNewCoordinates) {
    // Z is a rotation here, so that Z' B would differ from B.
    AbilityManager manager(matrixOf({{1, 2}, {3, 4}}), matrixOf({{5}, {6}}), matrixOf({{3, 4}}), 0.0);
    manager.ObservabilityDecomposition();
    EXPECT_NE(toRaw(manager.transformation), rawIdentity(2));
    EXPECT_EQ(toRaw(manager.decomposedB), toRaw(matrixOf({{5}, {6}})));
}

TEST(ObservabilityDecomposition, HasTheObservablePartLeadingAndZerosToItsRight) {
    NormalNumbers generator(15);
    for (int n : {2, 7, 40}) {
        const int order = n / 2;
        const Pair dual = hiddenChain(n, 1, order, generator);
        AbilityManager manager(toMatrix(transposed(dual.a)), zeroMatrix(n, 1), toMatrix(transposed(dual.b)),
                               chainTolerance(n));
        manager.ObservabilityDecomposition();
        EXPECT_EQ(manager.reducedOrder, order);
        EXPECT_EQ(sumOfBlocks(manager), order);
        EXPECT_EQ(toRaw(manager.decomposedA(Range(0, order - 1, 1), Range(order, n - 1, 1))),
                  RawMatrix(order, n - order));
        EXPECT_EQ(toRaw(manager.decomposedC(Range(-1, -1, 1), Range(order, n - 1, 1))), RawMatrix(1, n - order));
    }
}

TEST(ObservabilityDecomposition, ReplacesAControllabilityDecomposition) {
    AbilityManager manager = randomManager(4, 1, 1, 16);
    AbilityManager fresh(manager);
    manager.ControllabilityDecomposition();
    manager.ObservabilityDecomposition();
    fresh.ObservabilityDecomposition();
    EXPECT_EQ(manager.decompositionKind, 2);
    EXPECT_EQ(toRaw(manager.decomposedA), toRaw(fresh.decomposedA));
    EXPECT_EQ(toRaw(manager.decomposedB), toRaw(fresh.decomposedB));
    EXPECT_EQ(toRaw(manager.decomposedC), toRaw(fresh.decomposedC));
    EXPECT_EQ(toRaw(manager.transformation), toRaw(fresh.transformation));
}

TEST(ObservabilityDecomposition, OfATransposedTransformationThrowsAndLeavesTheFormerDecomposition) {
    AbilityManager manager = randomManager(3, 1, 1, 17);
    manager.ControllabilityDecomposition();
    const AbilityManager before(manager);
    manager.transformation.transposed = true;
    expectXmsg([&] { manager.ObservabilityDecomposition(); }, QorMathLA::TransposedDataAccess,
               "Matrix: get data for Fortran call");
    EXPECT_EQ(manager.decompositionKind, 1);
    EXPECT_EQ(toRaw(manager.decomposedA), toRaw(before.decomposedA));
}

// ---------------------------------------------------------------- detectability

TEST(DetectabilityInfo, OfAnObservablePairHasNoUnstableStatesAndAllFlagsSet) {
    const Info info = detectabilityInfo(matrixOf({{2, 1}, {0, 3}}), matrixOf({{1, 0}}));
    EXPECT_EQ(info.count, 0);
    EXPECT_EQ(info.unstable, 0);
    EXPECT_THAT(info.flags, ElementsAre(1, 1));
}

TEST(DetectabilityInfo, OfAZeroOutputMatrixTakesTheWholeMatrixForUnobservable) {
    const Info info = detectabilityInfo(matrixOf({{0.5, 0, 0}, {0, 2, 0}, {0, 0, -1}}), zeroMatrix(2, 3));
    EXPECT_EQ(info.count, 3);
    EXPECT_EQ(info.unstable, 2);
    EXPECT_THAT(info.flags, ElementsAre(0, 0, 0));
}

TEST(DetectabilityInfo, ClearsTheFlagsThatTheFirstRowsOfTheTransformationTell) {
    // Row 0 of Z is (1, 0) for the first and (0, -1) for the second output matrix.
    const Matrix<double> a = matrixOf({{-1, 0}, {0, -2}});
    EXPECT_THAT(detectabilityInfo(a, matrixOf({{1, 0}})).flags, ElementsAre(0, 1));
    EXPECT_THAT(detectabilityInfo(a, matrixOf({{0, 1}})).flags, ElementsAre(1, 0));
}

TEST(DetectabilityInfo, ClearsAFlagForANonZeroHoweverSmall) {
    const Info info = detectabilityInfo(matrixOf({{0.5, 0}, {0, 0.5}}), matrixOf({{1, 1e-200}}));
    EXPECT_EQ(info.count, 1);
    EXPECT_THAT(info.flags, ElementsAre(0, 0));
}

TEST(DetectabilityInfo, CountsUnobservableEigenvaluesFromAModulusOfOneLessTheTolerance) {
    constexpr double tolerance = 0.1;
    const double limit = 1.0 - tolerance;
    const auto unstable = [&](double pole) {
        return detectabilityInfo(matrixOf({{0.25, 0}, {0, pole}}), matrixOf({{1, 0}}), tolerance).unstable;
    };
    EXPECT_EQ(unstable(0.5), 0);
    EXPECT_EQ(unstable(1.0), 1);
    EXPECT_EQ(unstable(limit), 1);
    EXPECT_EQ(unstable(-limit), 1);
    EXPECT_EQ(unstable(std::nextafter(limit, 0.0)), 0);
    EXPECT_EQ(unstable(-3.0), 1);
}

TEST(DetectabilityInfo, CountsBothEigenvaluesOfAComplexPair) {
    const auto unstable = [](double re, double im) {
        return detectabilityInfo(matrixOf({{0.25, 0, 0}, {0, re, im}, {0, -im, re}}), matrixOf({{1, 0, 0}})).unstable;
    };
    EXPECT_EQ(unstable(0.6, 0.79), 0);
    EXPECT_EQ(unstable(0.6, 0.81), 2);
}

TEST(DetectabilityInfo, FindsThePolesOfAnUnobservablePartHiddenBehindATransformation) {
    NormalNumbers generator(18);
    for (int n : {8, 20, 60}) {
        SCOPED_TRACE(n);
        Pair dual = shiftChain(n, 4);
        for (int i = n - 4; i < n; ++i) {
            dual.a(i, i - 4) = 0.0;
            dual.a(i, i) = i < n - 3 ? 0.5 : 1.1;
        }
        dual = rotated(dual, generator);
        const Info info =
            detectabilityInfo(toMatrix(transposed(dual.a)), toMatrix(transposed(dual.b)), chainTolerance(n));
        EXPECT_EQ(info.count, 4);
        EXPECT_EQ(info.unstable, 3);
    }
}

TEST(DetectabilityInfo, AlwaysRunsANewObservabilityDecomposition) {
    AbilityManager manager(matrixOf({{0.5, 0}, {0, 2}}), matrixOf({{1}, {1}}), matrixOf({{1, 0}}), 0.0);
    manager.ControllabilityDecomposition();
    EXPECT_EQ(detectabilityInfo(manager).count, 1);
    EXPECT_EQ(manager.decompositionKind, 2);
    manager.C = matrixOf({{1, 1}});
    EXPECT_EQ(detectabilityInfo(manager).count, 0);
}

TEST(DetectabilityInfo, OfBlockSizesWithAStrideThrowsTheIntMinusOneAfterTheDecomposition) {
    AbilityManager manager = randomManager(4, 1, 1, 19);
    manager.blockSizes.range = Range(0, 3, 2);
    Vector<int> flags(1);
    flags[0] = 77;
    int count = 88;
    int unstable = 99;
    expectMinusOne([&] { manager.ComputeDetectabilityInfo(flags, count, unstable); });
    EXPECT_EQ(manager.decompositionKind, 2);
    EXPECT_THAT(elementsOf(flags), ElementsAre(77));
    EXPECT_EQ(count, 88);
    EXPECT_EQ(unstable, 99);
}

TEST(DetectabilityInfo, OfAMatrixWithNaNFailsInBalancing) {
    AbilityManager manager(matrixOf({{1, nan}, {0, 1}}), zeroMatrix(2, 1), matrixOf({{1, 0}}), 0.0);
    Vector<int> flags(1);
    flags[0] = 77;
    int count = -1;
    int unstable = -1;
    expectXmsg([&] { manager.ComputeDetectabilityInfo(flags, count, unstable); }, QorMathLA::NumericFailure,
               "Matrix balance");
    EXPECT_EQ(count, 2);
    EXPECT_EQ(unstable, 0);
    EXPECT_THAT(elementsOf(flags), ElementsAre(77));
}

// ---------------------------------------------------------------- empty triples

TEST(DetectabilityInfo, FlagsByTheRowsOfTheTransformationNotByItsColumns) {
    // State 1 is seen, state 2 drives it, state 0 is hidden: Z is a cyclic permutation, and not its own transpose.
    const Info info = detectabilityInfo(matrixOf({{0.5, 0, 0}, {0, 0, 1}, {0, 0, 0}}), matrixOf({{0, 1, 0}}));
    EXPECT_EQ(info.count, 1);
    EXPECT_EQ(info.flags, (std::vector<int>{1, 1, 0}));
}

TEST(DetectabilityInfo, OfBlockSizesOneShortThrowsTheIntMinusOne) {
    AbilityManager manager(matrixOf({{1, 2}, {0, 1}}), zeroMatrix(2, 1), matrixOf({{1, 0}}), 0.0);
    manager.blockSizes = Vector<int>(1);
    Vector<int> flags;
    int count = 0;
    int unstable = 0;
    expectMinusOne([&] { manager.ComputeDetectabilityInfo(flags, count, unstable); });
}

TEST(DetectabilityInfo, OfOutputsWithNaNFailsInBalancingToo) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double bad : {nan, infinity, -infinity}) {
        AbilityManager manager(matrixOf({{1, 2}, {0, 1}}), zeroMatrix(2, 1), matrixOf({{1, bad}}), 0.0);
        Vector<int> flags;
        int count = 0;
        int unstable = 0;
        expectXmsg([&] { manager.ComputeDetectabilityInfo(flags, count, unstable); }, 11, "Matrix balance");
    }
}

TEST(AbilityManager, GoesThroughWithoutStates) {
    const Matrix<double> none;
    const Matrix<double> stateless(zeroMatrix(0, 0));
    const Matrix<double> noRows(zeroMatrix(0, 2));
    const Matrix<double> noColumns(zeroMatrix(3, 0));
    AbilityManager managers[] = {{none, none, none, 0.0}, {stateless, noRows, noColumns, 0.0}};
    for (AbilityManager& manager : managers) {
        manager.ControllabilityDecomposition();
        EXPECT_EQ(manager.blockCount, 0);
        EXPECT_EQ(manager.decomposedB.cols(), manager.inputCount);
        EXPECT_EQ(manager.decomposedC.rows(), manager.outputCount);
        const Info info = detectabilityInfo(manager);
        EXPECT_EQ(info.count, 0);
        EXPECT_EQ(info.unstable, 0);
        EXPECT_TRUE(info.flags.empty());
        EXPECT_EQ(manager.decomposedB.cols(), manager.inputCount);
        EXPECT_EQ(manager.decomposedC.rows(), manager.outputCount);
    }
}

TEST(AbilityManager, GoesThroughWithoutInputs) {
    for (const Matrix<double>& b : {Matrix<double>(), Matrix<double>(zeroMatrix(2, 0))}) {
        AbilityManager manager(matrixOf({{1, 2}, {3, 4}}), b, matrixOf({{1, 0}}), 0.0);
        manager.ControllabilityDecomposition();
        EXPECT_EQ(manager.reducedOrder, 0);
        EXPECT_EQ(toRaw(manager.transformation), rawIdentity(2));
        EXPECT_EQ(toRaw(manager.decomposedA), toRaw(manager.A));
        EXPECT_EQ(toRaw(manager.decomposedB), toRaw(b));
        EXPECT_EQ(detectabilityInfo(manager).count, 0);
    }
}

TEST(AbilityManager, GoesThroughWithoutOutputs) {
    for (const Matrix<double>& c : {Matrix<double>(), Matrix<double>(zeroMatrix(0, 2))}) {
        AbilityManager manager(matrixOf({{1, 2}, {3, 4}}), matrixOf({{1}, {0}}), c, 0.0);
        manager.ControllabilityDecomposition();
        EXPECT_EQ(manager.reducedOrder, 2);
        EXPECT_EQ(toRaw(manager.decomposedC), toRaw(c));
        const Info info = detectabilityInfo(manager);
        EXPECT_EQ(info.count, 2);
        EXPECT_THAT(info.flags, ElementsAre(0, 0));
        EXPECT_EQ(toRaw(manager.decomposedC), toRaw(c));
    }
}

// ---------------------------------------------------------------- print

class AbilityManagerPrint : public testing::Test {
  protected:
    std::string printed(AbilityManager& manager, int precision = 6) {
        {
            std::fstream file(file_.name(), std::ios::out | std::ios::trunc);
            file << std::setprecision(precision);
            manager.print(file);
        }
        return textOfFile(file_.name());
    }

  private:
    TemporaryFile file_;
};

TEST_F(AbilityManagerPrint, WritesThreeBareHeadersBeforeADecomposition) {
    AbilityManager manager = randomManager(2, 1, 1, 20);
    EXPECT_EQ(printed(manager), " Decomposed A = \n Decomposed B = \n Decomposed C = \n");
}

TEST_F(AbilityManagerPrint, WritesTheMatricesRowByRowInFieldsOfTen) {
    AbilityManager manager(matrixOf({{1, 2.5}, {-3, 4}}), matrixOf({{1}, {0}}), matrixOf({{5, 1e-20}, {7, 8}}), 0.0);
    manager.ControllabilityDecomposition();
    EXPECT_EQ(printed(manager),
              " Decomposed A = \n"
              "         1\t       2.5\n"
              "        -3\t         4\n"
              " Decomposed B = \n"
              "         1\n"
              "         0\n"
              " Decomposed C = \n"
              "         5\t     1e-20\n"
              "         7\t         8\n");
}

TEST_F(AbilityManagerPrint, KeepsTheNumberFormatOfTheStream) {
    AbilityManager manager(matrixOf({{1.0 / 3.0}}), matrixOf({{1}}), matrixOf({{2.0 / 3.0}}), 0.0);
    manager.ControllabilityDecomposition();
    EXPECT_EQ(printed(manager, 12),
              " Decomposed A = \n0.333333333333\n Decomposed B = \n         1\n Decomposed C = \n0.666666666667\n");
}

}  // namespace
