#include <complex>
#include <gtest/gtest.h>
#include <support/matrix_literals.hpp>
#include <vector>

#include <qormath/conditioning/detail/schur_blocks.hpp>

using qormath::conditioning::eigenvaluesOfSchurForm;
using qormath::conditioning::schurBlockFlags;
using qormath::test::matrixOf;
using QorMathLA::Matrix;
using QorMathLA::Vector;

namespace {

std::vector<int> flagsOf(const Matrix<double>& t) {
    std::vector<int> flags;
    for (const int flag : schurBlockFlags(t)) {
        flags.push_back(flag);
    }
    return flags;
}

}  // namespace

TEST(SchurBlockFlags, AreNoneForAnEmptyMatrix) {
    EXPECT_TRUE(flagsOf(Matrix<double>()).empty());
}

TEST(SchurBlockFlags, AreZeroForBlocksOfOneRow) {
    EXPECT_EQ(flagsOf(matrixOf({{3}})), std::vector<int>({0}));
    EXPECT_EQ(flagsOf(matrixOf({{3, 9}, {0, 4}})), std::vector<int>({0, 0}));
}

TEST(SchurBlockFlags, AreOneAndTwoForTheRowsOfAPair) {
    EXPECT_EQ(flagsOf(matrixOf({{1, 2}, {-2, 1}})), std::vector<int>({1, 2}));
    EXPECT_EQ(
        flagsOf(matrixOf({{1, 2, 9, 9, 9}, {-2, 1, 9, 9, 9}, {0, 0, 5, 9, 9}, {0, 0, 0, 1, 2}, {0, 0, 0, -2, 1}})),
        std::vector<int>({1, 2, 0, 1, 2}));
    EXPECT_EQ(flagsOf(matrixOf({{7, 9, 9}, {0, 1, 2}, {0, -2, 1}})), std::vector<int>({0, 1, 2}));
}

TEST(SchurBlockFlags, FollowAnExactTestOfTheSubdiagonal) {
    EXPECT_EQ(flagsOf(matrixOf({{1, 2}, {-1e-300, 1}})), std::vector<int>({1, 2}));
    EXPECT_EQ(flagsOf(matrixOf({{1, 2}, {-0.0, 1}})), std::vector<int>({0, 0}));
}

TEST(SchurBlockFlags, CloseAPairBeforeTheNextBlockIsLookedAt) {
    // No Schur form has three rows in a chain; the pair that stands first takes its two rows.
    EXPECT_EQ(flagsOf(matrixOf({{1, 2, 3}, {4, 5, 6}, {0, 7, 8}})), std::vector<int>({1, 2, 0}));
}

TEST(EigenvaluesOfSchurForm, AreNoneForAnEmptyMatrix) {
    EXPECT_EQ(eigenvaluesOfSchurForm(Matrix<double>()).size(), 0);
}

TEST(EigenvaluesOfSchurForm, StandInTheOrderOfTheDiagonal) {
    const Vector<std::complex<double>> values =
        eigenvaluesOfSchurForm(matrixOf({{7, 9, 9, 9}, {0, 0.5, 2, 9}, {0, -8, 0.5, 9}, {0, 0, 0, -3}}));
    ASSERT_EQ(values.size(), 4);
    EXPECT_EQ(values[0], std::complex<double>(7.0, 0.0));
    EXPECT_NEAR(values[1].real(), 0.5, 20 * 8 * 0x1p-53);
    EXPECT_NEAR(values[1].imag(), 4.0, 20 * 8 * 0x1p-53) << "the positive imaginary part first";
    EXPECT_EQ(values[2], std::conj(values[1]));
    EXPECT_EQ(values[3], std::complex<double>(-3.0, 0.0));
}

TEST(EigenvaluesOfSchurForm, SeeThroughABlockThatIsNotInStandardForm) {
    const Vector<std::complex<double>> values = eigenvaluesOfSchurForm(matrixOf({{1, 2}, {2, 1}}));
    ASSERT_EQ(values.size(), 2);
    EXPECT_EQ(values[0].imag(), 0.0);
    EXPECT_EQ(values[1].imag(), 0.0);
    EXPECT_NEAR(values[0].real() + values[1].real(), 2.0, 20 * 3 * 0x1p-53);
    EXPECT_NEAR(values[0].real() * values[1].real(), -3.0, 20 * 3 * 0x1p-53);
}

TEST(EigenvaluesOfSchurForm, LeaveTheMatrixAsItIs) {
    const Matrix<double> t = matrixOf({{1, 2}, {-8, 1}});
    eigenvaluesOfSchurForm(t);
    EXPECT_EQ(qormath::test::written(t), "2x2 [1 2; -8 1]");
}
