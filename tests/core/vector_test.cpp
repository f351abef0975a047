#include <algorithm>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <support/matrix_compare.hpp>
#include <support/matrix_literals.hpp>
#include <support/random_matrices.hpp>
#include <utility>

#include <qormath/core/vector.hpp>

namespace {

using namespace qormath::test;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::VectorSoft;

/// 0, 1, 2, ...
Vector<double> counted(int length) {
    Vector<double> result(length);
    for (int k = 0; k < length; ++k) {
        result[k] = k;
    }
    return result;
}

/// A handle on the whole of a vector, to be written through.
template <class T>
VectorSoft<T> softOf(const Vector<T>& v) {
    return v;
}

void expectRange(const Range& range, int start, int end, int stride) {
    EXPECT_EQ(range.start, start);
    EXPECT_EQ(range.end, end);
    EXPECT_EQ(range.stride, stride);
}

TEST(Vector, ByDefaultIsEmpty) {
    const Vector<double> v;
    EXPECT_EQ(v.size(), 0);
    EXPECT_EQ(v.data, nullptr);
    expectRange(v.range, 0, -1, 1);
}

TEST(Vector, OfALengthShowsItsWholeBlock) {
    const Vector<double> v(4);
    EXPECT_EQ(v.size(), 4);
    EXPECT_EQ(v.count, 4);
    expectRange(v.range, 0, 3, 1);
}

TEST(Vector, OfALengthBelowOneIsEmpty) {
    for (const int length : {0, -1, -7}) {
        const Vector<double> v(length);
        EXPECT_EQ(v.size(), 0);
        expectRange(v.range, 0, -1, 1);
    }
}

TEST(Vector, CopiesItsSourceUnlessItAdoptsIt) {
    double numbers[] = {1.0, 2.0, 3.0};
    Vector<double> copied(3, numbers);
    Vector<double> adopted(3, numbers, true);
    numbers[1] = 5.0;
    EXPECT_EQ(copied[1], 2.0);
    EXPECT_EQ(adopted[1], 5.0);
    adopted[2] = 7.0;
    EXPECT_EQ(numbers[2], 7.0);
}

TEST(Vector, KindsFollowTheElementType) {
    EXPECT_EQ(Vector<int>().elementKind, 0);
    EXPECT_EQ(Vector<double>().elementKind, 1);
    EXPECT_EQ(Vector<float>().elementKind, 2);
    EXPECT_EQ(Vector<bool>().elementKind, 3);
    EXPECT_EQ(Vector<std::string>().elementKind, 3);
    EXPECT_EQ(Vector<_MKL_Complex16>().elementKind, 3);
    EXPECT_EQ(Vector<std::complex<double>>().elementKind, 3);
    EXPECT_EQ(Vector<Vector<double>>().elementKind, 3);
    EXPECT_EQ(Vector<Matrix<double>>().elementKind, 3);
}

TEST(Vector, CopyIsDeepAndCompact) {
    Vector<double> a = counted(6);
    Vector<double> part = a(Range(2, 4, 1));
    Vector<double> b(part);
    EXPECT_EQ(maxDifference(b, vectorOf({2.0, 3.0, 4.0})), 0.0);
    EXPECT_EQ(b.count, 3);
    expectRange(b.range, 0, 2, 1);
    b[0] = 9.0;
    EXPECT_EQ(a[2], 2.0);
}

TEST(Vector, ShallowCopySharesTheBlockAndTheView) {
    Vector<double> a = counted(6);
    const Vector<double> part = a(Range(2, 4, 1));
    Vector<double> b(part, false);
    EXPECT_EQ(b.data, a.data);
    expectRange(b.range, 2, 4, 1);
    EXPECT_EQ(*a.refCount, 3);
    b[0] = 9.0;
    EXPECT_EQ(a[2], 9.0);
}

TEST(Vector, DeepAssignmentReplacesTheBlock) {
    Vector<double> a = counted(3);
    Vector<double> b = counted(5);
    const VectorSoft<double> viewOfB(b);
    b = a;
    EXPECT_EQ(maxDifference(a, b), 0.0);
    EXPECT_NE(a.data, b.data);
    EXPECT_EQ(viewOfB.size(), 5);  // the old block, which the view keeps alive
    EXPECT_EQ(*viewOfB.refCount, 1);
    EXPECT_EQ(viewOfB[4], 4.0);
}

TEST(Vector, DeepAssignmentOfAStridedViewPacksIt) {
    const Vector<double> a = counted(9);
    Vector<double> every(a, false);
    every.range = Range(1, 8, 3);
    Vector<double> b;
    b = every;
    EXPECT_EQ(maxDifference(b, vectorOf({1.0, 4.0, 7.0})), 0.0);
    EXPECT_EQ(b.count, 3);
    expectRange(b.range, 0, 2, 1);
}

TEST(Vector, DeepAssignmentKeepsTheTargetsKind) {
    Vector<double> a = counted(3);
    a.elementKind = 3;
    Vector<double> b;
    b = a;
    EXPECT_EQ(b.elementKind, 1);
    EXPECT_EQ(Vector<double>(a).elementKind, 3);
    a = b;
    EXPECT_EQ(a.elementKind, 3);
    EXPECT_EQ(maxDifference(a, counted(3)), 0.0);
    a = VectorSoft<double>(b);
    EXPECT_EQ(a.elementKind, 3);
}

TEST(Vector, AssignedToItselfKeepsItsElements) {
    Vector<double> a = counted(4);
    const Vector<double>& itself = a;
    a = itself;
    EXPECT_EQ(maxDifference(a, counted(4)), 0.0);
    Vector<double>& movable = a;
    a = std::move(movable);
    EXPECT_EQ(maxDifference(a, counted(4)), 0.0);
}

TEST(Vector, DeepAssignmentOfAnEmptyVectorEmptiesTheTarget) {
    Vector<double> a = counted(4);
    a = Vector<double>();
    EXPECT_EQ(a.size(), 0);
    EXPECT_EQ(a.data, nullptr);
}

TEST(Vector, OfAReleasedBlockCopiesAsEmpty) {
    Vector<double> a = counted(4);
    a.release();
    ASSERT_EQ(a.count, 4);
    const Vector<double> b(a);
    EXPECT_EQ(b.size(), 0);
    Vector<std::string> texts(3);
    texts.release();
    Vector<std::string> copy;
    copy = texts;
    EXPECT_EQ(copy.size(), 0);
}

TEST(Vector, OfAReleasedBlockHasNoElementsToWalk) {
    Vector<double> a = counted(4);
    a.release();
    EXPECT_EQ(a.sum(), 0.0);
    EXPECT_EQ(a.maxAbs(), 0.0);
    a.fill(1.0);
    softOf(a) = counted(4);
    EXPECT_EQ(a.data, nullptr);
    EXPECT_EQ(a.numericData(), nullptr);
}

TEST(Vector, BuiltFromASoftVectorSharesTheBlock) {
    Vector<double> a = counted(6);
    const Vector<double> b(a(Range(1, 3, 1)));
    EXPECT_EQ(b.data, a.data);
    expectRange(b.range, 1, 3, 1);
    EXPECT_EQ(*a.refCount, 2);
}

TEST(Vector, AssignedFromASoftVectorSharesTheBlock) {
    Vector<double> a = counted(6);
    Vector<double> b = counted(2);
    b = a(Range(1, 3, 1));
    EXPECT_EQ(b.data, a.data);
    expectRange(b.range, 1, 3, 1);
    b[0] = 9.0;
    EXPECT_EQ(a[1], 9.0);
    // Of a soft vector that stays, too.
    const VectorSoft<double> view = a(Range(2, 4, 1));
    b = view;
    EXPECT_EQ(b.data, a.data);
    expectRange(b.range, 2, 4, 1);
    EXPECT_EQ(*a.refCount, 3);
}

TEST(Vector, AssignedFromASoftViewOfItselfBecomesThatView) {
    Vector<double> a = counted(6);
    a = a(Range(1, 3, 1));
    EXPECT_EQ(maxDifference(a, vectorOf({1.0, 2.0, 3.0})), 0.0);
    EXPECT_EQ(*a.refCount, 1);
    EXPECT_EQ(a.count, 6);
}

TEST(Vector, ResultLeavesAFunctionWithoutACopy) {
    const double* block = nullptr;
    const auto make = [&block]() -> VectorSoft<double> {
        const Vector<double> local = counted(3);
        block = local.data;
        return local;
    };
    const Vector<double> result = make();
    EXPECT_EQ(result.data, block);
    EXPECT_EQ(*result.refCount, 1);
}

TEST(Vector, MovedHasTheSameElementsAsACopy) {
    Vector<double> whole = counted(4);
    const double* const block = whole.data;
    const Vector<double> moved(std::move(whole));
    EXPECT_EQ(moved.data, block);
    EXPECT_EQ(whole.size(), 0);  // NOLINT(bugprone-use-after-move)

    // A block that somebody else sees is copied: writing to the target must not reach it.
    Vector<double> shared = counted(4);
    const VectorSoft<double> view(shared);
    Vector<double> target;
    target = std::move(shared);
    target[0] = 9.0;
    EXPECT_EQ(view[0], 0.0);

    // Adopted memory and parts are copied too.
    double number = 1.0;
    Vector<double> adopted(1, &number, true);
    Vector<double> own(std::move(adopted));
    own[0] = 2.0;
    EXPECT_EQ(number, 1.0);
    Vector<double> part = counted(6);
    part.range = Range(1, 3, 1);
    const Vector<double> packed(std::move(part));
    EXPECT_EQ(packed.count, 3);
    EXPECT_EQ(packed[2], 3.0);
}

TEST(Vector, AssignedFromAScalarFillsTheView) {
    Vector<double> a = counted(4);
    Vector<double> part = a(Range(1, 2, 1));
    part = 7.0;
    EXPECT_EQ(maxDifference(a, vectorOf({0.0, 7.0, 7.0, 3.0})), 0.0);
}

TEST(Vector, FilledIsANewCompactVector) {
    const Vector<double> a = counted(4);
    const Vector<double> b = a(Range(1, 3, 1)).filled(2.5);
    EXPECT_EQ(maxDifference(b, vectorOf({2.5, 2.5, 2.5})), 0.0);
    EXPECT_EQ(b.count, 3);
    EXPECT_EQ(maxDifference(a, counted(4)), 0.0);
    EXPECT_EQ(Vector<double>().filled(1.0).size(), 0);
}

TEST(Vector, FillReachesOnlyTheElementsOfAStridedView) {
    Vector<double> a = counted(7);
    Vector<double> view(a, false);
    view.range = Range(1, 6, 2);
    view.fill(-1.0);
    EXPECT_EQ(maxDifference(a, vectorOf({0.0, -1.0, 2.0, -1.0, 4.0, -1.0, 6.0})), 0.0);
}

TEST(Vector, FillWithOneOfItsOwnElementsTakesTheValueThatItHad) {
    Vector<std::string> names(3);
    names[2] = "a text that is too long for the short form of a string";
    const std::string expected = names[2];
    names.fill(names[2]);
    EXPECT_EQ(names[0], expected);
    EXPECT_EQ(names[2], expected);
}

TEST(VectorView, SelectsRelativeToTheViewAndSharesTheBlock) {
    Vector<double> a = counted(10);
    const VectorSoft<double> first = a(Range(2, 8, 1));
    const VectorSoft<double> second = first(Range(1, 3, 1));
    expectRange(second.range, 3, 5, 1);
    EXPECT_EQ(second[0], 3.0);
    EXPECT_EQ(&second[0], &a[3]);
}

TEST(VectorView, OfANegativeStartSelectsEverything) {
    const Vector<double> a = counted(10);
    const VectorSoft<double> part = a(Range(2, 8, 1));
    const Range selections[] = {Range(-1, -1, 1), Range(-5, 3, 1)};
    for (const Range& all : selections) {
        const VectorSoft<double> view = part(all);
        expectRange(view.range, 2, 8, 1);
    }
}

TEST(VectorView, CountsInIndexUnitsAndDoesNotClip) {
    Vector<double> a = counted(10);
    a.range = Range(1, 9, 2);
    const VectorSoft<double> view = a(Range(1, 4, 2));
    expectRange(view.range, 2, 5, 2);
    a.range = Range(0, 9, 1);
    const VectorSoft<double> beyond = a(Range(5, 20, 1));
    expectRange(beyond.range, 5, 20, 1);
}

TEST(VectorView, OfAnotherStrideThrowsTheIntMinusOne) {
    const Vector<double> a = counted(10);
    const Range selections[] = {Range(0, 4, 2), Range(-1, -1, 2), Range(4, 0, -1), Range(0, 4, 0)};
    for (const Range& selection : selections) {
        try {
            a(selection);
            FAIL() << "nothing was thrown";
        } catch (const int error) {
            EXPECT_EQ(error, -1);
        }
    }
    EXPECT_EQ(*a.refCount, 1);
}

TEST(VectorView, ThatIsEmptyHasNoElements) {
    Vector<double> a = counted(3);
    VectorSoft<double> none = a(Range(1, 0, 1));
    EXPECT_EQ(none.size(), 0);
    none = counted(3);
    none.fill(9.0);
    EXPECT_EQ(maxDifference(a, counted(3)), 0.0);
    EXPECT_EQ(Vector<double>()(Range(-1, -1, 1)).size(), 0);
}

TEST(VectorSoft, CopiedFromASoftShares) {
    Vector<double> a = counted(4);
    VectorSoft<double> first(a);
    VectorSoft<double> second(first);
    VectorSoft<double> third(std::move(second));
    EXPECT_EQ(*a.refCount, 4);  // a move leaves its source a holder too
    third[1] = 8.0;
    EXPECT_EQ(a[1], 8.0);
}

TEST(VectorSoft, AssignmentWritesTheElementsThroughTheView) {
    Vector<double> a = counted(6);
    const Vector<double> b = vectorOf({10.0, 11.0});
    const double* const block = a.data;
    a(Range(3, 4, 1)) = b;
    EXPECT_EQ(maxDifference(a, vectorOf({0.0, 1.0, 2.0, 10.0, 11.0, 5.0})), 0.0);
    EXPECT_EQ(a.data, block);
    EXPECT_EQ(*a.refCount, 1);
    EXPECT_EQ(*b.refCount, 1);
    a(Range(0, 1, 1)) = VectorSoft<double>(b);
    EXPECT_EQ(a[1], 11.0);
    a(Range(2, 2, 1)) = 3.5;
    EXPECT_EQ(a[2], 3.5);
}

TEST(VectorSoft, AssignmentOfAnRvalueIsNeverARebind) {
    Vector<double> a = counted(4);
    Vector<double> b = vectorOf({10.0, 11.0, 12.0, 13.0});
    VectorSoft<double> view = a(Range(0, 1, 1));
    view = b(Range(2, 3, 1));
    EXPECT_EQ(view.data, a.data);
    EXPECT_EQ(a[0], 12.0);
    VectorSoft<double> other = b(Range(0, 1, 1));
    view = std::move(other);
    EXPECT_EQ(view.data, a.data);
    EXPECT_EQ(a[1], 11.0);
}

TEST(VectorSoft, TheShorterOperandDecidesHowMuchIsWritten) {
    Vector<double> a = counted(3);
    softOf(a) = vectorOf({7.0});
    EXPECT_EQ(maxDifference(a, vectorOf({7.0, 1.0, 2.0})), 0.0);
    softOf(a) = vectorOf({1.0, 2.0, 3.0, 4.0, 5.0});
    EXPECT_EQ(maxDifference(a, vectorOf({1.0, 2.0, 3.0})), 0.0);
    softOf(a) = Vector<double>();
    EXPECT_EQ(maxDifference(a, vectorOf({1.0, 2.0, 3.0})), 0.0);

    Vector<std::string> names(2);
    Vector<std::string> other(3);
    other.fill("new");
    softOf(names) = other;
    EXPECT_EQ(names[1], "new");
}

TEST(VectorSoft, AssignmentHonoursBothStrides) {
    for (const int targetStride : {1, 2, 3}) {
        for (const int sourceStride : {1, 2, 3}) {
            Vector<double> a = counted(13);
            Vector<double> b = counted(13) * 10.0;
            VectorSoft<double> target(a);
            VectorSoft<double> source(b);
            target.range = Range(0, 12, targetStride);
            source.range = Range(0, 12, sourceStride);
            target = source;
            const int written = std::min(target.size(), source.size());
            for (int k = 0; k < 13; ++k) {
                const int index = k / targetStride;
                const bool hit = k % targetStride == 0 && index < written;
                EXPECT_EQ(a[k], hit ? 10.0 * index * sourceStride : k);
            }
        }
    }
}

TEST(VectorSoft, AssignmentOfRunningDownwardsGoesByIndexForDoubles) {
    Vector<double> a = counted(3);
    Vector<double> b = counted(3);
    VectorSoft<double> reversed(b);
    reversed.range = Range(2, 0, -1);
    softOf(a) = reversed;
    EXPECT_EQ(maxDifference(a, vectorOf({2.0, 1.0, 0.0})), 0.0);
}

TEST(VectorWalk, FindsNothingInARangeThatRunsDownwards) {
    Vector<double> a = counted(4);
    VectorSoft<double> reversed(a);
    reversed.range = Range(3, 0, -1);
    EXPECT_EQ(reversed.size(), 4);
    EXPECT_EQ(reversed.sum(), 0.0);
    reversed.fill(9.0);
    EXPECT_EQ(maxDifference(a, counted(4)), 0.0);
    // A compact copy has the size, and zeros where the walk found nothing.
    reversed.range = Range(3, 1, -1);
    const Vector<double> shared(reversed);
    const Vector<double> copy(shared, true);
    EXPECT_EQ(maxDifference(copy, vectorOf({0.0, 0.0, 0.0})), 0.0);
}

TEST(VectorWalk, OfARangeWhoseStrideLeadsAwayWritesNothingBeyondACopy) {
    Vector<double> a = counted(4);
    Vector<double> odd(a, false);
    odd.range = Range(0, 3, -1);
    EXPECT_EQ(odd.size(), 0);
    const Vector<double> copy(odd, true);
    EXPECT_EQ(copy.size(), 0);
}

TEST(VectorReductions, OfAnEmptyVectorAreZero) {
    const Vector<double> none;
    int index = 7;
    EXPECT_EQ(none.maxAbsIndex(index), 0.0);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(none.maxAbs(), 0.0);
    EXPECT_EQ(none.sum(), 0.0);
    EXPECT_EQ(none.sumAbs(), 0.0);
    EXPECT_EQ(Vector<int>().sum(), 0);
}

TEST(VectorReductions, OfEqualMaximaTheFirstIsKept) {
    int index = 7;
    EXPECT_EQ(vectorOf({-3.0, 3.0}).maxAbsIndex(index), 3.0);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(vectorOf({1.0, -4.0, 2.0, 4.0}).maxAbsIndex(index), 4.0);
    EXPECT_EQ(index, 1);
}

TEST(VectorReductions, OfZerosTheIndexIsZero) {
    int index = 7;
    EXPECT_EQ(vectorOf({0.0, -0.0, 0.0}).maxAbsIndex(index), 0.0);
    EXPECT_EQ(index, 0);
}

TEST(VectorReductions, PassOverNaNWhenLookingForTheLargest) {
    constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
    int index = 7;
    EXPECT_EQ(vectorOf({notANumber, 2.0, notANumber, -5.0}).maxAbsIndex(index), 5.0);
    EXPECT_EQ(index, 3);
}

TEST(VectorReductions, SumInIndexOrder) {
    EXPECT_EQ(vectorOf({1.0, 1e17, -1e17}).sum(), (1.0 + 1e17) - 1e17);
    EXPECT_EQ(vectorOf({1e17, -1e17, 1.0}).sum(), 1.0);
    EXPECT_EQ(vectorOf({-1.0, 2.0, -3.5}).sumAbs(), 6.5);
}

TEST(VectorReductions, GoByTheView) {
    Vector<double> a = counted(10);
    a.range = Range(1, 9, 4);
    int index = 0;
    EXPECT_EQ(a.sum(), 15.0);
    EXPECT_EQ(a.sumAbs(), 15.0);
    EXPECT_EQ(a.maxAbsIndex(index), 9.0);
    EXPECT_EQ(index, 2);
}

TEST(VectorReductions, OfIntegersWrapAround) {
    EXPECT_EQ(vectorOf<int>({3, -5, 7}).sum(), 5);
    constexpr int highest = std::numeric_limits<int>::max();
    EXPECT_EQ(vectorOf<int>({highest, 1}).sum(), std::numeric_limits<int>::min());
}

TEST(Vector, NumericDataIsTheFirstElementShown) {
    Vector<double> a = counted(5);
    EXPECT_EQ(a.numericData(), a.data);
    EXPECT_EQ(a(Range(2, 3, 1)).numericData(), a.data + 2);
    const Vector<double>& constant = a;
    EXPECT_EQ(constant.numericData(), a.data);
}

}  // namespace
