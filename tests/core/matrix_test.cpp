#include <algorithm>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <sstream>
#include <support/matrix_compare.hpp>
#include <support/matrix_literals.hpp>
#include <support/random_matrices.hpp>
#include <utility>

#include <qormath/core/matrix.hpp>

namespace {

using namespace qormath::test;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::VectorSoft;
using QorMathLA::xmsg;

const Range all(-1, -1, 1);

/// Element (i, j) is 10 i + j.
Matrix<double> numbered(int rows, int cols) {
    Matrix<double> result(rows, cols);
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
            result(i, j) = 10.0 * i + j;
        }
    }
    return result;
}

MatrixSoft<double> softOf(const Matrix<double>& m) {
    return m;
}

void expectWhole(const Matrix<double>& m, int rows, int cols) {
    EXPECT_EQ(m.storedRows, rows);
    EXPECT_EQ(m.storedCols, cols);
    EXPECT_FALSE(m.transposed);
    EXPECT_EQ(m.rowRange.start, 0);
    EXPECT_EQ(m.rowRange.end, rows - 1);
    EXPECT_EQ(m.rowRange.stride, 1);
    EXPECT_EQ(m.colRange.start, 0);
    EXPECT_EQ(m.colRange.end, cols - 1);
    EXPECT_EQ(m.colRange.stride, 1);
    EXPECT_EQ(m.rows(), rows);
    EXPECT_EQ(m.cols(), cols);
}

TEST(Matrix, ByDefaultIsEmpty) {
    const Matrix<double> m;
    expectWhole(m, 0, 0);
    EXPECT_EQ(m.array.data, nullptr);
    EXPECT_EQ(m.blockSize(), 0);
}

TEST(Matrix, OfAShapeShowsItsWholeBlock) {
    const Matrix<double> m(2, 3);
    expectWhole(m, 2, 3);
    EXPECT_EQ(m.blockSize(), 6);
}

TEST(Matrix, WithoutRowsOrColumnsKeepsItsShape) {
    expectWhole(Matrix<double>(0, 3), 0, 3);
    expectWhole(Matrix<double>(3, 0), 3, 0);
    EXPECT_EQ(Matrix<double>(3, 0).array.data, nullptr);
}

TEST(Matrix, ReadsItsSourceByColumnsAndCopiesItUnlessItAdoptsIt) {
    double numbers[] = {1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
    Matrix<double> copied(2, 3, numbers);
    Matrix<double> adopted(2, 3, numbers, true);
    EXPECT_EQ(copied(1, 0), 2.0);
    EXPECT_EQ(copied(0, 2), 5.0);
    adopted(0, 2) = 9.0;
    EXPECT_EQ(numbers[4], 9.0);
    EXPECT_EQ(copied(0, 2), 5.0);
    const Matrix<double> copyOfAdopted(adopted);
    EXPECT_NE(copyOfAdopted.array.data, numbers);
}

TEST(Matrix, KindsFollowTheElementType) {
    EXPECT_EQ(Matrix<int>().elementKind, 0);
    EXPECT_EQ(Matrix<double>().elementKind, 1);
    EXPECT_EQ(QorMathLA::matrixElementKind<float>(), 2);
    EXPECT_EQ(Matrix<std::complex<double>>().elementKind, 3);
    EXPECT_EQ(QorMathLA::matrixElementKind<std::complex<float>>(), 4);
    EXPECT_EQ(Matrix<long>().elementKind, 5);
    EXPECT_EQ(Matrix<_MKL_Complex16>().elementKind, 5);
    EXPECT_EQ(Matrix<Vector<double>>().elementKind, 5);
}

TEST(Matrix, ElementAccessIsAddressArithmeticWithoutAView) {
    Matrix<double> m = numbered(3, 4);
    // A view would wait for this lock for ever: it is held by a thread that does not exist.
    *m.array.lockWord = std::numeric_limits<std::uint32_t>::max();
    EXPECT_EQ(m(2, 1), 21.0);
    m(2, 1) = 5.0;
    *m.array.lockWord = 0;
    EXPECT_EQ(m.row(2)[1], 5.0);
}

TEST(Matrix, ElementAccessAgreesWithRowsAndColumnsOfEveryView) {
    const Matrix<double> m = numbered(5, 6);
    const MatrixSoft<double> views[] = {softOf(m), m.transpose(), m(Range(1, 3, 1), Range(2, 5, 1)),
                                        m(Range(1, 3, 1), Range(2, 5, 1)).transpose(),
                                        m.transpose()(Range(2, 5, 1), Range(1, 3, 1))};
    for (const MatrixSoft<double>& view : views) {
        for (int i = 0; i < view.rows(); ++i) {
            for (int j = 0; j < view.cols(); ++j) {
                EXPECT_EQ(&view(i, j), &view.row(i)[j]);
                EXPECT_EQ(&view(i, j), &view.column(j)[i]);
            }
        }
    }
}

TEST(Matrix, CopyIsDeepAndCompact) {
    Matrix<double> a = numbered(3, 4);
    Matrix<double> b = a;
    b(0, 0) = 99.0;
    EXPECT_EQ(a(0, 0), 0.0);
    const Matrix<double> shared = a(Range(1, 2, 1), Range(1, 3, 1));
    const Matrix<double> packed(shared);
    expectWhole(packed, 2, 3);
    EXPECT_EQ(packed.blockSize(), 6);
    EXPECT_EQ(maxDifference(packed, shared), 0.0);
    const Matrix<double> turned = a.transpose();
    const Matrix<double> packedTurned(turned);
    expectWhole(packedTurned, 4, 3);
    EXPECT_EQ(packedTurned(3, 2), 23.0);
    EXPECT_EQ(packedTurned.array.data[1], a(0, 1));
}

TEST(Matrix, CopyWithoutElementsKeepsItsLogicalShape) {
    for (const auto& [rows, cols] : {std::pair(0, 3), std::pair(3, 0), std::pair(0, 0)}) {
        const Matrix<double> m(rows, cols);
        expectWhole(Matrix<double>(m, true), rows, cols);
        Matrix<double> assigned = numbered(2, 2);
        assigned = m;
        expectWhole(assigned, rows, cols);
        const Matrix<double> turned = m.transpose();
        expectWhole(Matrix<double>(turned, true), cols, rows);
    }
    const Matrix<double> big = numbered(4, 5);
    const Matrix<double> none = big(Range(1, 0, 1), all);
    expectWhole(Matrix<double>(none, true), 0, 5);
}

TEST(Matrix, ShallowCopySharesTheBlockAndEveryField) {
    Matrix<double> a = numbered(3, 4);
    Matrix<double> view = a(Range(1, 2, 1), all).transpose();
    view.elementKind = 5;
    const Matrix<double> b(view, false);
    EXPECT_EQ(b.array.data, a.array.data);
    EXPECT_TRUE(b.transposed);
    EXPECT_EQ(b.rowRange.start, 1);
    EXPECT_EQ(b.elementKind, 5);
    EXPECT_EQ(*a.array.refCount, 3);
}

TEST(Matrix, DeepAssignmentReplacesTheBlockAndLeavesOlderViewsAlone) {
    Matrix<double> a = numbered(2, 2);
    const MatrixSoft<double> before(a);
    const Matrix<double> b = numbered(3, 1);
    a = b;
    expectWhole(a, 3, 1);
    EXPECT_NE(a.array.data, b.array.data);
    EXPECT_EQ(maxDifference(before, numbered(2, 2)), 0.0);
    EXPECT_EQ(*before.array.refCount, 1);
}

TEST(Matrix, DeepAssignmentKeepsTheTargetsKindAndTheElementsWhateverItIs) {
    Matrix<double> slow;
    slow.elementKind = 5;
    slow = numbered(3, 4);
    EXPECT_EQ(slow.elementKind, 5);
    const Matrix<double> source = numbered(4, 2);
    slow = source;
    EXPECT_EQ(slow.elementKind, 5);
    EXPECT_EQ(maxDifference(slow, source), 0.0);
    slow = softOf(source);
    EXPECT_EQ(slow.elementKind, 5);
    EXPECT_EQ(Matrix<double>(slow, true).elementKind, 5);
    EXPECT_EQ(MatrixSoft<double>(slow).elementKind, 5);
    Matrix<double> fast;
    fast = slow;
    EXPECT_EQ(fast.elementKind, 1);
}

TEST(Matrix, AssignedToItselfKeepsItsElements) {
    Matrix<double> a = numbered(3, 4);
    const Matrix<double>& itself = a;
    a = itself;
    EXPECT_EQ(maxDifference(a, numbered(3, 4)), 0.0);
    Matrix<double>& movable = a;
    a = std::move(movable);
    EXPECT_EQ(maxDifference(a, numbered(3, 4)), 0.0);
    const MatrixSoft<double> holder(a);
    a = itself;
    EXPECT_EQ(maxDifference(a, numbered(3, 4)), 0.0);
    EXPECT_EQ(maxDifference(holder, numbered(3, 4)), 0.0);
}

TEST(Matrix, OfAReleasedBlockCopiesWithItsShapeAndNoElements) {
    Matrix<double> a = numbered(2, 2);
    a.array.release();
    ASSERT_EQ(a.blockSize(), 4);  // stale
    const Matrix<double> b(a);
    EXPECT_EQ(b.array.data, nullptr);
    EXPECT_EQ(b.blockSize(), 0);
    a.fill(1.0);
    EXPECT_EQ(a.sumSquares(), 0.0);
    EXPECT_EQ(a.numericData(true), nullptr);
}

TEST(Matrix, BuiltOrAssignedFromASoftMatrixSharesTheBlock) {
    Matrix<double> a = numbered(3, 4);
    const Matrix<double> built = a.transpose();
    EXPECT_EQ(built.array.data, a.array.data);
    EXPECT_TRUE(built.transposed);
    Matrix<double> assigned = numbered(2, 2);
    assigned = a(Range(1, 2, 1), Range(0, 1, 1));
    EXPECT_EQ(assigned.array.data, a.array.data);
    EXPECT_EQ(assigned.storedRows, 3);
    assigned(0, 0) = 77.0;
    EXPECT_EQ(a(1, 0), 77.0);
    EXPECT_EQ(*a.array.refCount, 3);
}

TEST(Matrix, AssignedFromAViewOfItselfBecomesThatView) {
    Matrix<double> a = numbered(3, 4);
    a = a(Range(1, 2, 1), Range(2, 3, 1));
    EXPECT_EQ(maxDifference(a, matrixOf({{12.0, 13.0}, {22.0, 23.0}})), 0.0);
    EXPECT_EQ(*a.array.refCount, 1);
}

TEST(Matrix, ResultLeavesAFunctionWithoutACopy) {
    const double* block = nullptr;
    const auto make = [&block]() -> MatrixSoft<double> {
        Matrix<double> local = numbered(3, 3);
        block = local.array.data;
        return local;
    };
    const Matrix<double> result = make();
    EXPECT_EQ(result.array.data, block);
    EXPECT_EQ(*result.array.refCount, 1);
}

TEST(Matrix, MovedHasTheSameElementsAsACopy) {
    Matrix<double> whole = numbered(2, 3);
    const double* const block = whole.array.data;
    const Matrix<double> moved(std::move(whole));
    EXPECT_EQ(moved.array.data, block);
    expectWhole(whole, 0, 0);  // NOLINT(bugprone-use-after-move)

    Matrix<double> shared = numbered(2, 3);
    const MatrixSoft<double> view(shared);
    Matrix<double> target;
    target = std::move(shared);
    target(0, 0) = 9.0;
    EXPECT_EQ(view(0, 0), 0.0);

    Matrix<double> turned = numbered(2, 3);
    turned.transposed = true;
    const Matrix<double> packed(std::move(turned));
    expectWhole(packed, 3, 2);
    EXPECT_EQ(packed(2, 1), 12.0);

    double number = 1.0;
    Matrix<double> adopted(1, 1, &number, true);
    Matrix<double> own(std::move(adopted));
    own(0, 0) = 2.0;
    EXPECT_EQ(number, 1.0);
}

TEST(Matrix, FillReachesTheViewAlone) {
    Matrix<double> m = numbered(3, 3);
    m(Range(0, 1, 1), Range(1, 2, 1)).fill(-1.0);
    EXPECT_EQ(maxDifference(m, matrixOf({{0.0, -1.0, -1.0}, {10.0, -1.0, -1.0}, {20.0, 21.0, 22.0}})), 0.0);
    m = 4.0;
    EXPECT_EQ(m(2, 0), 4.0);
}

TEST(MatrixWalk, IsInLogicalColumnMajorOrder) {
    const Matrix<double> m = matrixOf({{1.0, 3.0, 5.0}, {2.0, 4.0, 6.0}});
    double expected = 1.0;
    for (const double element : m) {
        EXPECT_EQ(element, expected++);
    }
    EXPECT_EQ(expected, 7.0);
    const double byRows[] = {1.0, 3.0, 5.0, 2.0, 4.0, 6.0};
    int k = 0;
    for (const double element : m.transpose()) {
        EXPECT_EQ(element, byRows[k++]);
    }
    EXPECT_EQ(k, 6);
}

TEST(MatrixWalk, HonoursStridesAndStaysInsideTheRanges) {
    Matrix<double> m = numbered(5, 5);
    m.rowRange = Range(0, 3, 2);
    m.colRange = Range(1, 4, 3);
    const Matrix<double> packed(m, true);
    EXPECT_EQ(maxDifference(packed, matrixOf({{1.0, 4.0}, {21.0, 24.0}})), 0.0);
    m.transposed = true;
    EXPECT_EQ(maxDifference(Matrix<double>(m, true), matrixOf({{1.0, 21.0}, {4.0, 24.0}})), 0.0);
}

TEST(MatrixWalk, FindsNothingInARangeThatRunsDownwards) {
    Matrix<double> m = numbered(3, 3);
    Matrix<double> reversed(m, false);
    reversed.rowRange = Range(2, 1, -1);
    EXPECT_EQ(reversed.rows(), 2);
    reversed.fill(9.0);
    EXPECT_EQ(maxDifference(m, numbered(3, 3)), 0.0);
    const Matrix<double> copy(reversed, true);
    expectWhole(copy, 2, 3);
    EXPECT_EQ(copy.maxAbs(), 0.0);
    // Nor do operators leave the block with one.
    EXPECT_EQ(Matrix<double>(reversed * m).maxAbs(), 0.0);
    const Matrix<double> top = m(Range(0, 1, 1), all);
    EXPECT_EQ(maxDifference(top + reversed, top), 0.0);
    reversed.rowRange = Range(0, 2, -1);  // empty, though its first index lies inside
    EXPECT_EQ(Matrix<double>(reversed, true).blockSize(), 0);
}

TEST(Matrix, TransposedInPlaceTwiceIsItselfInANewBlock) {
    Matrix<double> m = numbered(2, 3);
    const MatrixSoft<double> before(m);
    m.transposeInPlace();
    expectWhole(m, 3, 2);
    EXPECT_EQ(m(2, 1), 12.0);
    m.transposeInPlace();
    expectWhole(m, 2, 3);
    EXPECT_EQ(maxDifference(m, numbered(2, 3)), 0.0);
    EXPECT_NE(m.array.data, before.array.data);
    EXPECT_EQ(maxDifference(before, numbered(2, 3)), 0.0);
}

TEST(Matrix, TransposedInPlaceOfAViewOnlyDropsItsFlag) {
    const Matrix<double> m = numbered(2, 3);
    Matrix<double> view = m.transpose();
    view.transposeInPlace();
    EXPECT_EQ(view.array.data, m.array.data);
    EXPECT_FALSE(view.transposed);
    EXPECT_EQ(view.rows(), 2);
    Matrix<double> none(0, 4);
    none.transposeInPlace();
    expectWhole(none, 4, 0);
}

TEST(Matrix, SetIdentityTakesItsRowCountUnlessAnOrderIsGiven) {
    Matrix<double> m = numbered(3, 2);
    const MatrixSoft<double> before(m);
    m.setIdentity();
    EXPECT_EQ(maxDifference(m, matrixOf({{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}})), 0.0);
    EXPECT_EQ(maxDifference(before, numbered(3, 2)), 0.0);
    m.setIdentity(1);
    expectWhole(m, 1, 1);
    m.setIdentity(0);
    expectWhole(m, 0, 0);
    Matrix<double> empty;
    empty.setIdentity();
    expectWhole(empty, 0, 0);
    Matrix<double> turned = numbered(3, 2).transpose();
    turned.setIdentity();
    expectWhole(turned, 2, 2);
}

TEST(Matrix, IdentityLeavesItsMatrixAlone) {
    const Matrix<double> m = numbered(2, 3);
    const Matrix<double> two = m.identity();
    EXPECT_EQ(maxDifference(two, matrixOf({{1.0, 0.0}, {0.0, 1.0}})), 0.0);
    EXPECT_EQ(Matrix<double>(m.identity(4)).rows(), 4);
    EXPECT_EQ(maxDifference(m, numbered(2, 3)), 0.0);
}

TEST(Matrix, IdentityStandsForTheNumericElementTypes) {
    Matrix<int> integers(2, 2);
    integers.setIdentity();
    EXPECT_EQ(integers(0, 0), 1);
    EXPECT_EQ(integers(1, 0), 0);
    Matrix<long> longs;
    longs.setIdentity(2);
    EXPECT_EQ(longs(1, 1), 1L);
    Matrix<std::complex<double>> complexes(2, 2);
    complexes.setIdentity();
    EXPECT_EQ(complexes(1, 1), std::complex<double>(1.0, 0.0));
    EXPECT_EQ(complexes(0, 1), std::complex<double>(0.0, 0.0));
    const Matrix<_MKL_Complex16> plain = Matrix<_MKL_Complex16>().identity(2);
    EXPECT_EQ(plain(1, 1).real, 1.0);
    EXPECT_EQ(plain(1, 1).imag, 0.0);
    EXPECT_EQ(plain(1, 0).real, 0.0);
    const Matrix<int> ofIntegers = integers.identity(3);
    EXPECT_EQ(ofIntegers(2, 2), 1);
    EXPECT_EQ(ofIntegers(2, 1), 0);
    const Matrix<long> ofLongs = longs.identity();
    EXPECT_EQ(ofLongs(1, 1), 1L);
    EXPECT_EQ(ofLongs(0, 1), 0L);
    const Matrix<std::complex<double>> ofComplexes = complexes.identity(1);
    EXPECT_EQ(ofComplexes(0, 0), std::complex<double>(1.0, 0.0));
}

TEST(Matrix, FillReachesOnlyTheElementsOfAViewInSteps) {
    Matrix<double> m = numbered(4, 2);
    Matrix<double> everySecondRow = m(Range(-1, -1, 1), Range(-1, -1, 1));
    everySecondRow.rowRange = Range(0, 3, 2);
    everySecondRow.fill(9.0);
    const Matrix<double> before = numbered(4, 2);
    for (int j = 0; j < 2; ++j) {
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(m(i, j), i % 2 == 0 ? 9.0 : before(i, j));
        }
    }
}

TEST(MatrixRandomize, GivesTheSameNumbersAtEveryCallInANewBlock) {
    Matrix<double> a = numbered(2, 2);
    const MatrixSoft<double> before(a);
    a.randomize(4, 3);
    expectWhole(a, 4, 3);
    EXPECT_EQ(maxDifference(before, numbered(2, 2)), 0.0);
    Matrix<double> b;
    b.randomize(4, 3);
    EXPECT_TRUE(identical(a, b));
    b.randomize(2, 2);
    EXPECT_EQ(b(1, 1), a(3, 0));  // the fourth number of the walk
}

TEST(MatrixRandomize, TakesTheLowBitsOfTheSeededGenerator) {
    Matrix<double> a;
    a.randomize(3, 2);
    std::srand(10);
    for (const double element : a) {
        EXPECT_EQ(element, static_cast<double>(std::rand() & 32767) * 10.0 / 32767.0);
    }
}

TEST(MatrixRandomize, StaysBetweenZeroAndTenAndFillsThatRange) {
    Matrix<double> a;
    a.randomize(60, 60);
    double lowest = 10.0;
    for (const double element : a) {
        ASSERT_GE(element, 0.0);
        ASSERT_LE(element, 10.0);
        lowest = std::min(lowest, element);
    }
    EXPECT_LT(lowest, 0.1);
    EXPECT_GT(a.maxAbs(), 9.9);
    a.randomize(0, 3);
    expectWhole(a, 0, 3);
}

TEST(MatrixPrint, WritesRowsWithTabsAndNewlines) {
    const Matrix<double> m = matrixOf({{1.0, -2.5}, {300.0, 0.125}});
    std::ostringstream narrow;
    m.print(narrow, 6);
    EXPECT_EQ(narrow.str(), "     1\t  -2.5\n   300\t 0.125\n");
    std::ostringstream inserted;
    inserted << m;
    EXPECT_EQ(inserted.str(), "         1\t      -2.5\n       300\t     0.125\n");
    std::ostringstream turned;
    m.transpose().print(turned, 0);
    EXPECT_EQ(turned.str(), "1\t300\n-2.5\t0.125\n");
}

TEST(MatrixPrint, WritesNothingWithoutElements) {
    std::ostringstream stream;
    stream << Matrix<double>() << Matrix<double>(0, 3) << Matrix<double>(3, 0);
    EXPECT_EQ(stream.str(), "");
}

TEST(Matrix, WhoseViewIsTooLargeForABlockIsNotCopied) {
    Matrix<double> m = numbered(1, 1);
    m.rowRange = Range(0, 99999, 1);
    m.colRange = Range(0, 99999, 1);
    EXPECT_THROW(Matrix<double>(m, true), std::bad_array_new_length);
}

}  // namespace
