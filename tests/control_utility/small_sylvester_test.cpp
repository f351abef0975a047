// The kernel for small Sylvester equations beside DTRSYL: the same solutions where it gives one, and none where DTRSYL
// would perturb or scale.

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <qormath/control_utility/small_sylvester.hpp>
#include <qormath/lapack/lapack.hpp>

#include "support/quasi_triangular.hpp"
#include "support/raw_matrix.hpp"

namespace {

using namespace qormath;
using control_utility::largestSmallSylvester;
using control_utility::solveSmallSylvester;
using lapack::Op;
using test::NormalNumbers;
using test::RawMatrix;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

struct Equation {
    Op opA;
    Op opB;
    int sign;
    RawMatrix a;
    RawMatrix b;
    RawMatrix c;
};

struct Answer {
    bool given = false;
    double largest = -1.0;
    RawMatrix x;
};

/// What the kernel makes of an equation, with NaN wherever it may not read.
Answer answerTo(const Equation& e) {
    const int m = e.a.rows, n = e.b.rows;
    const int lda = m + 2, ldb = n + 1, ldc = m + 3;
    const std::vector<double> a = test::guardedQuasiTriangular(e.a, lda);
    const std::vector<double> b = test::guardedQuasiTriangular(e.b, ldb);
    std::vector<double> x = test::withGuardRows(m, n, e.c.elements, ldc);
    Answer answer;
    answer.given =
        solveSmallSylvester(e.opA, e.opB, e.sign, m, n, a.data(), lda, b.data(), ldb, x.data(), ldc, answer.largest);
    answer.x = RawMatrix(m, n);
    answer.x.elements = test::packed(m, n, x.data(), ldc);
    return answer;
}

struct Columnwise {
    int info = 0;
    double scale = 0.0;
    RawMatrix x;
};

Columnwise byLapack(const Equation& e) {
    Columnwise result{0, 0.0, e.c};
    result.info = lapack::trsyl(e.opA, e.opB, e.sign, e.a.rows, e.b.rows, e.a.data(), e.a.rows, e.b.data(), e.b.rows,
                                result.x.data(), e.a.rows, result.scale);
    return result;
}

void expectNoAnswer(const Equation& e) {
    const Answer answer = answerTo(e);
    EXPECT_FALSE(answer.given);
    EXPECT_EQ(answer.largest, -1.0);
    for (std::size_t k = 0; k < e.c.elements.size(); ++k) {
        EXPECT_TRUE(answer.x.elements[k] == e.c.elements[k] || std::isnan(e.c.elements[k]));
    }
}

RawMatrix randomRight(int m, int n, NormalNumbers& numbers) {
    RawMatrix c(m, n);
    c.elements = numbers.matrix(m, n);
    return c;
}

/// A diagonal block: one real eigenvalue, or a conjugate pair in standard form.
RawMatrix block(double re, double im) {
    RawMatrix a(im == 0.0 ? 1 : 2, im == 0.0 ? 1 : 2);
    a(0, 0) = re;
    if (im != 0.0) {
        a(1, 1) = re;
        a(0, 1) = 2.0 * im;
        a(1, 0) = -0.5 * im;
    }
    return a;
}

TEST(SmallSylvester, AgreesWithTheColumnwiseKernelInEveryForm) {
    // Eigenvalues of real parts in (1, 2) and strictly upper parts of norm below 0.2 keep the separation above 1.
    constexpr double separation = 1.0;
    const auto nearOne = [](NormalNumbers& numbers) {
        return test::Eigenvalue{1.0 + numbers.uniform(), 0.1 * numbers.uniform()};
    };
    NormalNumbers numbers(1);
    for (const int m : {1, 2, 3, 4, 7, 16, 31, largestSmallSylvester}) {
        for (const int n : {1, 2, 3, 5, 8, 17, largestSmallSylvester}) {
            for (const double pairShare : {0.0, 0.6, 1.0}) {
                for (const Op opA : {Op::none, Op::transpose}) {
                    for (const Op opB : {Op::none, Op::transpose}) {
                        for (const int sign : {1, -1}) {
                            Equation e{opA,
                                       opB,
                                       sign,
                                       test::quasiTriangular(m, pairShare, 0.1 / m, 21, nearOne),
                                       test::quasiTriangular(n, pairShare, 0.1 / n, 22, nearOne),
                                       randomRight(m, n, numbers)};
                            for (double& element : e.b.elements) {
                                element *= sign;
                            }
                            const Answer answer = answerTo(e);
                            const Columnwise columnwise = byLapack(e);
                            ASSERT_TRUE(answer.given);
                            ASSERT_EQ(columnwise.info, 0);
                            // 4 by 4 systems by row pivots grow by no more than 8.
                            const double bound = 10.0 * (m + n) * lapack::machineEpsilon() *
                                                 (frobeniusNorm(e.a) + frobeniusNorm(e.b)) / separation *
                                                 frobeniusNorm(columnwise.x);
                            EXPECT_LE(frobeniusNorm(difference(answer.x, columnwise.x)), bound)
                                << m << ' ' << n << ' ' << pairShare << ' ' << sign;
                            EXPECT_EQ(answer.largest, lapack::lange(lapack::Norm::maxAbs, m, n, answer.x.data(), m));
                        }
                    }
                }
            }
        }
    }
}

TEST(SmallSylvester, AnswersOnlyWhereTheColumnwiseKernelNeitherPerturbsNorScales) {
    NormalNumbers numbers(2);
    int given = 0;
    int refused = 0;
    for (int exponent = 0; exponent <= 60; ++exponent) {
        const double gap = std::ldexp(1.0, -exponent);
        for (const double im : {0.0, 0.7}) {
            for (const double distance : {0.0, 0.3}) {
                // Blocks of one and two rows each, the eigenvalues of b being those of -a but for the gap.
                Equation e{Op::none,   Op::none, 1, block(1.0, im), block(-1.0 + gap, distance == 0.0 ? im : distance),
                           RawMatrix()};
                e.c = randomRight(e.a.rows, e.b.rows, numbers);
                const Columnwise columnwise = byLapack(e);
                const Answer answer = answerTo(e);
                (answer.given ? given : refused) += 1;
                if (answer.given) {
                    EXPECT_EQ(columnwise.info, 0) << exponent;
                    EXPECT_EQ(columnwise.scale, 1.0) << exponent;
                } else {
                    expectNoAnswer(e);
                }
            }
        }
    }
    EXPECT_GT(given, 60);
    EXPECT_GT(refused, 60);
}

TEST(SmallSylvester, LeavesEigenvaluesThatNearlyMeetToOthers) {
    NormalNumbers numbers(3);
    for (const double im : {0.0, 0.7}) {
        for (const double gap : {1e-5, 1e-12, 0.0}) {
            Equation e{Op::none, Op::none, -1, block(1.0, im), block(1.0 + gap, im), RawMatrix()};
            e.c = randomRight(e.a.rows, e.b.rows, numbers);
            expectNoAnswer(e);
            e.b = block(1.01, im);
            EXPECT_TRUE(answerTo(e).given);
        }
    }
}

TEST(SmallSylvester, LeavesBlocksFarBelowTheLargestElementToOthers) {
    for (const bool inA : {true, false}) {
        RawMatrix large(2, 2);
        large(0, 0) = 1.0;
        large(1, 1) = 2.0;
        large(0, 1) = 0x1p25;
        const RawMatrix other = block(3.0, 0.0);
        const auto equation = [&] {
            return Equation{Op::none,
                            Op::none,
                            1,
                            inA ? large : other,
                            inA ? other : large,
                            RawMatrix(inA ? 2 : 1, inA ? 1 : 2, 1.0)};
        };
        EXPECT_TRUE(answerTo(equation()).given);
        large(0, 1) = 0x1p29;
        expectNoAnswer(equation());
    }
}

TEST(SmallSylvester, LeavesWhatIsNearTheEndsOfTheRangeToOthers) {
    const RawMatrix one = block(1.0, 0.0);
    const RawMatrix pair = block(1.0, 1.0);
    const auto scaled = [](RawMatrix matrix, double factor) {
        for (double& element : matrix.elements) {
            element *= factor;
        }
        return matrix;
    };
    for (const RawMatrix& a : {one, pair}) {
        for (const RawMatrix& b : {one, pair}) {
            const RawMatrix c(a.rows, b.rows, 1.0);
            expectNoAnswer({Op::none, Op::none, 1, scaled(a, 0x1p-950), scaled(b, 0x1p-950), c});
            expectNoAnswer({Op::none, Op::none, 1, scaled(a, 0x1p-800), scaled(b, 0x1p-800), scaled(c, 0x1p200)});
            expectNoAnswer({Op::none, Op::none, 1, a, b, scaled(c, 0x1p1000)});
            EXPECT_TRUE(answerTo({Op::none, Op::none, 1, scaled(a, 0x1p-800), scaled(b, 0x1p-800), c}).given);
            EXPECT_TRUE(answerTo({Op::none, Op::none, 1, a, b, scaled(c, 0x1p800)}).given);
        }
    }
}

TEST(SmallSylvester, LeavesWhatIsNotFiniteToOthers) {
    NormalNumbers numbers(4);
    const auto rightHalf = [](NormalNumbers& n) { return test::Eigenvalue{1.0 + n.uniform(), 1.0}; };
    const Equation sound{Op::none,
                         Op::transpose,
                         1,
                         test::quasiTriangular(6, 0.5, 0.1, 5, rightHalf),
                         test::quasiTriangular(5, 0.5, 0.1, 6, rightHalf),
                         randomRight(6, 5, numbers)};
    ASSERT_TRUE(answerTo(sound).given);
    for (const double bad : {notANumber, infinity, -infinity}) {
        for (int row = 0; row < 5; ++row) {
            for (int column = row; column < 5; ++column) {
                Equation e = sound;
                e.a(row, column) = bad;
                EXPECT_FALSE(answerTo(e).given);
                e = sound;
                e.b(row, column) = bad;
                EXPECT_FALSE(answerTo(e).given);
                e = sound;
                e.c(column, row) = bad;
                expectNoAnswer(e);
            }
        }
    }
}

}  // namespace
