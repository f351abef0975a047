// Every element type that the library holds ready, used through the shared instantiations.

#include <complex>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>

#include <qormath/core/matrix.hpp>

namespace {

using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::VectorSoft;

template <class T>
T sample(int k) {
    if constexpr (std::is_same_v<T, std::string>) {
        return std::string(40, static_cast<char>('a' + k));  // too long for the short form: its memory is on the heap
    } else if constexpr (std::is_same_v<T, _MKL_Complex16>) {
        return {1.0 * k, -1.0 * k};
    } else if constexpr (std::is_same_v<T, std::complex<double>>) {
        return {1.0 * k, -1.0 * k};
    } else if constexpr (std::is_same_v<T, Vector<double>>) {
        return Vector<double>(k + 1).filled(k);
    } else if constexpr (std::is_same_v<T, Matrix<double>>) {
        Matrix<double> m(k + 1, 2);
        m.fill(k);
        return m;
    } else {
        return static_cast<T>(k);
    }
}

template <class T>
bool same(const T& a, const T& b) {
    if constexpr (std::is_same_v<T, _MKL_Complex16>) {
        return a.real == b.real && a.imag == b.imag;
    } else if constexpr (std::is_same_v<T, Vector<double>>) {
        return a.size() == b.size() && a.sum() == b.sum();
    } else if constexpr (std::is_same_v<T, Matrix<double>>) {
        return a.rows() == b.rows() && a.cols() == b.cols() && a.sumSquares() == b.sumSquares();
    } else {
        return a == b;
    }
}

template <class T>
class VectorOfEveryType : public testing::Test {};
using VectorTypes = testing::Types<int, float, double, bool, std::string, _MKL_Complex16, std::complex<double>,
                                   Vector<double>, Matrix<double>>;
TYPED_TEST_SUITE(VectorOfEveryType, VectorTypes);

TYPED_TEST(VectorOfEveryType, CopiesSharesAndWritesThroughViews) {
    using T = TypeParam;
    Vector<T> v(4);
    for (int k = 0; k < 4; ++k) {
        v[k] = sample<T>(k);
    }
    const Vector<T> copy(v);
    const VectorSoft<T> part = v(Range(1, 2, 1));
    ASSERT_EQ(part.size(), 2);
    EXPECT_TRUE(same(part[1], sample<T>(2)));
    v(Range(0, 1, 1)) = v(Range(2, 3, 1));
    EXPECT_TRUE(same(v[0], sample<T>(2)));
    EXPECT_TRUE(same(part[0], sample<T>(3)));
    for (int k = 0; k < 4; ++k) {
        EXPECT_TRUE(same(copy[k], sample<T>(k)));
    }
    const Vector<T> filled = v.filled(sample<T>(1));
    EXPECT_TRUE(same(filled[3], sample<T>(1)));
    v = copy;
    EXPECT_TRUE(same(v[0], sample<T>(0)));
}

template <class T>
class MatrixOfEveryType : public testing::Test {};
using MatrixTypes = testing::Types<int, double, long, _MKL_Complex16, std::complex<double>, Vector<double>>;
TYPED_TEST_SUITE(MatrixOfEveryType, MatrixTypes);

TYPED_TEST(MatrixOfEveryType, CopiesSharesTransposesAndWritesThroughViews) {
    using T = TypeParam;
    Matrix<T> m(2, 3);
    for (int k = 0; k < 6; ++k) {
        m(k / 3, k % 3) = sample<T>(k);
    }
    const Matrix<T> turned = m.transpose();
    const Matrix<T> copy(turned);
    EXPECT_TRUE(same(copy(2, 1), sample<T>(5)));
    m.row(0) = m.row(1);
    EXPECT_TRUE(same(turned(2, 0), sample<T>(5)));
    EXPECT_TRUE(same(copy(2, 0), sample<T>(2)));
    m(Range(1, 1, 1), Range(-1, -1, 1)) = sample<T>(0);
    EXPECT_TRUE(same(m(1, 2), sample<T>(0)));
    m.transposeInPlace();
    EXPECT_EQ(m.rows(), 3);
    EXPECT_TRUE(same(m(1, 0), sample<T>(4)));
}

TEST(VectorOfContainers, CopiesItsElementsDeeply) {
    Vector<Vector<double>> table(2);
    table[0] = Vector<double>(3).filled(1.0);
    const Vector<Vector<double>> copy(table);
    table[0][0] = 5.0;
    EXPECT_EQ(copy[0][0], 1.0);  // a vector of vectors is a value all the way down
    const VectorSoft<Vector<double>> shared(table);
    table[0][0] = 6.0;
    EXPECT_EQ(shared[0][0], 6.0);
}

}  // namespace
