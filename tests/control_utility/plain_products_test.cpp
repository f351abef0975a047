#include <cmath>
#include <gtest/gtest.h>
#include <set>
#include <support/random_numbers.hpp>
#include <utility>
#include <vector>

#include <qormath/control_utility/plain_products.hpp>

namespace {

using namespace qormath::control_utility;
using qormath::lapack::Op;

TEST(PlainProducts, NormIsThatOfTheElementsWhateverTheirNumberAndSize) {
    for (const int count : {0, 1, 7, 8, 9, 100}) {
        for (const double size : {1e-300, 1e-160, 1.0, 1e160, 1e300}) {
            const std::vector<double> elements(static_cast<std::size_t>(count), -size);
            const double norm = std::sqrt(count) * size;
            EXPECT_NEAR(plainNorm(elements), norm, (10 + count) * 0x1p-53 * norm) << count << " of " << size;
        }
    }
    EXPECT_NEAR(plainNorm(std::vector<float>(4, 1e30F)), 2e30, 1e24);
    EXPECT_FALSE(std::isfinite(plainNorm(std::vector<double>{1.0, HUGE_VAL})));
    EXPECT_TRUE(std::isnan(plainNorm(std::vector<double>{1.0, NAN})));
}

TEST(PlainProducts, EveryPlaceAboveTheDiagonalIsVisitedOnce) {
    for (const int n : {0, 1, 2, 31, 32, 33, 70}) {
        std::set<std::pair<int, int>> places;
        int visits = 0;
        forEachAboveDiagonal(n, [&](int i, int j) {
            EXPECT_TRUE(0 <= i && i < j && j < n);
            places.insert({i, j});
            ++visits;
        });
        EXPECT_EQ(visits, n * (n - 1) / 2);
        EXPECT_EQ(static_cast<int>(places.size()), visits);
    }
}

TEST(PlainProducts, ASymmetricProductIsTheWholeOne) {
    qormath::test::NormalNumbers numbers(1);
    for (const int n : {1, 2, 95, 96, 97, 200}) {
        const int inner = n / 2 + 1;
        std::vector<float> a(static_cast<std::size_t>(n * inner));
        for (float& element : a) {
            element = static_cast<float>(numbers.normal());
        }
        std::vector<float> c(static_cast<std::size_t>(n * n), 1.0F), whole = c;
        multiplyToSymmetric(Op::none, Op::transpose, n, inner, 0.5F, a, a, 1.0F, c);
        qormath::lapack::gemm(Op::none, Op::transpose, n, n, inner, 0.5F, a.data(), n, a.data(), n, 1.0F, whole.data(),
                              n);
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                EXPECT_NEAR(*at(c.data(), n, i, j), *at(whole.data(), n, i, j), 1e-6 * inner) << i << ' ' << j;
                EXPECT_EQ(*at(c.data(), n, i, j), *at(c.data(), n, j, i));
            }
        }
    }
}

}  // namespace
