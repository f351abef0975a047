#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_state_space_model.hpp>

#include "support/failures.hpp"
#include "support/matrix_literals.hpp"
#include "support/pairs.hpp"
#include "support/raw_conversion.hpp"

namespace {

using namespace qormath::test;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::zeroMatrix;

const double eps = std::ldexp(1.0, -53);

LTIStateSpaceModel modelOf(const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& c) {
    Matrix<double> d(c.rows(), b.cols());
    d.fill(0.5);
    return LTIStateSpaceModel(a, b, c, d, continuousSystem, 3.0);
}

LTIStateSpaceModel randomModel(int n, int m, int p, unsigned seed) {
    NormalNumbers generator(seed);
    RawMatrix a = rawRandom(n, n, generator);
    for (double& element : a.elements) {
        element /= std::sqrt(n);
    }
    return modelOf(toMatrix(a), toMatrix(rawRandom(n, m, generator)), toMatrix(rawRandom(p, n, generator)));
}

struct Snapshot {
    RawMatrix a;
    RawMatrix b;
    RawMatrix c;
    RawMatrix d;
    bool operator==(const Snapshot& other) const = default;
};

Snapshot snapshot(const LTIStateSpaceModel& model) {
    return {toRaw(model.A), toRaw(model.B), toRaw(model.C), toRaw(model.D)};
}

/// C A^k B for k = 0 to 4, which no similarity changes: k + 1 products of n terms each, beside the error of the
/// similarity, grow as the norms do.
void expectSameMarkovParameters(const Snapshot& one, const Snapshot& other) {
    const int n = one.a.rows;
    RawMatrix x = one.b;
    RawMatrix y = other.b;
    double norms = frobeniusNorm(one.c) * frobeniusNorm(one.b);
    for (int k = 0; k < 5; ++k) {
        EXPECT_LE(frobeniusNorm(difference(product(one.c, x), product(other.c, y))), 20 * (k + 1) * n * eps * norms)
            << "parameter " << k;
        x = product(one.a, x);
        y = product(other.a, y);
        norms *= frobeniusNorm(one.a);
    }
}

void expectRestUntouched(const LTIStateSpaceModel& model, const Snapshot& before) {
    EXPECT_EQ(toRaw(model.D), before.d);
    EXPECT_EQ(model.sysType, continuousSystem);
    EXPECT_EQ(model.sampleTime, 3.0);
}

// ---------------------------------------------------------------- controllability form

TEST(ControllabilityForm, PutsTheControllablePartFirstAndReturnsTheModel) {
    LTIStateSpaceModel model = modelOf(matrixOf({{-1, 0}, {0, -2}}), matrixOf({{0}, {1}}), matrixOf({{3, 4}, {5, 6}}));
    const Snapshot before = snapshot(model);
    int rank = -1;
    EXPECT_EQ(&model.ControllabilityForm(rank, 0.0), &model);
    EXPECT_EQ(rank, 1);
    EXPECT_EQ(model.A(0, 0), -2.0);
    EXPECT_EQ(model.A(1, 0), 0.0);
    EXPECT_EQ(model.A(1, 1), -1.0);
    EXPECT_EQ(model.B(1, 0), 0.0);
    EXPECT_EQ(std::abs(model.C(0, 0)), 4.0);
    expectRestUntouched(model, before);
}

TEST(ControllabilityForm, KeepsTheTransferFunction) {
    for (int n : {1, 2, 8, 33, 100}) {
        SCOPED_TRACE(n);
        LTIStateSpaceModel model = randomModel(n, 1 + n / 9, 3, 1);
        const Snapshot before = snapshot(model);
        int rank = -1;
        model.ControllabilityForm(rank, 0.0);
        EXPECT_EQ(rank, n);
        expectSameMarkovParameters(before, snapshot(model));
        expectRestUntouched(model, before);
    }
}

TEST(ControllabilityForm, LeavesTheTransferFunctionToTheLeadingStates) {
    NormalNumbers generator(2);
    for (int n : {2, 9, 40}) {
        const int order = n / 2;
        const Pair pair = hiddenChain(n, 1, order, generator);
        LTIStateSpaceModel model = modelOf(toMatrix(pair.a), toMatrix(pair.b), toMatrix(rawRandom(2, n, generator)));
        const Snapshot before = snapshot(model);
        int rank = -1;
        model.ControllabilityForm(rank, chainTolerance(n)).ExtractRange(Range(0, rank - 1, 1), false);
        EXPECT_EQ(rank, order);
        EXPECT_EQ(model.A.rows(), order);
        expectSameMarkovParameters(before, snapshot(model));
    }
}

TEST(ControllabilityForm, OfAnInputMatrixOfAsManyRowsAsStatesLeavesItThatManyRows) {
    LTIStateSpaceModel model = randomModel(4, 2, 1, 3);
    int rank = -1;
    model.ControllabilityForm(rank, 0.0);
    EXPECT_EQ(model.B.rows(), 4);
    EXPECT_EQ(model.B.cols(), 2);
    EXPECT_EQ(model.B.storedRows, 4);
}

TEST(ControllabilityForm, WorksWithinTheBlockOfAnInputMatrixWithAFurtherStoredRow) {
    LTIStateSpaceModel model = randomModel(4, 2, 1, 4);
    LTIStateSpaceModel plain(model);
    Matrix<double> block(5, 2);
    block.fill(std::numeric_limits<double>::quiet_NaN());
    block(Range(0, 3, 1), Range(-1, -1, 1)) = model.B;
    model.B = block(Range(0, 3, 1), Range(-1, -1, 1));
    int rank = -1;
    model.ControllabilityForm(rank, 0.0);
    plain.ControllabilityForm(rank, 0.0);
    EXPECT_EQ(model.B.array.data, block.array.data);
    EXPECT_EQ(toRaw(model.B), toRaw(plain.B));
    EXPECT_TRUE(std::isnan(block(4, 0)));
    EXPECT_TRUE(std::isnan(block(4, 1)));
}

TEST(ControllabilityForm, RewritesTheModelsOwnBlocks) {
    LTIStateSpaceModel model = randomModel(3, 1, 1, 5);
    const double* const a = model.A.array.data;
    const double* const c = model.C.array.data;
    int rank = -1;
    model.ControllabilityForm(rank, 0.0);
    EXPECT_EQ(model.A.array.data, a);
    EXPECT_EQ(model.C.array.data, c);
}

TEST(ControllabilityForm, CopiesViewsOfLargerBlocksAndLeavesTheBlocksAlone) {
    LTIStateSpaceModel model = randomModel(3, 1, 2, 6);
    LTIStateSpaceModel plain(model);
    Matrix<double> block(7, 8);
    block.fill(9.0);
    block(Range(1, 3, 1), Range(2, 4, 1)) = model.A;
    block(Range(5, 6, 1), Range(5, 7, 1)) = model.C;
    const RawMatrix before = toRaw(block);
    model.A = block(Range(1, 3, 1), Range(2, 4, 1));
    model.C = block(Range(5, 6, 1), Range(5, 7, 1));
    int rank = -1;
    model.ControllabilityForm(rank, 0.0);
    plain.ControllabilityForm(rank, 0.0);
    EXPECT_EQ(snapshot(model), snapshot(plain));
    EXPECT_EQ(toRaw(block), before);
}

TEST(ControllabilityForm, OfATransposedMatrixThrowsBeforeAnythingIsWritten) {
    for (int which = 0; which < 3; ++which) {
        SCOPED_TRACE(which);
        // As many inputs and outputs as states, so that each shape survives its transposition.
        LTIStateSpaceModel model = randomModel(3, 3, 3, 7);
        Matrix<double>& matrix = which == 0 ? model.A : which == 1 ? model.B : model.C;
        matrix.transposed = true;
        const Snapshot before = snapshot(model);
        int rank = 77;
        expectXmsg([&] { model.ControllabilityForm(rank, 0.0); }, QorMathLA::TransposedDataAccess,
                   "Matrix: get data for Fortran call");
        EXPECT_EQ(snapshot(model), before);
        EXPECT_EQ(rank, 77);
    }
}

TEST(ControllabilityForm, OfATransposedInputMatrixInATallBlockThrows) {
    LTIStateSpaceModel model = randomModel(2, 4, 1, 8);
    model.B.transposeInPlace();
    model.B.transposed = true;
    int rank = 77;
    expectXmsg([&] { model.ControllabilityForm(rank, 0.0); }, QorMathLA::TransposedDataAccess,
               "Matrix: get data for Fortran call");
}

TEST(ControllabilityForm, OfShapesThatDoNotFitThrowsTheIntMinusOneBeforeAnythingIsWritten) {
    LTIStateSpaceModel notSquare = modelOf(matrixOf({{1, 2}}), matrixOf({{1}}), matrixOf({{1}}));
    LTIStateSpaceModel outputs = modelOf(matrixOf({{1, 2}, {3, 4}}), matrixOf({{0}, {1}}), matrixOf({{1}}));
    for (LTIStateSpaceModel* model : {&notSquare, &outputs}) {
        const Snapshot before = snapshot(*model);
        int rank = 77;
        expectMinusOne([&] { model->ControllabilityForm(rank, 0.0); });
        EXPECT_EQ(snapshot(*model), before);
    }
}

TEST(ControllabilityForm, OfAPairWithNaNLeavesTheModelWithRankZero) {
    LTIStateSpaceModel model = randomModel(3, 1, 2, 9);
    model.A(0, 1) = std::numeric_limits<double>::quiet_NaN();
    const RawMatrix b = toRaw(model.B);
    const RawMatrix c = toRaw(model.C);
    int rank = 77;
    model.ControllabilityForm(rank, 0.0);
    EXPECT_EQ(rank, 0);
    EXPECT_EQ(toRaw(model.B), b);
    EXPECT_EQ(toRaw(model.C), c);
}

// ---------------------------------------------------------------- observability form

TEST(ObservabilityForm, PutsTheObservablePartFirstAndReturnsTheModel) {
    LTIStateSpaceModel model = modelOf(matrixOf({{-1, 0}, {0, -2}}), matrixOf({{3, 5}, {4, 6}}), matrixOf({{0, 1}}));
    const Snapshot before = snapshot(model);
    int rank = -1;
    EXPECT_EQ(&model.ObservabilityForm(rank, 0.0), &model);
    EXPECT_EQ(rank, 1);
    EXPECT_EQ(model.A(0, 0), -2.0);
    EXPECT_EQ(model.A(0, 1), 0.0);
    EXPECT_EQ(model.A(1, 1), -1.0);
    EXPECT_EQ(model.C(0, 1), 0.0);
    EXPECT_EQ(std::abs(model.B(0, 0)), 4.0);
    expectRestUntouched(model, before);
}

TEST(ObservabilityForm, KeepsTheTransferFunctionAndTheOrientationOfTheMatrices) {
    for (int n : {1, 2, 8, 33, 100}) {
        SCOPED_TRACE(n);
        LTIStateSpaceModel model = randomModel(n, 3, 1 + n / 9, 10);
        const Snapshot before = snapshot(model);
        int rank = -1;
        model.ObservabilityForm(rank, 0.0);
        EXPECT_EQ(rank, n);
        for (const Matrix<double>* matrix : {&model.A, &model.B, &model.C}) {
            EXPECT_FALSE(matrix->transposed);
            EXPECT_EQ(matrix->storedRows, matrix->rows());
        }
        EXPECT_EQ(model.B.cols(), 3);
        expectSameMarkovParameters(before, snapshot(model));
        expectRestUntouched(model, before);
    }
}

TEST(ObservabilityForm, LeavesTheTransferFunctionToTheLeadingStates) {
    NormalNumbers generator(11);
    for (int n : {2, 9, 40}) {
        const int order = n / 2;
        const Pair dual = hiddenChain(n, 1, order, generator);
        LTIStateSpaceModel model =
            modelOf(toMatrix(transposed(dual.a)), toMatrix(rawRandom(n, 2, generator)), toMatrix(transposed(dual.b)));
        const Snapshot before = snapshot(model);
        int rank = -1;
        model.ObservabilityForm(rank, chainTolerance(n)).ExtractRange(Range(0, rank - 1, 1), false);
        EXPECT_EQ(rank, order);
        expectSameMarkovParameters(before, snapshot(model));
    }
}

TEST(ObservabilityForm, IsTheDualOfTheControllabilityForm) {
    LTIStateSpaceModel model = randomModel(6, 2, 2, 12);
    LTIStateSpaceModel dual = modelOf(Matrix<double>(model.A.transpose()), Matrix<double>(model.C.transpose()),
                                      Matrix<double>(model.B.transpose()));
    int rank = -1;
    int dualRank = -1;
    model.ObservabilityForm(rank, 0.0);
    dual.ControllabilityForm(dualRank, 0.0);
    EXPECT_EQ(rank, dualRank);
    EXPECT_EQ(toRaw(model.A), transposed(toRaw(dual.A)));
    EXPECT_EQ(toRaw(model.B), transposed(toRaw(dual.C)));
    EXPECT_EQ(toRaw(model.C), transposed(toRaw(dual.B)));
}

TEST(ObservabilityForm, ReadsTransposedMatricesLogically) {
    LTIStateSpaceModel plain = randomModel(4, 2, 1, 13);
    LTIStateSpaceModel flagged(plain);
    for (Matrix<double>* matrix : {&flagged.A, &flagged.B, &flagged.C}) {
        matrix->transposeInPlace();
        matrix->transposed = true;
    }
    int rank = -1;
    plain.ObservabilityForm(rank, 0.0);
    flagged.ObservabilityForm(rank, 0.0);
    EXPECT_EQ(snapshot(flagged), snapshot(plain));
}

TEST(ObservabilityForm, ThatFailsLeavesTheModelTransposedAndItsInputsAndOutputsExchanged) {
    LTIStateSpaceModel model = modelOf(matrixOf({{1, 2}}), matrixOf({{5, 6}}), matrixOf({{7, 8, 9}}));
    int rank = 77;
    expectMinusOne([&] { model.ObservabilityForm(rank, 0.0); });
    EXPECT_EQ(toRaw(model.A), toRaw(matrixOf({{1}, {2}})));
    EXPECT_EQ(toRaw(model.B), toRaw(matrixOf({{7}, {8}, {9}})));
    EXPECT_EQ(toRaw(model.C), toRaw(matrixOf({{5}, {6}})));
    EXPECT_EQ(rank, 77);
}

// ---------------------------------------------------------------- empty models

TEST(StaircaseForms, GoThroughWithoutStates) {
    const Matrix<double> none;
    LTIStateSpaceModel models[] = {
        {none, none, none, matrixOf({{1, 2}}), continuousSystem, 3.0},
        {zeroMatrix(0, 0), zeroMatrix(0, 2), zeroMatrix(1, 0), matrixOf({{1, 2}}), continuousSystem, 3.0}};
    for (LTIStateSpaceModel& model : models) {
        const Snapshot before = snapshot(model);
        int rank = 77;
        model.ControllabilityForm(rank, 0.0);
        EXPECT_EQ(rank, 0);
        EXPECT_EQ(snapshot(model), before);
        rank = 77;
        model.ObservabilityForm(rank, 0.0);
        EXPECT_EQ(rank, 0);
        EXPECT_EQ(snapshot(model), before);
    }
}

TEST(StaircaseForms, GoThroughWithoutInputs) {
    for (const Matrix<double>& b : {Matrix<double>(), Matrix<double>(zeroMatrix(2, 0))}) {
        LTIStateSpaceModel model = modelOf(matrixOf({{1, 0}, {3, 4}}), b, matrixOf({{1, 0}}));
        const Snapshot before = snapshot(model);
        int rank = 77;
        model.ControllabilityForm(rank, 0.0);
        EXPECT_EQ(rank, 0);
        EXPECT_EQ(snapshot(model), before);
        model.ObservabilityForm(rank, 0.0);
        EXPECT_EQ(rank, 1);
        EXPECT_EQ(toRaw(model.B), before.b);
    }
}

TEST(StaircaseForms, GoThroughWithoutOutputs) {
    for (const Matrix<double>& c : {Matrix<double>(), Matrix<double>(zeroMatrix(0, 2))}) {
        LTIStateSpaceModel model = modelOf(matrixOf({{1, 0}, {0, 4}}), matrixOf({{1}, {0}}), c);
        const Snapshot before = snapshot(model);
        int rank = 77;
        model.ObservabilityForm(rank, 0.0);
        EXPECT_EQ(rank, 0);
        EXPECT_EQ(snapshot(model), before);
        model.ControllabilityForm(rank, 0.0);
        EXPECT_EQ(rank, 1);
        EXPECT_EQ(toRaw(model.C), before.c);
    }
}

}  // namespace
